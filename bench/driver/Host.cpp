// A host with one endpoint of the library and nothing else: reports its readiness, then idles until
// the driver kills it.
#include <string>

#include <gio/gio.h>

#include <ipc/javamw-dbus-remote.h>

#include "Names.h"
#include "Ready.h"

namespace {

class Endpoint : public JavaMWDbusRemote {
public:
    explicit Endpoint(long long begin) : JavaMWDbusRemote(Names::LIST_ID), m_begin(begin) {}
    ~Endpoint() override { StopHandlers(); }

    void HandleConnectionReady(bool ready, const std::string& /*partner*/) override {
        if (!ready) {
            return;
        }
        const long long took = Ready::Now() - m_begin;
        // The existing connection of the endpoint, without a call.
        g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
        Ready::Print(took, g_dbus_connection_get_unique_name(connection));
    }

private:
    long long m_begin;
};

} // namespace

int main() {
    const long long begin = Ready::Now();
    const Endpoint endpoint(begin);
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(loop);
}
