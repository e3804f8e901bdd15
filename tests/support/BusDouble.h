// A message bus with scripted faults: replies to the methods of the bus and of the partner follow
// the script of a test. For faults that a real daemon does not have; other tests use a real daemon.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "MainLoop.h"

inline namespace applist_test {

/**
 * Listens on its own socket and sets DBUS_SYSTEM_BUS_ADDRESS to this socket. Accepts connections on
 * its own thread and context, and replies on GDBus's worker thread, so a test may block in a call.
 *
 * Without a script, each call succeeds: names can be owned and released, every unique name is
 * connected until it has vanished, and the partner answers "Send" with an empty array. It emits
 * no signal by itself.
 */
class BusDouble {
public:
    /** The reply to a method call. */
    class Reply {
    public:
        /** A body, which is consumed; null for an empty one. */
        static Reply Body(GVariant* body);
        /** The body "(u)" of RequestName and ReleaseName. */
        static Reply Code(guint32 code) { return Body(g_variant_new("(u)", code)); }
        static Reply Error(const std::string& name, const std::string& text);
        /** No reply. */
        static Reply Missing();
        /** The connection is closed without a reply. */
        static Reply Disconnect();

    private:
        friend class BusDouble;
        enum class Kind { BODY, ERROR, MISSING, DISCONNECT };
        Kind kind = Kind::BODY;
        std::shared_ptr<GVariant> body;
        std::string name;
        std::string text;
    };

    BusDouble();
    ~BusDouble();

    /**
     * From now on, the reply to @p method is @p reply if its first argument contains @p argument.
     * The latest matching script applies.
     */
    void Script(const std::string& method, const std::string& argument, Reply reply);
    void Script(const std::string& method, Reply reply);

    /** Removes the scripts: each call succeeds again. */
    void ForgetScripts();

    /** The received calls, each as "Method", or "Method argument" if the first argument is a
     * string. */
    std::vector<std::string> Calls();
    std::size_t CountCalls(const std::string& call);
    bool WaitForCall(const std::string& call);
    void ForgetCalls();

    /** Called for every method call before its reply, on GDBus's worker thread. */
    void OnCall(std::function<void(const std::string& call)> watcher);

    /** Emits any signal to all connections; @p body is consumed. */
    void Emit(const std::string& sender, const std::string& path, const std::string& interface,
              const std::string& member, GVariant* body);
    void EmitNameOwnerChanged(const std::string& name, const std::string& oldOwner,
                              const std::string& newOwner);

    /** The unique name @p name leaves the bus: GetNameOwner and a signal report it. */
    void Vanish(const std::string& name);
    /** All names are connected again. */
    void ForgetVanished();

    /** Closes all connections. */
    void Disconnect();

private:
    struct Client {
        GDBusConnection* connection; ///< an owned reference
        guint filter;
    };
    struct Rule {
        std::string method;
        std::string argument;
        Reply reply;
    };

    static gboolean OnConnection(GDBusServer* server, GDBusConnection* connection, void* self);
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message,
                                   gboolean incoming, void* self);
    static void OnFilterEnd(void* self);
    void Take(GDBusConnection* connection, GDBusMessage* message);
    Reply ReplyTo(const std::string& method, const std::string& argument);
    Reply DefaultReply(const std::string& method, const std::string& argument);
    void Answer(GDBusConnection* connection, GDBusMessage* call, const Reply& reply);

    GMainContext* m_context;
    GDBusServer* m_server = nullptr;
    /** The number of ended filters, for the thread and then for the destructor. */
    std::size_t m_endedFilters = 0;
    std::optional<LoopThread> m_thread;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Client> m_clients;
    std::vector<Rule> m_rules;
    std::vector<std::string> m_calls;
    std::set<std::string> m_vanished;
    std::function<void(const std::string&)> m_watcher;
};

} // namespace applist_test
