// The public functions of the model: texts of Qt become items of the client.
#include <applist/AppListQtModel.h>

#include <qt/AppListQtRows.h>

namespace {

AppListClient::Item ClientItem(const QString& uniqueId, const QString& name) {
    return {uniqueId.toStdString(), name.toStdString()};
}

} // namespace

AppListQtModel::AppListQtModel(QObject* parent)
    : QAbstractListModel(parent),
      m_rows(std::make_unique<applist_internal::AppListQtRows>(*this)) {}

AppListQtModel::~AppListQtModel() = default;

int AppListQtModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : m_rows->Count();
}

QVariant AppListQtModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return QString::fromStdString(m_rows->At(index.row()).visibleName);
    case UniqueIdRole:
        return QString::fromStdString(m_rows->At(index.row()).uniqueId);
    default:
        return {};
    }
}

QHash<int, QByteArray> AppListQtModel::roleNames() const {
    return {{NameRole, "name"}, {UniqueIdRole, "uniqueId"}};
}

bool AppListQtModel::isConnected() const {
    return m_rows->IsConnected();
}

int AppListQtModel::currentIndex() const {
    return m_rows->Current();
}

int AppListQtModel::rowOf(const QString& uniqueId) const {
    return m_rows->RowOf(uniqueId.toStdString());
}

bool AppListQtModel::setItems(const QVector<Item>& items) {
    applist_internal::RowItems rows;
    rows.reserve(static_cast<std::size_t>(items.size()));
    for (const Item& item : items) {
        rows.push_back(ClientItem(item.uniqueId, item.name));
    }
    return m_rows->Set(rows);
}

bool AppListQtModel::setList(const QVariantList& items) {
    QVector<Item> list;
    for (const QVariant& item : items) {
        const QVariantMap properties = item.toMap();
        list.append({properties.value(QStringLiteral("uniqueId")).toString(),
                     properties.value(QStringLiteral("name")).toString()});
    }
    return setItems(list);
}

bool AppListQtModel::append(const QString& uniqueId, const QString& name) {
    return m_rows->Append(ClientItem(uniqueId, name));
}

bool AppListQtModel::modify(int row, const QString& uniqueId, const QString& name) {
    return m_rows->Modify(row, ClientItem(uniqueId, name));
}

bool AppListQtModel::move(int from, int to) {
    return m_rows->Move(from, to);
}

bool AppListQtModel::remove(int row) {
    return m_rows->Remove(row);
}

bool AppListQtModel::clear() {
    return m_rows->Set({});
}

bool AppListQtModel::click(int row) {
    return m_rows->Click(row);
}

void AppListQtModel::setCurrentIndex(int row) {
    m_rows->Select(row);
}
