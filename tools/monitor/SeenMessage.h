// A message on the bus, as a capture source delivers it.
#ifndef APPLIST_TOOLS_SEENMESSAGE_H
#define APPLIST_TOOLS_SEENMESSAGE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include <gio/gio.h>

namespace applistctl {

/** A time in microseconds since 1970, or a span. */
using Microseconds = std::int64_t;

constexpr Microseconds SECOND = 1000000;

struct Unref {
    void operator()(GDBusMessage* message) const { g_object_unref(message); }
};

struct SeenMessage {
    Microseconds time;
    std::unique_ptr<GDBusMessage, Unref> message;
    std::size_t cutBytes = 0; ///< the bytes at its end that were not captured and are zero
};

} // namespace applistctl

#endif
