// A host that forks a child, which does not execute another program, and ends like a killed
// process. Prints the child's process id and the host's unique bus name.
#include <cstdio>

#include <gio/gio.h>
#include <unistd.h>

#include <applist/AppListProxy.h>

int main() {
    constexpr unsigned PATIENCE_S = 60;
    const AppListProxy list;
    g_autoptr(GDBusConnection) shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(STDOUT_FILENO);
        alarm(PATIENCE_S);
        pause();
        _exit(0);
    }
    std::printf("%d %s\n", child, g_dbus_connection_get_unique_name(shared));
    std::fflush(stdout);
    _exit(0);
}
