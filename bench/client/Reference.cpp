#include "Reference.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Bytes.h"
#include "Names.h"

namespace {

[[noreturn]] void Fail(const char* what, const GError* error) {
    std::fprintf(stderr, "reference: %s: %s\n", what, error == nullptr ? "" : error->message);
    std::exit(1);
}

} // namespace

Reference::Reference(std::string partner) : m_partner(std::move(partner)) {
    g_autoptr(GError) error = nullptr;
    m_connection = g_dbus_connection_new_for_address_sync(
        std::getenv("DBUS_SYSTEM_BUS_ADDRESS"),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (m_connection == nullptr) {
        Fail("no bus", error);
    }
}

Reference::~Reference() {
    g_object_unref(m_connection);
}

void Reference::Call(const char* path, const std::vector<char>& data) const {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection, m_partner.c_str(), path, Names::INTERFACE, Names::METHOD, ByteBody(data),
        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        Fail("Send", error);
    }
}

void Reference::Emit(const char* path, const std::vector<char>& data) const {
    g_autoptr(GError) error = nullptr;
    if (g_dbus_connection_emit_signal(m_connection, m_partner.c_str(), path, Names::INTERFACE,
                                      Names::SIGNAL, ByteBody(data), &error) == FALSE) {
        Fail("SendSignal", error);
    }
}

void Reference::Subscribe(const char* path) {
    g_dbus_connection_signal_subscribe(m_connection, m_partner.c_str(), Names::INTERFACE, nullptr,
                                       path, nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this,
                                       nullptr);
}

void Reference::OnSignal(GDBusConnection* /*connection*/, const char* /*sender*/,
                         const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                         GVariant* parameters, void* self) {
    auto& reference = *static_cast<Reference*>(self);
    g_autoptr(GVariant) array = g_variant_get_child_value(parameters, 0);
    gsize size = 0;
    g_variant_get_fixed_array(array, &size, 1);
    reference.m_bytes += size;
    ++reference.m_received;
}

unsigned long Reference::PartnerCount(GDBusConnection* connection) const {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, m_partner.c_str(), Names::CONTROL_PATH, Names::CONTROL_INTERFACE,
        Names::CONTROL_COUNT, nullptr, G_VARIANT_TYPE("(t)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
        &error);
    if (reply == nullptr) {
        Fail("Count", error);
    }
    guint64 count = 0;
    g_variant_get(reply, "(t)", &count);
    return count;
}

void Reference::RequestSignals(const std::string& destination, const char* path, unsigned count,
                               unsigned size, int id) const {
    g_dbus_connection_call(m_connection, m_partner.c_str(), Names::CONTROL_PATH,
                           Names::CONTROL_INTERFACE, Names::CONTROL_EMIT,
                           g_variant_new("(ssuui)", destination.c_str(), path, count, size, id),
                           nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
}
