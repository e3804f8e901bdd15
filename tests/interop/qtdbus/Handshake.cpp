#include "Handshake.h"

#include <QDBusPendingCallWatcher>
#include <algorithm>
#include <iostream>
#include <utility>

namespace {

const QString BUS = "org.freedesktop.DBus";
const QString BUS_PATH = "/org/freedesktop/DBus";
const QString NAMES = "org.morva.JavaMW.Applist";
constexpr unsigned DO_NOT_QUEUE = 4;
constexpr unsigned OWNED = 1;
constexpr unsigned OWNED_BY_ANOTHER = 3;
constexpr int REPEAT_PERIOD_MS = 100;
constexpr int FIRST_PERIOD_MS = 1000;
constexpr int LONGEST_PERIOD_MS = 32000;

} // namespace

Handshake::Handshake(const QDBusConnection& bus, std::function<void()> onReady)
    : m_bus(bus), m_onReady(std::move(onReady)) {
    m_synTimer.setSingleShot(true);
    m_repeatTimer.setSingleShot(true);
    connect(&m_synTimer, &QTimer::timeout, this, &Handshake::RepeatSyn);
    connect(&m_repeatTimer, &QTimer::timeout, this, [this] { Announce(m_step); });
}

void Handshake::Start() {
    for (const char* const step : {"_CLIENT_SYN", "_CLIENT_SYN_ACK", "_CLIENT_ACK"}) {
        Watch(NAMES + step);
    }
    Announce("_SERVICE_SYN");
    OnBound();
}

void Handshake::OnRequest() {
    m_hasAsked = true;
    m_synTimer.stop();
}

void Handshake::OnNameOwnerChanged(const QString& name, const QString& owner, const QString& next) {
    if (!next.isEmpty()) {
        return;
    }
    if (name.startsWith(':')) {
        OnEnd(name);
        return;
    }
    const QString step = name.mid(NAMES.size());
    const bool isOther = !m_hosts.isEmpty() && !IsHost(owner);
    if (isOther) {
        m_hosts.removeAll(owner);
        if (step != "_CLIENT_SYN") { // a host that starts is not bound
            Remember(owner);
        }
        return;
    }
    if (m_hosts.isEmpty() || step == "_CLIENT_SYN") {
        m_hosts.removeAll(owner);
        Remember(owner);
        OnBound();
    }
    if (step == "_CLIENT_ACK") {
        Cancel();
        BecomeReady();
    } else {
        Announce(step == "_CLIENT_SYN" ? "_SERVICE_SYN_ACK" : "_SERVICE_ACK");
    }
}

void Handshake::OnEnd(const QString& host) {
    if (m_watched.remove(host)) {
        m_bus.disconnect(BUS, BUS_PATH, BUS, "NameOwnerChanged", {host}, "sss", this,
                         SLOT(OnNameOwnerChanged(QString, QString, QString)));
    }
    const bool wasBound = IsHost(host);
    m_hosts.removeAll(host);
    if (!wasBound) {
        return;
    }
    std::cout << "lost the host " << host.toStdString() << std::endl;
    OnBound();
    if (m_hosts.isEmpty()) {
        Announce("_SERVICE_SYN");
    } else {
        m_hosts.prepend(m_hosts.takeLast());
        Announce("_SERVICE_ACK");
    }
}

void Handshake::OnBound() {
    m_isReady = false;
    m_hasAsked = false;
    m_synTimer.start(FIRST_PERIOD_MS);
}

void Handshake::BecomeReady() {
    OnBound();
    m_isReady = true;
    std::cout << "connected with " << m_hosts.front().toStdString() << std::endl;
    m_onReady();
}

// A rule for each name: without arg0, each start of any process would wake the partner.
void Handshake::Watch(const QString& name) {
    m_bus.connect(BUS, BUS_PATH, BUS, "NameOwnerChanged", {name}, "sss", this,
                  SLOT(OnNameOwnerChanged(QString, QString, QString)));
}

void Handshake::Remember(const QString& host) {
    m_hosts.append(host);
    if (m_watched.contains(host)) {
        return;
    }
    m_watched.insert(host);
    Watch(host);
    Call("NameHasOwner", {host}, [this, host](const QDBusMessage& reply) {
        if (reply.arguments().value(0) == false) { // it ended before the match rule
            OnEnd(host);
        }
    });
}

void Handshake::Cancel() {
    ++m_announcements;
    m_isAnnouncing = false;
    m_repeatTimer.stop();
}

void Handshake::Announce(const QString& step) {
    Cancel();
    m_step = step;
    m_isAnnouncing = true;
    Call("RequestName", {NAMES + step, DO_NOT_QUEUE},
         [this, number = m_announcements](const QDBusMessage& reply) {
             if (number == m_announcements) {
                 OnAnnounced(reply);
             }
         });
    Call("ReleaseName", {NAMES + step});
}

void Handshake::OnAnnounced(const QDBusMessage& reply) {
    const QVariant result = reply.arguments().value(0);
    if (result == OWNED_BY_ANOTHER) {
        m_repeatTimer.start(REPEAT_PERIOD_MS);
        return;
    }
    Cancel();
    if (result != OWNED) {
        std::cerr << "qtdbus partner: the bus refuses " << (NAMES + m_step).toStdString() << ": "
                  << reply.errorMessage().toStdString() << std::endl;
        return;
    }
    std::cout << "-> " << m_step.toStdString() << std::endl;
    if (m_step == "_SERVICE_ACK") {
        BecomeReady();
    }
}

void Handshake::RepeatSyn() {
    const int period = m_synTimer.interval();
    if (!m_isAnnouncing && (m_hosts.isEmpty() || !m_hasAsked)) {
        Announce("_SERVICE_SYN");
    }
    m_synTimer.start(std::min(2 * period, LONGEST_PERIOD_MS));
}

// Without a wait for the reply: the bus may reply late, and a host may wait for a reply of ours.
void Handshake::Call(const char* method, const QVariantList& arguments, const OnReply& onReply) {
    QDBusMessage call = QDBusMessage::createMethodCall(BUS, BUS_PATH, BUS, method);
    call.setArguments(arguments);
    auto* const watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [watcher, onReply] {
        watcher->deleteLater();
        if (onReply) {
            onReply(watcher->reply());
        }
    });
}
