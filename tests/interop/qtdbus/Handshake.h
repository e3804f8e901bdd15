// The partner's half of the handshake: finds one host, and finds it again.
#ifndef APPLIST_INTEROP_HANDSHAKE_H
#define APPLIST_INTEROP_HANDSHAKE_H

#include <functional>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QSet>
#include <QStringList>
#include <QTimer>

inline namespace interop {

class Handshake : public QObject {
    Q_OBJECT

public:
    /** @param onReady called after each handshake, also with the same host */
    Handshake(const QDBusConnection& bus, std::function<void()> onReady);

    /** Watches the names of hosts, and then announces the partner. */
    void Start();

    bool IsHost(const QString& sender) const { return m_hosts.value(0) == sender; }
    /** The host that accepts notifications, or an empty name. */
    QString ReadyHost() const { return m_isReady ? m_hosts.front() : QString(); }
    /** Only a request proves that the host is bound to this partner. */
    void OnRequest();

private slots:
    void OnNameOwnerChanged(const QString& name, const QString& owner, const QString& next);

private:
    using OnReply = std::function<void(const QDBusMessage& reply)>;

    void OnEnd(const QString& host);
    void OnBound();
    void BecomeReady();
    void Watch(const QString& name);
    void Remember(const QString& host);
    void Announce(const QString& step);
    void OnAnnounced(const QDBusMessage& reply);
    void Cancel();
    void RepeatSyn();
    void Call(const char* method, const QVariantList& arguments, const OnReply& onReply = {});

    QDBusConnection m_bus;
    std::function<void()> m_onReady;
    QStringList m_hosts; ///< the bound host, then the others that are bound to a partner
    QSet<QString> m_watched;
    QTimer m_synTimer;
    QTimer m_repeatTimer;
    unsigned m_announcements = 0; ///< the latest one cancels the others
    bool m_isAnnouncing = false;
    bool m_isReady = false;
    bool m_hasAsked = false;
    QString m_step; ///< the latest announcement
};

} // namespace interop

#endif
