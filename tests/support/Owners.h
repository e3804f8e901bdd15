// Owners of GLib objects: a field of such a type releases its object and forbids copies.
#pragma once

#include <memory>

#include <gio/gio.h>

inline namespace applist_test {

struct ObjectReleaser {
    void operator()(void* object) const { g_object_unref(object); }
};
template <class Object>
using ObjectOwner = std::unique_ptr<Object, ObjectReleaser>;

/** Leaves the bus. */
struct ConnectionCloser {
    void operator()(GDBusConnection* connection) const {
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        g_object_unref(connection);
    }
};
using ConnectionOwner = std::unique_ptr<GDBusConnection, ConnectionCloser>;

} // namespace applist_test
