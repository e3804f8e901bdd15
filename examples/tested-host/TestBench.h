// The surroundings of a host under test: a private bus in place of the system bus, and a partner,
// "applistctl partner" in a process of its own.
#ifndef TEST_BENCH_H
#define TEST_BENCH_H

#include <functional>
#include <stdexcept>
#include <string>

#include <gio/gio.h>

/** Iterates the main context of the host's listeners. @return the last value of @p condition */
inline bool WaitUntil(const std::function<bool()>& condition) {
    bool late = false;
    const guint timer = g_timeout_add_seconds(
        20,
        [](void* flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_CONTINUE;
        },
        &late);
    while (!condition() && !late) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_source_remove(timer);
    return condition();
}

/** A dbus-daemon in place of the system bus. */
class TestBus {
public:
    TestBus() {
        g_test_dbus_up(m_bus);
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", g_test_dbus_get_bus_address(m_bus), TRUE);
    }

    ~TestBus() {
        // Deliveries left on the main context hold the connection.
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        g_test_dbus_down(m_bus);
        g_object_unref(m_bus);
    }

    TestBus(const TestBus&) = delete;
    TestBus& operator=(const TestBus&) = delete;

    /** The end of the bus must not end the test. Call it after the host has connected. */
    static void KeepTheProcessAlive() {
        g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        g_dbus_connection_set_exit_on_close(connection, FALSE);
    }

private:
    GTestDBus* const m_bus = g_test_dbus_new(G_TEST_DBUS_NONE);
};

class Partner {
public:
    Partner() {
        g_autoptr(GError) error = nullptr;
        const int pipes = G_SUBPROCESS_FLAGS_STDIN_PIPE | G_SUBPROCESS_FLAGS_STDOUT_PIPE;
        m_process = g_subprocess_new(static_cast<GSubprocessFlags>(pipes), &error, APPLISTCTL,
                                     "partner", nullptr);
        if (m_process == nullptr) {
            throw std::runtime_error(error->message);
        }
        m_output = G_POLLABLE_INPUT_STREAM(g_subprocess_get_stdout_pipe(m_process));
        m_source = g_pollable_input_stream_create_source(m_output, nullptr);
        // G_SOURCE_FUNC is newer than GLib 2.56.
        const auto read = reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(cb_Read));
        g_source_set_callback(m_source, read, this, nullptr);
        g_source_attach(m_source, nullptr);
    }

    /** Kills the partner. */
    ~Partner() {
        g_source_destroy(m_source);
        g_source_unref(m_source);
        g_subprocess_force_exit(m_process);
        g_subprocess_wait(m_process, nullptr, nullptr);
        g_object_unref(m_process);
    }

    Partner(const Partner&) = delete;
    Partner& operator=(const Partner&) = delete;

    /** Enters a command of "applistctl partner --help". */
    void Enter(const std::string& command) {
        const std::string line = command + "\n";
        g_output_stream_write_all(g_subprocess_get_stdin_pipe(m_process), line.data(), line.size(),
                                  nullptr, nullptr, nullptr);
        g_output_stream_flush(g_subprocess_get_stdin_pipe(m_process), nullptr, nullptr);
    }

    /** Waits until the partner has printed @p text after the text of the last call. */
    bool Prints(const std::string& text) {
        std::size_t found = std::string::npos;
        const bool printed = WaitUntil([&] {
            found = m_text.find(text, m_searched);
            return found != std::string::npos;
        });
        if (printed) {
            m_searched = found + text.size();
        }
        return printed;
    }

    const std::string& Output() const { return m_text; }

private:
    static gboolean cb_Read(GObject* /*stream*/, void* self) {
        auto* const partner = static_cast<Partner*>(self);
        char buffer[4096];
        const gssize count = g_pollable_input_stream_read_nonblocking(
            partner->m_output, buffer, sizeof(buffer), nullptr, nullptr);
        if (count > 0) {
            partner->m_text.append(buffer, static_cast<std::size_t>(count));
        }
        return count != 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    GSubprocess* m_process = nullptr;
    GPollableInputStream* m_output = nullptr;
    GSource* m_source = nullptr;
    std::string m_text;
    std::size_t m_searched = 0;
};

#endif
