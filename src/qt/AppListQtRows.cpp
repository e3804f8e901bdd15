#include <qt/AppListQtRows.h>

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace applist_internal {

namespace {

// The client rejects the same items, but reports the rejection after the rows have changed.
bool IsValid(const AppListClient::Item& item) {
    return !item.uniqueId.empty() && item.uniqueId.find('\n') == std::string::npos &&
           item.visibleName.find('\n') == std::string::npos;
}

bool AreValid(const RowItems& items) {
    std::unordered_set<std::string_view> ids;
    return std::all_of(items.begin(), items.end(), [&](const AppListClient::Item& item) {
        return IsValid(item) && ids.insert(item.uniqueId).second;
    });
}

bool HaveEqualIds(const AppListClient::Item& left, const AppListClient::Item& right) {
    return left.uniqueId == right.uniqueId;
}

void MoveItem(RowItems& items, int from, int to) {
    const auto item = items.begin() + from;
    if (from < to) {
        std::rotate(item, item + 1, items.begin() + to + 1);
    } else {
        std::rotate(items.begin() + to, item, item + 1);
    }
}

} // namespace

// Events of the client, on the thread of the model. A handler of a signal may delete the model, so
// that each signal is the last statement.

AppListClient::Events AppListQtRows::Events() {
    AppListClient::Events events;
    events.connected = [this] { Connect(true); };
    events.lost = [this] { Connect(false); };
    // The current selection can be newer than that of the event.
    events.selectionChanged = [this](const auto& /*item*/) {
        ReadSelection();
        ReportCurrent();
    };
    events.changed = [this] { Q_EMIT m_model.partnerListChanged(); };
    events.clicked = [this](const auto& item) {
        Q_EMIT m_model.clicked(item ? RowOf(item->uniqueId) : -1);
    };
    return events;
}

void AppListQtRows::Connect(bool isConnected) {
    m_isConnected = isConnected;
    Q_EMIT m_model.connectedChanged();
}

void AppListQtRows::ReadSelection() {
    const auto selection = m_client.GetSelection();
    m_selection = selection ? selection->uniqueId : "";
    UpdateCurrent();
}

void AppListQtRows::ReportCurrent() {
    std::pair<std::string, int> current(m_selection, m_current);
    if (!m_isChanging && current != m_reported) {
        m_reported = std::move(current);
        Q_EMIT m_model.currentIndexChanged();
    }
}

// Functions of the host: each changes the client first, and then the rows.

int AppListQtRows::RowOf(const std::string& uniqueId) const {
    const auto found =
        std::find_if(m_items.begin(), m_items.end(),
                     [&](const AppListClient::Item& item) { return item.uniqueId == uniqueId; });
    return found == m_items.end() ? -1 : static_cast<int>(found - m_items.begin());
}

bool AppListQtRows::Set(const RowItems& items) {
    if (m_isChanging || !AreValid(items)) {
        return false;
    }
    m_client.SetItems(items);
    Begin();
    for (const RowStep& step : RowDifference(m_items, items)) {
        Make(step, items);
    }
    End();
    return true;
}

bool AppListQtRows::Append(const AppListClient::Item& item) {
    if (m_isChanging || !IsValid(item) || RowOf(item.uniqueId) != -1) {
        return false;
    }
    m_client.AddItemAtEnd(item);
    const RowItems items{item};
    Begin();
    InsertRows(Count(), items.begin(), items.end());
    End();
    return true;
}

bool AppListQtRows::Modify(int row, const AppListClient::Item& item) {
    if (m_isChanging || !Has(row) || !IsValid(item)) {
        return false;
    }
    const int present = RowOf(item.uniqueId);
    if (present != -1 && present != row) {
        return false;
    }
    m_client.ModifyItem(At(row).uniqueId, item);
    const RowItems items{item};
    Begin();
    ChangeRows(row, items.begin(), items.end());
    End();
    return true;
}

bool AppListQtRows::Move(int from, int to) {
    if (!Has(from) || !Has(to)) {
        return false;
    }
    RowItems items = m_items;
    MoveItem(items, from, to);
    return Set(items);
}

bool AppListQtRows::Remove(int row) {
    if (m_isChanging || !Has(row)) {
        return false;
    }
    m_client.RemoveItem(At(row).uniqueId);
    Begin();
    RemoveRows(row, 1);
    End();
    return true;
}

bool AppListQtRows::Click(int row) {
    if (!Has(row)) {
        return false;
    }
    m_client.SetClicked(At(row).uniqueId);
    return true;
}

void AppListQtRows::Select(int row) {
    // A view writes back each row that it reads; only another row is a selection of the host.
    if (Has(row) && row != m_current) {
        m_client.SetSelection(At(row).uniqueId);
        ReadSelection();
        ReportCurrent();
    }
}

// The signals of rows. The current row is right in their handlers, too.

void AppListQtRows::Begin() {
    m_isChanging = true;
    ReadSelection();
}

void AppListQtRows::End() {
    m_isChanging = false;
    ReportCurrent();
}

void AppListQtRows::Make(const RowStep& step, const RowItems& wanted) {
    const auto begin = wanted.begin() + step.first;
    switch (step.kind) {
    case RowStep::Kind::REMOVE:
        RemoveRows(step.first, step.count);
        return;
    case RowStep::Kind::MOVE:
        MoveRow(step.first, step.to);
        return;
    case RowStep::Kind::INSERT:
        InsertRows(step.first, begin, begin + step.count);
        return;
    case RowStep::Kind::CHANGE:
        ChangeRows(step.first, begin, begin + step.count);
        return;
    case RowStep::Kind::REFILL:
        Refill(wanted);
        return;
    }
}

void AppListQtRows::InsertRows(int first, RowItems::const_iterator begin,
                               RowItems::const_iterator end) {
    const int count = static_cast<int>(end - begin);
    m_model.beginInsertRows(QModelIndex(), first, first + count - 1);
    m_items.insert(Row(first), begin, end);
    UpdateCurrent();
    m_model.endInsertRows();
}

void AppListQtRows::MoveRow(int from, int to) {
    // Qt requires the row that follows the moved one, counted as before the move.
    const int next = to > from ? to + 1 : to;
    m_model.beginMoveRows(QModelIndex(), from, from, QModelIndex(), next);
    MoveItem(m_items, from, to);
    UpdateCurrent();
    m_model.endMoveRows();
}

void AppListQtRows::ChangeRows(int first, RowItems::const_iterator begin,
                               RowItems::const_iterator end) {
    QVector<int> roles{Qt::DisplayRole, AppListQtModel::NameRole};
    if (!std::equal(begin, end, Row(first), HaveEqualIds)) {
        roles.append(AppListQtModel::UniqueIdRole);
    }
    std::copy(begin, end, Row(first));
    UpdateCurrent();
    const int last = first + static_cast<int>(end - begin) - 1;
    Q_EMIT m_model.dataChanged(m_model.index(first), m_model.index(last), roles);
}

void AppListQtRows::RemoveRows(int first, int count) {
    m_model.beginRemoveRows(QModelIndex(), first, first + count - 1);
    m_items.erase(Row(first), Row(first + count));
    UpdateCurrent();
    m_model.endRemoveRows();
}

void AppListQtRows::Refill(const RowItems& items) {
    m_model.beginResetModel();
    m_items = items;
    UpdateCurrent();
    m_model.endResetModel();
}

} // namespace applist_internal
