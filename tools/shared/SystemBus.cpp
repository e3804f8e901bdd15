#include <shared/SystemBus.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>

namespace applistctl {

namespace {

constexpr const char* ADDRESS_VARIABLE = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr std::chrono::milliseconds CONNECT_LIMIT(SystemBus::REPLY_LIMIT_MS);
constexpr const char* CLOSED_BY_DAEMON =
    "the bus daemon has closed the connection"; // for each cause alike

// Cancels a call that GLib would never end: a stopped bus daemon accepts a connection and sends
// nothing.
class ConnectLimit {
public:
    ConnectLimit() : m_thread([this] { Wait(); }) {}

    ~ConnectLimit() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_hasEnded = true;
        }
        m_ended.notify_one();
        m_thread.join();
        g_object_unref(m_cancellable);
    }

    ConnectLimit(const ConnectLimit&) = delete;
    ConnectLimit& operator=(const ConnectLimit&) = delete;

    GCancellable* Cancellable() const { return m_cancellable; }

private:
    void Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_ended.wait_for(lock, CONNECT_LIMIT, [this] { return m_hasEnded; })) {
            g_cancellable_cancel(m_cancellable);
        }
    }

    GCancellable* const m_cancellable = g_cancellable_new();
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_hasEnded = false;
    std::thread m_thread; ///< the last member, because the thread uses the others
};

bool& IsFromOption() {
    static bool isFromOption = false;
    return isFromOption;
}

// The address of the connections, and its origin: another one often explains an absent bus.
std::string DescribeAddress() {
    g_autofree char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    const std::string text =
        "the address \"" + std::string(address != nullptr ? address : "") + "\" ";
    if (IsFromOption()) {
        return text + "comes from --bus";
    }
    return text +
           (g_getenv(ADDRESS_VARIABLE) != nullptr
                ? std::string("comes from ") + ADDRESS_VARIABLE
                : std::string("is the default, because ") + ADDRESS_VARIABLE + " is not set");
}

// With the likely causes: the limit is far above the time of a reply.
std::string ReplyLimit() {
    return std::to_string(SystemBus::REPLY_LIMIT_MS / 1000) +
           " s: the daemon is stopped (to let it continue: kill -CONT its pid) or overloaded";
}

// The texts of GLib do not name the bus.
std::string DescribeError(const GError* error) {
    struct Reason {
        GIOErrorEnum code;
        const char* text;
    };
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED) != FALSE) {
        return "the bus daemon accepts the connection, but sends no reply within " + ReplyLimit();
    }
    const Reason reasons[] = {
        {G_IO_ERROR_NOT_FOUND, "the socket of the bus does not exist"},
        {G_IO_ERROR_CONNECTION_REFUSED, "no bus daemon listens at the socket of the bus"},
        {G_IO_ERROR_PERMISSION_DENIED, "this user may not connect to the socket of the bus"},
    };
    for (const Reason& reason : reasons) {
        if (g_error_matches(error, G_IO_ERROR, reason.code) != FALSE) {
            return reason.text;
        }
    }
    return error->message;
}

GDBusConnection* ConnectPrivately(GCancellable* cancellable, GError** error) {
    g_autofree char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, error);
    if (address == nullptr) {
        return nullptr;
    }
    return g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, cancellable, error);
}

} // namespace

SystemBus::SystemBus(std::function<void(const std::string&)> onClosed, Kind kind)
    : m_onClosed(std::move(onClosed)), m_kind(kind) {
    g_autoptr(GError) error = nullptr;
    {
        const ConnectLimit limit;
        m_connection = kind == Kind::Own
                           ? ConnectPrivately(limit.Cancellable(), &error)
                           : g_bus_get_sync(G_BUS_TYPE_SYSTEM, limit.Cancellable(), &error);
    }
    if (m_connection == nullptr) {
        m_problem = DescribeError(error) + "; " + DescribeAddress();
        return;
    }
    // The default ends the process with a signal, without a message, when the bus is lost.
    g_dbus_connection_set_exit_on_close(m_connection, FALSE);
    m_handlerId = g_signal_connect(m_connection, "closed", G_CALLBACK(OnClosed), this);
}

SystemBus::~SystemBus() {
    if (m_connection != nullptr) {
        g_signal_handler_disconnect(m_connection, m_handlerId);
        if (m_kind == Kind::Own) {
            // Queued signals would be lost with the connection.
            g_dbus_connection_flush_sync(m_connection, nullptr, nullptr);
            g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
        }
        g_object_unref(m_connection);
    }
}

std::string SystemBus::DescribeLoss(GDBusConnection* connection) {
    if (connection == nullptr) {
        return "no bus";
    }
    g_autoptr(GError) error = nullptr;
    [[maybe_unused]] g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetId", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, REPLY_LIMIT_MS, nullptr, &error);
    if (g_dbus_connection_is_closed(connection) != FALSE ||
        g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED) != FALSE) {
        return std::string("the bus is gone: ") + CLOSED_BY_DAEMON;
    }
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE) {
        return DescribeSilence();
    }
    return "";
}

std::string SystemBus::DescribeSilence() {
    return "the bus daemon sends no reply within " + ReplyLimit();
}

std::string SystemBus::Describe() {
    const char* const address = g_getenv(ADDRESS_VARIABLE);
    return address != nullptr ? "the bus at " + std::string(address) : "the system bus";
}

std::string SystemBus::Advice() {
    const std::string start = "check that the bus daemon runs, and that ";
    return start + (IsFromOption() ? "the address after --bus is correct"
                                   : std::string(ADDRESS_VARIABLE) + " is unset or correct");
}

void SystemBus::UseAddress(const std::string& address) {
    g_setenv(ADDRESS_VARIABLE, address.c_str(), TRUE);
    IsFromOption() = true;
}

void SystemBus::OnClosed(GDBusConnection* /*connection*/, gboolean /*remotePeerVanished*/,
                         GError* /*error*/, void* user_data) {
    // GDBus names only the stream below the connection.
    static_cast<SystemBus*>(user_data)->m_onClosed(CLOSED_BY_DAEMON);
}

} // namespace applistctl
