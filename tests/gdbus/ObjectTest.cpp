// Objects on a connection: registration, delivery, and the calls that GDBus answers itself.
#include <string>

#include "Bytes.h"
#include "GDBusTest.h"

namespace {

using testing::HasSubstr;

constexpr const char* OBJECT_XML = "<node><interface name='org.morva.javamw.DbusCommunication'>"
                                   "<method name='Send'>"
                                   "<arg type='ay' name='data' direction='in'/>"
                                   "<arg type='ay' name='response' direction='out'/>"
                                   "</method></interface></node>";

class GDBusObject : public GDBusTest {
protected:
    ~GDBusObject() override { g_dbus_node_info_unref(m_node); }

    unsigned Register(int& calls, GError** error) {
        return g_dbus_connection_register_object(own.get(), PATH, m_node->interfaces[0], &VTABLE,
                                                 &calls, nullptr, error);
    }

    /** Calls the object from the peer, and iterates the default context meanwhile. @return the
        reply, or the name of the error */
    std::string Call(const char* interface, const char* method, GVariant* body) {
        std::string answer;
        g_dbus_connection_call(
            peer.get(), NameOf(own), PATH, interface, method, body, nullptr, G_DBUS_CALL_FLAGS_NONE,
            -1, nullptr,
            [](GObject* source, GAsyncResult* result, void* userData) {
                g_autoptr(GError) error = nullptr;
                g_autoptr(GVariant) reply =
                    g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
                g_autofree char* text = reply != nullptr ? g_variant_print(reply, FALSE)
                                                         : g_dbus_error_get_remote_error(error);
                *static_cast<std::string*>(userData) = text != nullptr ? text : error->message;
            },
            &answer);
        EXPECT_TRUE(MainLoop::IterateUntil([&] { return !answer.empty(); }));
        return answer;
    }

private:
    static void CountCall(GDBusConnection*, const char*, const char*, const char*, const char*,
                          GVariant*, GDBusMethodInvocation* invocation, void* calls) {
        ++*static_cast<int*>(calls);
        g_dbus_method_invocation_return_value(invocation, ByteBody(""));
    }

    static constexpr GDBusInterfaceVTable VTABLE = {CountCall, nullptr, nullptr, {nullptr}};
    GDBusNodeInfo* const m_node = g_dbus_node_info_new_for_xml(OBJECT_XML, nullptr);
};

TEST_F(GDBusObject, IsRefusedBesideAnotherOneOfItsInterfaceAtItsPath) {
    int calls = 0;
    ASSERT_NE(Register(calls, nullptr), 0u);
    g_autoptr(GError) error = nullptr;
    EXPECT_EQ(Register(calls, &error), 0u);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_IO_ERROR, G_IO_ERROR_EXISTS));
    EXPECT_EQ(error->code, 2);
    EXPECT_STREQ(error->message, "An object is already exported for the interface "
                                 "org.morva.javamw.DbusCommunication at "
                                 "/org/morva/javamw/CommunicationChannel/Applist");
}

TEST_F(GDBusObject, ReceivesOnlyCallsOfItsMethodAndType) {
    int calls = 0;
    ASSERT_NE(Register(calls, nullptr), 0u);
    EXPECT_EQ(Call(INTERFACE, "Send", g_variant_new("(s)", "text")),
              "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(Call(INTERFACE, "Other", ByteBody("x")), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(Call(INTERFACE, "Send", ByteBody("x")), "([],)");
    EXPECT_EQ(calls, 1);
}

TEST_F(GDBusObject, IsDescribedByGDBusItself) {
    int calls = 0;
    ASSERT_NE(Register(calls, nullptr), 0u);
    const std::string xml = Call("org.freedesktop.DBus.Introspectable", "Introspect", nullptr);
    EXPECT_THAT(xml, HasSubstr("<interface name=\"org.morva.javamw.DbusCommunication\">"));
    EXPECT_EQ(calls, 0);
}

TEST_F(GDBusObject, IsCalledInTheContextOfTheRegisteringThread) {
    GMainContext* const context = g_main_context_new();
    int calls = 0;
    g_main_context_push_thread_default(context);
    ASSERT_NE(Register(calls, nullptr), 0u);
    g_main_context_pop_thread_default(context);
    g_dbus_connection_call(peer.get(), NameOf(own), PATH, INTERFACE, "Send", ByteBody("x"), nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    Receive(peer, own);
    MainLoop::IterateUntilIdle();
    EXPECT_EQ(calls, 0);
    while (g_main_context_iteration(context, FALSE) != FALSE) {
    }
    EXPECT_EQ(calls, 1);
    g_main_context_unref(context);
}

} // namespace
