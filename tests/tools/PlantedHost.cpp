// planted_host FAULT: a host with one fault, for the tools that must name it. It prints a line once
// the fault is in force, and continues until it is killed.
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include <applist/AppListProxy.h>
#include <gio/gio.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr guint32 NAME_FLAG_DO_NOT_QUEUE = 4;

void Print(const char* line) {
    std::cout << line << std::endl;
}

[[noreturn]] void DoNothing() {
    for (;;) {
        pause();
    }
}

// Older versions of GLib signal the descriptor of each new context, newer ones do not.
void SignalUnusedContext() {
    g_main_context_wakeup(nullptr);
}

int RunLoop(GMainContext* context) {
    g_autoptr(GMainLoop) loop = g_main_loop_new(context, FALSE);
    Print("started");
    g_main_loop_run(loop);
    return 0;
}

int RunHealthy() {
    const AppListProxy proxy;
    return RunLoop(nullptr);
}

// The child has the library loaded, and uses neither the list nor the bus.
int RunWithChild() {
    const AppListProxy proxy;
    const pid_t parent = getpid();
    if (fork() == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == parent) {
            DoNothing();
        }
        _exit(EXIT_SUCCESS);
    }
    return RunLoop(nullptr);
}

int RunStalled() {
    const AppListProxy proxy;
    g_timeout_add(
        100,
        [](void*) -> gboolean {
            Print("stalled");
            DoNothing();
        },
        nullptr);
    return RunLoop(nullptr);
}

int RunNoLoop() {
    const AppListProxy proxy;
    SignalUnusedContext();
    Print("started");
    DoNothing();
}

// The loop's context is not the thread's default one while the proxy is created.
int RunWithoutPush() {
    g_autoptr(GMainContext) context = g_main_context_new();
    const AppListProxy proxy;
    SignalUnusedContext();
    return RunLoop(context);
}

int RunBeyondTheBus() {
    g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    const AppListProxy proxy;
    g_signal_connect(
        connection, "closed",
        G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, void*) { Print("the bus is gone"); }),
        nullptr);
    return RunLoop(nullptr);
}

// A connection of the process's own, and no list.
int RunWithoutList() {
    g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    return connection != nullptr ? RunLoop(nullptr) : EXIT_FAILURE;
}

// As after a RequestName that timed out and was granted all the same.
int RunWithOwnedName() {
    g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName",
        g_variant_new("(su)", "org.morva.JavaMW.Applist_CLIENT_SYN_ACK", NAME_FLAG_DO_NOT_QUEUE),
        nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    return reply != nullptr ? RunLoop(nullptr) : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    const std::string fault = argc == 2 ? argv[1] : "";
    if (fault == "none") {
        return RunHealthy();
    }
    if (fault == "child") {
        return RunWithChild();
    }
    if (fault == "stalled") {
        return RunStalled();
    }
    if (fault == "no-loop") {
        return RunNoLoop();
    }
    if (fault == "no-push") {
        return RunWithoutPush();
    }
    if (fault == "bus-lost") {
        return RunBeyondTheBus();
    }
    if (fault == "no-list") {
        return RunWithoutList();
    }
    if (fault == "owned-name") {
        return RunWithOwnedName();
    }
    std::cerr << "usage: planted_host none|child|stalled|no-loop|no-push|bus-lost|no-list|"
                 "owned-name\n";
    return 2;
}
