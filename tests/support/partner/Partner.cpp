#include "Partner.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Bytes.h"

namespace {

constexpr int NUMBER = 77; ///< the message id after a number of a burst

std::string Number(unsigned number) {
    return Records::Frame("", static_cast<int>(number));
}

} // namespace

void applist_test::PrintLine(const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

Partner::Partner(Options options) : m_options(std::move(options)) {
    g_autoptr(GError) error = nullptr;
    GDBusConnection* const connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &error);
    if (connection == nullptr) {
        std::fprintf(stderr, "partner: no bus: %s\n", error->message);
        std::exit(1);
    }
    BareEndpoint::Handlers handlers;
    handlers.onAnnouncement = [this](const std::string& step, const std::string& host) {
        RunStep(step, host);
    };
    handlers.onNotification = [this](GVariant* body) {
        m_inOrder += BytesOfBody<std::string>(body) == Number(m_received) ? 1 : 0;
        ++m_received;
    };
    handlers.onCall = [this](GVariant* body, GDBusMethodInvocation* invocation) {
        const std::string reply = ReplyTo(BytesOfBody<std::string>(body));
        g_dbus_method_invocation_return_value(invocation, ByteBody(reply));
    };
    m_endpoint.emplace(connection, BareEndpoint::Role::PARTNER, m_options.id, handlers);
    PrintLine(std::string("name ") + g_dbus_connection_get_unique_name(connection));
    m_endpoint->Announce("_SYN");
    KillAt("syn-announced");
    if (m_options.retryMs != 0) {
        g_timeout_add(m_options.retryMs, OnRetry, this);
    }
}

gboolean Partner::OnRetry(void* self) {
    auto* const partner = static_cast<Partner*>(self);
    if (!partner->m_connected) {
        partner->m_endpoint->Announce("_SYN");
    }
    return G_SOURCE_CONTINUE;
}

// A SYN of the bound host is an announcement of a new endpoint in the same process.
void Partner::RunStep(const std::string& step, const std::string& host) {
    if (step == "_SYN") {
        KillAt("syn-seen");
        Bind(host);
        m_endpoint->Announce("_SYN_ACK");
        KillAt("syn-ack-announced");
    } else if (step == "_SYN_ACK") {
        KillAt("syn-ack-seen");
        Bind(host);
        m_endpoint->Announce("_ACK");
        KillAt("ack-announced");
        Connected();
    } else if (host == m_host) {
        KillAt("ack-seen");
        Connected();
    }
}

void Partner::Bind(const std::string& host) {
    if (m_hostWatch != 0) {
        g_bus_unwatch_name(m_hostWatch);
    }
    m_connected = false;
    m_host = host;
    m_hostWatch = g_bus_watch_name_on_connection(m_endpoint->Connection(), host.c_str(),
                                                 G_BUS_NAME_WATCHER_FLAGS_NONE, nullptr,
                                                 OnHostVanished, this, nullptr);
}

void Partner::Connected() {
    m_connected = true;
    PrintLine("connected " + m_host);
    if (m_options.createsList) {
        CreateList();
    }
}

void Partner::OnHostVanished(GDBusConnection* /*connection*/, const char* name, void* self) {
    auto* const partner = static_cast<Partner*>(self);
    if (partner->m_host == name) {
        partner->m_connected = false;
        partner->m_host.clear();
    }
}

void Partner::CreateList() {
    m_mirror.Recreate();
    Notify(Records::Frame("", Records::CREATED_EVENT));
}

void Partner::Notify(const std::string& bytes) {
    if (!m_host.empty()) {
        m_endpoint->Notify(m_host, ByteBody(bytes));
    }
}

void Partner::Burst(unsigned count) {
    constexpr unsigned FLUSH_EVERY = 1000;
    for (unsigned i = 0; i < count; ++i) {
        Notify(Records::Frame(Number(i), NUMBER));
        if (i % FLUSH_EVERY == 0) {
            m_endpoint->Flush();
        }
    }
    m_endpoint->Flush();
}

void Partner::MakeNoise(unsigned periodMs) {
    if (m_noise != 0) {
        g_source_remove(std::exchange(m_noise, 0));
        m_endpoint->Flush();
    }
    if (periodMs != 0) {
        m_noise = g_timeout_add(periodMs, OnNoise, this);
    }
}

gboolean Partner::OnNoise(void* self) {
    auto* const partner = static_cast<Partner*>(self);
    for (const Records::Event event : Records::EVENTS) {
        partner->Notify(Records::Frame("noise", event));
    }
    return G_SOURCE_CONTINUE;
}

std::string Partner::Call(const std::string& bytes) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = m_endpoint->Call(m_host, ByteBody(bytes), &error);
    return reply == nullptr ? std::string("error ") + error->message
                            : BytesOfBody<std::string>(reply);
}

std::vector<std::string> Partner::TakeRequests() {
    return std::exchange(m_requests, {});
}

std::string Partner::Received() const {
    return std::to_string(m_received) + " " + std::to_string(m_inOrder);
}

std::string Partner::ReplyTo(const std::string& message) {
    KillAt("request-seen");
    if (m_options.keepsRequests) {
        m_requests.push_back(message);
    }
    const std::string reply = m_mirror.Take(message);
    const bool isQuery = message.size() >= 4 && Records::IdOf(message) == Records::GET_SELECTION;
    return isQuery ? reply : std::string(m_options.replySize, 'r');
}

void Partner::KillAt(const std::string& moment) {
    if (m_options.killAt == moment) {
        m_endpoint->Flush();
        raise(SIGKILL);
    }
}
