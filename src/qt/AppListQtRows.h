// The rows of the model, and the client that sends their changes.
#ifndef APPLIST_QT_APPLISTQTROWS_H
#define APPLIST_QT_APPLISTQTROWS_H

#include <string>
#include <utility>

#include <applist/AppListQtExecutor.h>
#include <applist/AppListQtModel.h>
#include <qt/RowDifference.h>

namespace applist_internal {

/** The rows of the views, equal to the host's list of the client after each change. */
class AppListQtRows {
public:
    explicit AppListQtRows(AppListQtModel& model)
        : m_model(model), m_client(QtExecutor(), Events()) {}

    int Count() const { return static_cast<int>(m_items.size()); }
    bool Has(int row) const { return row >= 0 && row < Count(); }
    const AppListClient::Item& At(int row) const { return m_items[static_cast<std::size_t>(row)]; }
    int RowOf(const std::string& uniqueId) const;
    int Current() const { return m_current; }
    bool IsConnected() const { return m_isConnected; }

    bool Set(const RowItems& items);
    bool Append(const AppListClient::Item& item);
    bool Modify(int row, const AppListClient::Item& item);
    bool Move(int from, int to);
    bool Remove(int row);
    bool Click(int row);
    void Select(int row);

private:
    AppListClient::Events Events();
    void Connect(bool isConnected);

    RowItems::iterator Row(int row) { return m_items.begin() + row; }
    void Make(const RowStep& step, const RowItems& wanted);
    void InsertRows(int first, RowItems::const_iterator begin, RowItems::const_iterator end);
    void MoveRow(int from, int to);
    void ChangeRows(int first, RowItems::const_iterator begin, RowItems::const_iterator end);
    void RemoveRows(int first, int count);
    void Refill(const RowItems& items);

    void Begin();
    void End();
    void ReadSelection();
    void UpdateCurrent() { m_current = RowOf(m_selection); }
    void ReportCurrent();

    AppListQtModel& m_model;
    RowItems m_items;
    std::string m_selection; // a unique id, empty without a selection
    int m_current = -1;
    std::pair<std::string, int> m_reported{"", -1}; // selection and row
    bool m_isConnected = false;
    bool m_isChanging = false;
    // The last field: its events use the other ones, and end with it.
    AppListClient m_client;
};

} // namespace applist_internal

#endif
