#include "RawHost.h"

#include <algorithm>

#include "Bytes.h"
#include "MainLoop.h"

RawHost::RawHost(const PrivateBus& bus) : m_connection(bus.Connect()) {
    BareEndpoint::Handlers handlers;
    handlers.onAnnouncement = [this](const std::string& step, const std::string& owner) {
        m_partner = owner;
        m_announcements.push_back(step);
    };
    handlers.onNotification = [this](GVariant* body) {
        m_notifications.push_back(BytesOfBody<std::string>(body));
    };
    m_endpoint.emplace(m_connection, BareEndpoint::Role::HOST, "Applist", handlers);
}

RawHost::~RawHost() {
    m_endpoint.reset();
    MainLoop::IterateUntilIdle();
}

bool RawHost::WaitForAnnouncement(const std::string& step, std::size_t count) {
    return MainLoop::IterateUntil([&] {
        return static_cast<std::size_t>(
                   std::count(m_announcements.begin(), m_announcements.end(), step)) >= count;
    });
}

bool RawHost::Connect() {
    Announce("_SYN");
    if (!WaitForAnnouncement("_SYN_ACK")) {
        return false;
    }
    Announce("_ACK");
    return true;
}

std::string RawHost::Request(const std::string& bytes) {
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = m_endpoint->Call(m_partner, ByteBody(bytes), &error);
    return reply != nullptr ? BytesOfBody<std::string>(reply)
                            : "ERROR: " + std::string(error->message);
}

void RawHost::Notify(GVariant* body) {
    m_endpoint->Notify(m_partner, body);
    m_endpoint->Flush();
}

bool RawHost::WaitForNotification(const std::string& bytes) {
    return MainLoop::IterateUntil([&] {
        return std::find(m_notifications.begin(), m_notifications.end(), bytes) !=
               m_notifications.end();
    });
}
