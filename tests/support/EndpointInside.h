// An endpoint's private fields, for states without a public function: the handshake state between
// "no partner" and "connected", and states that no bus daemon produces.
//
// An explicit instantiation may name private members; the friend that it
// defines returns the pointer.
#pragma once

#include <map>
#include <string>

#include <ipc/javamw-dbus-remote.h>

namespace EndpointInside {

#define APPLIST_TESTS_FIELD(field, Type)                                                           \
    struct field##_tag {                                                                           \
        friend Type JavaMWDbusRemote::*Pointer(field##_tag);                                       \
    };                                                                                             \
    template <Type JavaMWDbusRemote::*pointer>                                                     \
    struct field##_opener {                                                                        \
        friend Type JavaMWDbusRemote::*Pointer(field##_tag) { return pointer; }                    \
    };                                                                                             \
    template struct field##_opener<&JavaMWDbusRemote::field>;                                      \
    inline Type& field(JavaMWDbusRemote& endpoint) {                                               \
        return endpoint.*Pointer(field##_tag());                                                   \
    }

using Names = std::map<std::string, std::string>;
APPLIST_TESTS_FIELD(m_uniqueName, std::string)
APPLIST_TESTS_FIELD(m_partnerId, std::string)
APPLIST_TESTS_FIELD(m_objectPath, std::string)
APPLIST_TESTS_FIELD(m_registrationId, unsigned int)
APPLIST_TESTS_FIELD(m_synSubscriptionId, unsigned int)
APPLIST_TESTS_FIELD(m_synAckSubscriptionId, unsigned int)
APPLIST_TESTS_FIELD(m_ackSubscriptionId, unsigned int)
APPLIST_TESTS_FIELD(m_partnerWatchId, unsigned int)
APPLIST_TESTS_FIELD(m_partnerProxy, GDBusProxy*)
APPLIST_TESTS_FIELD(m_signalSubscriptionId, unsigned int)
APPLIST_TESTS_FIELD(m_state, std::atomic<int>)
APPLIST_TESTS_FIELD(m_connection, GDBusConnection*)
APPLIST_TESTS_FIELD(m_mutex, PTMutex)
APPLIST_TESTS_FIELD(m_resendThread, pthread_t)
APPLIST_TESTS_FIELD(m_resendNames, Names)

#undef APPLIST_TESTS_FIELD

/** The handshake state: 0 no partner, 1 own SYN announced, 2 own SYN_ACK announced, 3 connected. */
inline int State(JavaMWDbusRemote& endpoint) {
    return m_state(endpoint);
}

} // namespace EndpointInside
