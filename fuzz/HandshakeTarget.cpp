// Handshake steps with bodies of any type and owners of any name, lost partners and messages in
// between, in any order, against the model of the handshake.
#include <vector>

#include "Body.h"
#include "FuzzBus.h"
#include "HandshakeModel.h"
#include "MainLoop.h"
#include "Target.h"

namespace {

constexpr std::size_t MOST_STEPS = 12; // each may cost a few round trips

// The replies that the endpoint keeps for ever; a fuzz process has no room for that.
std::vector<GVariant*> g_keptReplies;

enum Step { SYN, SYN_ACK, ACK };

constexpr const char* WATCHED_NAMES[] = {"org.morva.JavaMW.Applist_SERVICE_SYN",
                                         "org.morva.JavaMW.Applist_SERVICE_SYN_ACK",
                                         "org.morva.JavaMW.Applist_SERVICE_ACK"};

class Handshake {
public:
    Handshake() { m_model.SetOwnName(m_bus.shared.UniqueName()); }

    void Take(Step step, const Body& body) {
        const GDBusSignalCallback callbacks[] = {JavaMWDbusRemote::cb_SynNameOwnerChanged,
                                                 JavaMWDbusRemote::cb_SynAckNameOwnerChanged,
                                                 JavaMWDbusRemote::cb_AckNameOwnerChanged};
        callbacks[step](m_bus.shared.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                        "org.freedesktop.DBus", "NameOwnerChanged", body.get(), &m_endpoint);
        if (TypeOf(body) == "(sss)") {
            const char* name = nullptr;
            const char* oldOwner = nullptr;
            const char* newOwner = nullptr;
            g_variant_get(body.get(), "(&s&s&s)", &name, &oldOwner, &newOwner);
            if (std::string(WATCHED_NAMES[step]) == name) {
                m_model.OnOwnerChange(name, oldOwner, newOwner);
            }
        }
        ExpectTheSame();
    }

    void Lose(const std::string& text) {
        const std::string partner = text.c_str(); // as GDBus hands it over
        JavaMWDbusRemote::cb_PartnerNameVanished(m_bus.shared.Connection(), partner.c_str(),
                                                 &m_endpoint);
        m_model.OnVanished(partner);
        ExpectTheSame();
    }

    void Send(const std::string& bytes, const std::string& partner) {
        std::vector<char> data = BytesOf(bytes);
        m_endpoint.SendNotification(data, partner);
        m_endpoint.SendNotification(data);
        if (m_model.IsReady() && m_model.Partner()[0] == ':') {
            FUZZ_EXPECT(m_endpoint.SendMessage(data).empty()); // the double's answer
            FUZZ_EXPECT(g_keptReplies.size() == 1);
            g_variant_unref(g_keptReplies.front());
            g_keptReplies.clear();
        }
    }

    void StartAgain() {
        Lose(std::string(m_model.Partner()));
        MainLoop::IterateUntilIdle();
        m_reports.clear();
        m_endpoint.Forget();
        m_bus.bus.ForgetCalls();
    }

private:
    void ExpectTheSame() {
        for (const std::string& report : m_model.TakeReports()) {
            m_reports.push_back(report);
        }
        FUZZ_EXPECT(m_endpoint.IsConnectionReady() == m_model.IsReady());
        FUZZ_EXPECT(m_endpoint.states == m_reports);
    }

    FuzzBus m_bus;
    FuzzEndpoint m_endpoint;
    HandshakeModel m_model;
    std::vector<std::string> m_reports;
};

Handshake& TheHandshake() {
    static auto* const handshake = new Handshake();
    return *handshake;
}

// Likely names, so that the fuzzer does not search for the form of a unique name.
std::string Owner(Choices& choices) {
    switch (choices.Byte() % 4) {
    case 0:
        return ":2.Partner";
    case 1:
        return ":2.Other";
    case 2:
        return "";
    default:
        return choices.Text();
    }
}

Body OwnerChange(Step step, Choices& choices) {
    const auto valid = [](const std::string& text) {
        g_autofree char* made = g_utf8_make_valid(text.c_str(), -1);
        return g_variant_new_string(made);
    };
    GVariant* const parts[] = {valid(WATCHED_NAMES[step]), valid(Owner(choices)),
                               valid(choices.Byte() < 200 ? "" : Owner(choices))};
    return Body(g_variant_ref_sink(g_variant_new_tuple(parts, 3)));
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
decltype(g_dbus_proxy_call_sync) __real_g_dbus_proxy_call_sync;

GVariant* __wrap_g_dbus_proxy_call_sync(GDBusProxy* proxy, const char* method, GVariant* parameters,
                                        GDBusCallFlags flags, int timeout,
                                        GCancellable* cancellable, GError** error) {
    g_keptReplies.push_back(__real_g_dbus_proxy_call_sync(proxy, method, parameters, flags, timeout,
                                                          cancellable, error));
    return g_keptReplies.back();
}
}
// NOLINTEND(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    TheHandshake();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    Handshake& handshake = TheHandshake();
    handshake.StartAgain();
    for (std::size_t i = 0; i < MOST_STEPS && choices.AreLeft(); ++i) {
        const int kind = choices.Byte() % 8;
        if (kind < 3) {
            const auto step = static_cast<Step>(kind);
            handshake.Take(step, OwnerChange(step, choices));
        } else if (kind < 6) {
            handshake.Take(static_cast<Step>(kind - 3), ReadBody(choices));
        } else if (kind == 6) {
            handshake.Lose(Owner(choices));
        } else {
            const std::string partner = Owner(choices);
            handshake.Send(choices.Text(), partner);
        }
    }
    return 0;
}
