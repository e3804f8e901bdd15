// A partner on QtDBus: the communication object, the list, and the actions of the user.
#ifndef APPLIST_INTEROP_PARTNER_H
#define APPLIST_INTEROP_PARTNER_H

#include <QByteArray>
#include <QDBusContext>
#include <QVector>

#include "Handshake.h"

inline namespace interop {

class Partner : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.morva.javamw.DbusCommunication")

public:
    /** @param bus a connection with handlers in the thread of the partner */
    explicit Partner(const QDBusConnection& bus);

    /** @return false if the bus refuses the object */
    bool Start();
    void OnCommand(const QByteArray& line);

public slots:
    Q_SCRIPTABLE QByteArray Send(const QByteArray& data);
    void OnDisconnected();

private:
    /** Bytes of any character set. */
    struct Item {
        QByteArray name;
        QByteArray id;
    };

    static QByteArray Describe(const Item& item) { return item.name + " (" + item.id + ")"; }

    void OnReady();
    void OnRequest(int id, const QVector<Item>& items);
    void Notify(char id);
    int Find(const QByteArray& id) const;
    void Add(const QVector<Item>& items);
    void Replace(const QByteArray& id, const QVector<Item>& items);
    void List() const;

    QDBusConnection m_bus;
    Handshake m_handshake;
    QVector<Item> m_items;
    QVector<Item> m_selection; ///< at most one item
    bool m_awaitsList = false;
};

} // namespace interop

#endif
