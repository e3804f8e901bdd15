// A program with a planted fault, which its argument selects. The checker for faults of this kind
// must report it; otherwise the checker does not work.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <thread>

#include <ipc/javamw-dbus-remote.h>

#include "MainLoop.h"
#include "PrivateBus.h"
#include "SharedBus.h"
#include "TestPartner.h"

namespace {

// Two threads that run at the same time, synchronized by operations without an ordering effect.
void InTwoThreads(const std::function<void()>& work) {
    std::atomic<int> arrived{0};
    const auto both = [&] {
        arrived.fetch_add(1, std::memory_order_relaxed);
        while (arrived.load(std::memory_order_relaxed) < 2) {
        }
        work();
    };
    std::thread first(both);
    std::thread second(both);
    first.join();
    second.join();
}

int g_unguarded = 0;

void Race() {
    InTwoThreads([] {
        for (int i = 0; i < 1000; ++i) {
            ++g_unguarded;
        }
    });
}

gboolean TouchUnguarded(void* /*data*/) {
    ++g_unguarded;
    return ++g_unguarded < 2000 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

// Both accesses in callbacks of GLib, as all of the library's are.
void RaceThroughGLib() {
    InTwoThreads([] {
        GMainContext* const context = g_main_context_new();
        GSource* const source = g_idle_source_new();
        g_source_set_callback(source, TouchUnguarded, nullptr, nullptr);
        g_source_attach(source, context);
        g_source_unref(source);
        for (int i = 0; i < 1000; ++i) {
            g_main_context_iteration(context, FALSE);
        }
        g_main_context_unref(context);
    });
}

void Overflow() {
    auto* const bytes = static_cast<volatile char*>(std::malloc(8));
    volatile int end = 8;
    bytes[end] = 1;
    std::free(const_cast<char*>(bytes));
}

void Undefined() {
    volatile int most = std::numeric_limits<int>::max();
    most = most + 1;
}

void Uninitialised() {
    auto* const values = static_cast<volatile int*>(std::malloc(sizeof(int)));
    if (*values == 7) {
        std::puts("seven");
    }
    std::free(const_cast<int*>(values));
}

void Leak() {
    for (int i = 0; i < 10; ++i) {
        volatile char* const lost = static_cast<volatile char*>(std::malloc(1000));
        *lost = 1;
    }
}

// The same leak as in the library, which is reported outside the library.
void LoseReply(const TestPartner& partner) {
    const SharedBus bus;
    g_autoptr(GDBusProxy) proxy = g_dbus_proxy_new_sync(
        bus.Connection(), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES, nullptr,
        partner.UniqueName().c_str(), "/org/morva/javamw/CommunicationChannel/Applist",
        "org.morva.javamw.DbusCommunication", nullptr, nullptr);
    const std::string none;
    g_dbus_proxy_call_sync(proxy, "Send",
                           g_variant_new("(@ay)", g_variant_new_bytestring(none.c_str())),
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

// One request of the library, whose reply it keeps, and one of this program, with the same leak.
void Request(bool loseOneOfOurs) {
    const PrivateBus bus;
    {
        TestPartner partner(bus);
        JavaMWDbusRemote endpoint("Applist");
        if (!MainLoop::IterateUntil([&] { return endpoint.IsConnectionReady(); })) {
            std::fputs("canary: no partner\n", stderr);
            std::exit(3);
        }
        std::vector<char> request = {'a'};
        endpoint.SendMessage(request);
        if (loseOneOfOurs) {
            LoseReply(partner);
        }
    }
    SharedBus::WaitUntilReleased();
}

} // namespace

int main(int argc, char** argv) {
    const std::map<std::string, std::function<void()>> faults = {
        {"Race", Race},
        {"RaceThroughGLib", RaceThroughGLib},
        {"Overflow", Overflow},
        {"Undefined", Undefined},
        {"Uninitialised", Uninitialised},
        {"Leak", Leak},
        {"LeakedReply", [] { Request(true); }},
        {"Nothing", [] { Request(false); }},
    };
    const auto fault = faults.find(argc == 2 ? argv[1] : "");
    if (fault == faults.end()) {
        std::fputs("Usage: canary FAULT, one of:", stderr);
        for (const auto& known : faults) {
            std::fprintf(stderr, " %s", known.first.c_str());
        }
        std::fputs("\n", stderr);
        return 2;
    }
    fault->second();
    return 0;
}
