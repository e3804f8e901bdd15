#include "CaptureWriter.h"

#include <algorithm>
#include <stdexcept>

namespace {

constexpr const char* DAEMON = "org.freedesktop.DBus";
constexpr const char* DAEMON_PATH = "/org/freedesktop/DBus";
constexpr std::uint32_t START = 1700000000; // seconds since 1970

// Little-endian, like the first number of the file.
std::string Number(std::uint64_t value, unsigned size = 4) {
    std::string bytes;
    for (unsigned i = 0; i < size; ++i) {
        bytes.push_back(static_cast<char>(static_cast<unsigned char>(value >> (8 * i))));
    }
    return bytes;
}

} // namespace

CaptureWriter::CaptureWriter(std::uint32_t linkType)
    : m_bytes(Number(0xa1b2c3d4) + Number(2, 2) + Number(4, 2) + Number(0) + Number(0) +
              Number(1 << 27) + Number(linkType)) {}

void CaptureWriter::Packet(const std::string& bytes, std::size_t length) {
    const auto microseconds = static_cast<std::uint64_t>(m_milliseconds * 1e3 + 0.5);
    m_bytes += Number(START + microseconds / 1000000) + Number(microseconds % 1000000) +
               Number(bytes.size()) + Number(length) + bytes;
}

std::uint32_t CaptureWriter::Add(GDBusMessage* message, const std::string& from, GVariant* body) {
    g_dbus_message_set_sender(message, from.c_str());
    g_dbus_message_set_serial(message, ++m_serial);
    if (body != nullptr) {
        g_dbus_message_set_body(message, body);
    }
    gsize size = 0;
    g_autofree guchar* blob =
        g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr);
    g_object_unref(message);
    if (blob == nullptr) {
        throw std::runtime_error("a message that cannot be written");
    }
    Packet(std::string(blob, blob + std::min(size, m_mostCaptured)), size);
    return m_serial;
}

void CaptureWriter::OwnerChanged(const std::string& name, const std::string& oldOwner,
                                 const std::string& newOwner) {
    Add(g_dbus_message_new_signal(DAEMON_PATH, DAEMON, "NameOwnerChanged"), DAEMON,
        g_variant_new("(sss)", name.c_str(), oldOwner.c_str(), newOwner.c_str()));
}

void CaptureWriter::Take(const std::string& step, const std::string& owner) {
    OwnerChanged("org.morva.JavaMW.Applist" + step, "", owner);
}

void CaptureWriter::Announce(const std::string& step, const std::string& owner) {
    Take(step, owner);
    OwnerChanged("org.morva.JavaMW.Applist" + step, owner, "");
}

void CaptureWriter::Leave(const std::string& peer) {
    OwnerChanged(peer, peer, "");
}

std::uint32_t CaptureWriter::Call(const std::string& from, const std::string& to, GVariant* body,
                                  const std::string& member) {
    return Add(g_dbus_message_new_method_call(to.c_str(), PATH, INTERFACE, member.c_str()), from,
               body);
}

std::uint32_t CaptureWriter::CallDaemon(const std::string& from, const std::string& member,
                                        GVariant* body) {
    return Add(g_dbus_message_new_method_call(DAEMON, DAEMON_PATH, DAEMON, member.c_str()), from,
               body);
}

void CaptureWriter::Reply(const std::string& from, const std::string& to, std::uint32_t serial,
                          GVariant* body) {
    GDBusMessage* const message = g_dbus_message_new();
    g_dbus_message_set_message_type(message, G_DBUS_MESSAGE_TYPE_METHOD_RETURN);
    g_dbus_message_set_reply_serial(message, serial);
    g_dbus_message_set_destination(message, to.c_str());
    Add(message, from, body);
}

void CaptureWriter::Error(const std::string& from, const std::string& to, std::uint32_t serial,
                          const std::string& name, const std::string& text) {
    GDBusMessage* const message = g_dbus_message_new();
    g_dbus_message_set_message_type(message, G_DBUS_MESSAGE_TYPE_ERROR);
    g_dbus_message_set_error_name(message, name.c_str());
    g_dbus_message_set_reply_serial(message, serial);
    g_dbus_message_set_destination(message, to.c_str());
    Add(message, from, g_variant_new("(s)", text.c_str()));
}

void CaptureWriter::SignalOf(const std::string& from, const std::string& to,
                             const std::string& interface, const std::string& member,
                             const std::string& path) {
    GDBusMessage* const message =
        g_dbus_message_new_signal(path.c_str(), interface.c_str(), member.c_str());
    g_dbus_message_set_destination(message, to.c_str());
    Add(message, from, nullptr);
}

void CaptureWriter::Notify(GVariant* body, const std::string& member, const std::string& from,
                           const std::string& to) {
    GDBusMessage* const message = g_dbus_message_new_signal(PATH, INTERFACE, member.c_str());
    g_dbus_message_set_destination(message, to.c_str());
    Add(message, from, body);
}

void CaptureWriter::RequestAndReply(const std::string& request, double latency,
                                    const std::string& reply) {
    const std::uint32_t serial = Call(HOST, PARTNER, Body(request));
    At(m_milliseconds + latency).Reply(PARTNER, HOST, serial, Body(reply));
}

void CaptureWriter::Connect() {
    Announce("_CLIENT_SYN", HOST);
    Announce("_SERVICE_SYN_ACK", PARTNER);
    At(m_milliseconds + 1).Announce("_CLIENT_ACK", HOST);
}

std::string CaptureWriter::Framed(const std::string& payload, std::int32_t id) {
    return payload + Number(static_cast<std::uint32_t>(id));
}

GVariant* CaptureWriter::Body(const std::string& bytes) {
    return g_variant_new(
        "(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1));
}
