// The start of the tests of GDBus itself: no test of this folder calls the library. Each test
// states one behaviour that the library relies on, and docs/gdbus.md lists them.
#pragma once

#include <string>

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BusDaemon.h"
#include "BusTest.h"
#include "Channel.h"
#include "MainLoop.h"
#include "Owners.h"

inline namespace applist_test {

class GDBusTest : public BusTest {
protected:
    ~GDBusTest() override { MainLoop::IterateUntilIdle(); }

    static const char* NameOf(const ConnectionOwner& connection) {
        return g_dbus_connection_get_unique_name(connection.get());
    }

    /** Counts the deliveries in the integer @p count. */
    static void CountSignal(GDBusConnection*, const char*, const char*, const char*, const char*,
                            GVariant*, void* count) {
        ++*static_cast<int*>(count);
    }

    static unsigned Subscribe(const ConnectionOwner& connection, const char* sender,
                              GDBusSignalCallback callback, void* userData) {
        return g_dbus_connection_signal_subscribe(connection.get(), sender, INTERFACE, nullptr,
                                                  PATH, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, callback,
                                                  userData, nullptr);
    }

    /** Emits "SendSignal" from one connection to another; @p body is consumed. */
    static void Emit(const ConnectionOwner& from, const ConnectionOwner& destination,
                     GVariant* body) {
        g_dbus_connection_emit_signal(from.get(), NameOf(destination), PATH, INTERFACE,
                                      "SendSignal", body, nullptr);
    }

    /** On return @p receiver has received each earlier message of @p from, undelivered. */
    static void Receive(const ConnectionOwner& from, const ConnectionOwner& receiver) {
        BusDaemon::Ping(from.get());
        BusDaemon::Ping(receiver.get());
    }

    ConnectionOwner own{bus.Connect()};
    ConnectionOwner peer{bus.Connect()};
};

} // namespace applist_test
