#include "Partner.h"

#include <QCoreApplication>
#include <QSet>
#include <QtEndian>
#include <iostream>

namespace {

const QString PATH = "/org/morva/javamw/CommunicationChannel/Applist";
const QString INTERFACE = "org.morva.javamw.DbusCommunication";
enum { SELECT = 2000, QUERY = 2001, CLEAR = 2003, ADD = 2004 };
enum { APPEND = 2005, CLICK = 2006, REMOVE = 2007, MODIFY = 2008 };
enum { CHANGE_EVENT = 1, SELECTION_EVENT = 2, CLICKED_EVENT = 3, CREATED_EVENT = 4 };

} // namespace

Partner::Partner(const QDBusConnection& bus)
    : m_bus(bus), m_handshake(bus, [this] { OnReady(); }) {}

bool Partner::Start() {
    const bool isRegistered =
        m_bus.registerObject(PATH, this, QDBusConnection::ExportScriptableSlots);
    m_handshake.Start();
    return isRegistered;
}

void Partner::OnReady() {
    m_items.clear();
    m_selection.clear();
    m_awaitsList = true;
    Notify(CREATED_EVENT);
}

// To the host alone. Signals of an object of Qt are broadcasts.
void Partner::Notify(char id) {
    const QString host = m_handshake.ReadyHost();
    if (!host.isEmpty()) {
        QDBusMessage signal =
            QDBusMessage::createTargetedSignal(host, PATH, INTERFACE, "SendSignal");
        signal.setArguments({QByteArray(1, id) + QByteArray(3, '\0')}); // little-endian
        m_bus.send(signal);
    }
}

void Partner::OnDisconnected() {
    std::cerr << "qtdbus partner: the bus is gone" << std::endl;
    QCoreApplication::exit(1);
}

// Replies at once, and then changes the list: QtDBus would send the returned array after that.
QByteArray Partner::Send(const QByteArray& data) {
    if (!m_handshake.IsHost(message().service())) {
        return {};
    }
    m_handshake.OnRequest();
    const int end = data.size() - 4;
    const int id = end >= 0 ? qFromLittleEndian<qint32>(data.constData() + end) : 0;
    const bool isAnswered = id == QUERY && !m_selection.isEmpty();
    setDelayedReply(true);
    m_bus.send(message().createReply(
        isAnswered ? m_selection[0].name + "\n" + m_selection[0].id + "\n" : QByteArray()));
    const QList<QByteArray> lines = data.left(end).split('\n');
    QVector<Item> items;
    for (int i = 0; i + 2 < lines.size(); i += 2) { // an incomplete record has no line behind it
        items.append({lines[i], lines[i + 1]});
    }
    OnRequest(id, items);
    return {};
}

void Partner::OnRequest(int id, const QVector<Item>& items) {
    std::cout << "<- " << id;
    for (const Item& item : items) {
        std::cout << ' ' << Describe(item).toStdString();
    }
    if (id == CLEAR) {
        m_items.clear();
        m_selection.clear();
    } else if (id == SELECT && !items.isEmpty()) {
        const int index = Find(items[0].id);
        m_selection = {index >= 0 ? m_items[index] : items[0]};
    } else if (id == ADD) {
        Add(items);
    } else if (id == APPEND) {
        m_items += items.mid(0, 1);
    } else if (id == CLICK) {
        Notify(CLICKED_EVENT);
    } else if (id == REMOVE && !items.isEmpty()) {
        Replace(items[0].id, {});
    } else if (id == MODIFY && items.size() > 1) {
        Replace(items[0].id, {items[1]});
    }
    std::cout << "\n   my list has " << m_items.size() << " items now" << std::endl;
}

int Partner::Find(const QByteArray& id) const {
    for (int i = 0; i < m_items.size(); ++i) {
        if (m_items[i].id == id) {
            return i;
        }
    }
    return -1;
}

// Appends the items with a new id. The first whole list contains all earlier items.
void Partner::Add(const QVector<Item>& items) {
    QSet<QByteArray> added;
    QSet<QByteArray> known;
    for (const Item& item : items) {
        added.insert(item.id);
    }
    for (const Item& item : qAsConst(m_items)) {
        known.insert(item.id);
    }
    if (m_awaitsList && added.contains(known)) {
        m_items.clear();
        known.clear();
        m_awaitsList = false;
    }
    for (const Item& item : items) {
        if (!known.contains(item.id)) {
            known.insert(item.id);
            m_items.append(item);
        }
    }
}

// Puts at most one item in the place of the first item with the id.
void Partner::Replace(const QByteArray& id, const QVector<Item>& items) {
    const int index = Find(id);
    if (index < 0) {
        return;
    }
    if (!m_selection.isEmpty() && m_selection[0].id == id) {
        m_selection = items;
    }
    m_items = m_items.mid(0, index) + items + m_items.mid(index + 1);
}

void Partner::List() const {
    std::cout << "list: " << m_items.size() << " items\n";
    for (int i = 0; i < m_items.size(); ++i) {
        const Item& item = m_items[i];
        const bool isSelected = !m_selection.isEmpty() && m_selection[0].id == item.id;
        std::cout << (isSelected ? "  * " : "    ") << i + 1 << "  " << item.name.toStdString()
                  << "  " << item.id.toStdString() << '\n';
    }
    std::cout << "selection: "
              << (m_selection.isEmpty() ? "none" : Describe(m_selection[0]).toStdString())
              << std::endl;
}

void Partner::OnCommand(const QByteArray& line) {
    const int space = line.indexOf(' ');
    const QByteArray action = space < 0 ? line : line.left(space);
    const QByteArray id = space < 0 ? QByteArray() : line.mid(space + 1);
    const int index = Find(id);
    if (action == "list") {
        List();
    } else if (action == "change") {
        Notify(CHANGE_EVENT);
    } else if (index >= 0 && action == "select") {
        m_selection = {m_items[index]};
        Notify(SELECTION_EVENT);
    } else if (index >= 0 && action == "click") {
        Notify(CLICKED_EVENT);
    } else if (index >= 0 && action == "remove") {
        Replace(id, {});
        Notify(CHANGE_EVENT);
    } else {
        std::cerr << "qtdbus partner: no such command or item" << std::endl;
    }
}
