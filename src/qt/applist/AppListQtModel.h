// The application list as a model of Qt, for QML and for widgets.
#ifndef APPLIST_APPLIST_APPLISTQTMODEL_H
#define APPLIST_APPLIST_APPLISTQTMODEL_H

#include <memory>

#include <QAbstractListModel>
#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVariant>
#include <QVector>

/** Marks the class that libapplist-qt5 and libapplist-qt6 export. */
#define APPLIST_QT_API __attribute__((visibility("default")))

namespace applist_internal {
class AppListQtRows;
}

/**
 * The list of one host, kept equal to the list of the partner by an AppListClient of its own.
 *
 * **Rows.** Each row is an item. Only the functions of this class change rows, because the partner
 * changes only the selection. Each change of rows has its own signal: insertions, moves, changes
 * of an item in its row, and removals. The model is reset only by setItems and setList: if both
 * lists have items and no unique id stays, or if the change has more than 1,000 steps.
 *
 * **Selection.** currentIndex is the row of the selected item, or -1. Host and partner both change
 * the selection. The protocol has no request that only ends it, so the value -1 cannot be set.
 *
 * **Waiting.** No function waits for the bus or the partner, except for the destructor, whose wait
 * is at most two seconds. A new partner receives the whole list and the selection.
 *
 * **Threads.** The model belongs to the thread of its constructor, which must run an event loop of
 * Qt, with or without GLib. The model cannot move to another thread.
 *
 * **Handlers.** A handler of connectedChanged, currentIndexChanged, clicked or partnerListChanged
 * may call every function, and may delete the model. A handler of the signals of rows may select
 * and click, but must not delete the model. A change of the list by such a handler is rejected.
 *
 * A process has at most one AppListQtModel, AppListClient or AppListProxy at a time.
 */
class APPLIST_QT_API AppListQtModel : public QAbstractListModel {
    Q_OBJECT
    /** Whether a partner is ready. */
    Q_PROPERTY(bool connected READ isConnected NOTIFY connectedChanged)
    /** The row of the selected item, or -1. */
    Q_PROPERTY(int currentIndex READ currentIndex WRITE setCurrentIndex NOTIFY currentIndexChanged)

public:
    /** The roles; Qt::DisplayRole is the name as well. */
    enum Role {
        NameRole = Qt::UserRole, ///< the visible name; in QML "name"
        UniqueIdRole             ///< the unique id; in QML "uniqueId"
    };

    /** An item of the list. */
    struct Item {
        QString uniqueId; ///< not empty, without a line feed, once in the list
        QString name;     ///< for display, without a line feed
    };

    /** Starts the client, and returns. @param parent as in QObject */
    explicit AppListQtModel(QObject* parent = nullptr);
    /** Ends the connection. Waits at most two seconds for waiting changes and for the client. */
    ~AppListQtModel() override;

    /** @return the number of items. @param parent invalid, as for every list */
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    /** @return a text of the item. @param index its row @param role one of the roles */
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    /** @return the names of the roles in QML */
    QHash<int, QByteArray> roleNames() const override;

    /** @return whether a partner is ready */
    bool isConnected() const;
    /** @return the row of the selected item, or -1 */
    int currentIndex() const;
    /** @return the row of the item, or -1. @param uniqueId of the item */
    Q_INVOKABLE int rowOf(const QString& uniqueId) const;

    /** @name Changes
     * Each one returns whether it accepts the change. An invalid text or row changes nothing, and
     * neither does a unique id that another row has.
     */
    /** @{ */
    /** Makes the list equal to @p items by the fewest moves. The selection stays if its item stays.
     *  @return false if an item is invalid */
    bool setItems(const QVector<Item>& items);
    /** The same for QML. @param items objects with the properties uniqueId and name
     *  @return false if an item is invalid */
    Q_INVOKABLE bool setList(const QVariantList& items);
    /** Appends an item. @param uniqueId of the item @param name of the item
     *  @return false if the item is invalid */
    Q_INVOKABLE bool append(const QString& uniqueId, const QString& name);
    /** Replaces an item in its row. @param row of the item @param uniqueId of the new item
     *  @param name of the new item @return false if row or item is invalid */
    Q_INVOKABLE bool modify(int row, const QString& uniqueId, const QString& name);
    /** Moves an item. @param from its row @param to its row afterwards
     *  @return false if a row is invalid */
    Q_INVOKABLE bool move(int from, int to);
    /** Removes an item, and the selection if it is this item. @param row of the item
     *  @return false if the row is invalid */
    Q_INVOKABLE bool remove(int row);
    /** Removes all items and the selection. @return false only in a handler of the
     *  signals of rows */
    Q_INVOKABLE bool clear();
    /** @} */

    /** Reports a click on an item to the partner. @param row of the item
     *  @return false if the row is invalid */
    Q_INVOKABLE bool click(int row);

    /** Selects an item. An invalid row changes nothing. @param row of the item */
    Q_INVOKABLE void setCurrentIndex(int row);

Q_SIGNALS:
    /** A partner is ready, or the partner or the bus has been lost. */
    void connectedChanged();
    /** Host or partner has changed the selection, or its row has changed. */
    void currentIndexChanged();
    /** The partner reports a click on the selection. @param row of the selection, or -1 */
    void clicked(int row);
    /** The partner reports a change of its list. */
    void partnerListChanged();

private:
    friend class applist_internal::AppListQtRows;
    const std::unique_ptr<applist_internal::AppListQtRows> m_rows;
};

#endif
