// The rights of a user on a bus, determined by attempts at each action of the protocol.
#pragma once

#include <atomic>
#include <set>
#include <string>

#include <gio/gio.h>

#include "BusUser.h"

inline namespace applist_test {

struct Message {
    GDBusMessageType type;
    const char* member;
    const char* interface = "org.morva.javamw.DbusCommunication"; ///< may be null for a call
    const char* path = "/org/morva/javamw/CommunicationChannel/Applist";
};
inline constexpr Message SEND = {G_DBUS_MESSAGE_TYPE_METHOD_CALL, "Send"};
inline constexpr Message SEND_SIGNAL = {G_DBUS_MESSAGE_TYPE_SIGNAL, "SendSignal"};

/** A connection of one user, which sends messages and receives those of the other parties. */
class BusParty {
public:
    BusParty(const PrivateBus& bus, const BusUser& user);

    /** @return whether the party acquires org.morva.JavaMW. + @p name */
    bool Owns(const std::string& name);

    /** @return whether a message of the party arrives at @p other */
    bool Reaches(BusParty& other, const Message& message);

    /** Like Reaches, without a destination, to all subscribers. */
    bool ReachesAsListener(BusParty& other, const Message& message);

    /** @return whether the party may monitor the whole bus */
    bool Monitors();

    /** @return whether the party receives NameOwnerChanged */
    bool ReceivesOwnerChanges();

    /** @return whether the party has received a message for another process, with an eavesdropping
     * rule */
    bool HasEavesdropped() const { return m_eavesdropped; }

private:
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, void* user_data);
    bool Sends(const char* destination, BusParty& other, const Message& message);

    const PrivateBus& m_bus;
    const BusUser m_user;
    const ConnectionOwner m_connection;
    std::atomic<bool> m_reached{false};
    std::atomic<bool> m_eavesdropped{false};
    std::atomic<bool> m_ownerChanged{false};
};

/** "host owns CLIENT_SYN", "other user calls", "other user signals", "partner monitors"... */
using Rights = std::set<std::string>;

/** All rights of the three parties. */
Rights RightsOf(const PrivateBus& bus, const BusUser& host, const BusUser& partner,
                const BusUser& otherUser);

} // namespace applist_test
