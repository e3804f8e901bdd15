#include "QtHost.h"

#include <algorithm>
#include <cctype>

#include <QTest>

#include "Records.h"

inline namespace applist_test {

namespace {

std::string Range(const char* signal, int first, int last) {
    return std::string(signal) + " " + std::to_string(first) + "-" + std::to_string(last);
}

} // namespace

RowCopy::RowCopy(const AppListQtModel& model) : m_model(model) {
    using Model = QAbstractItemModel;
    connect(&model, &Model::rowsInserted, this,
            [this](const QModelIndex&, int first, int last) { Insert(first, last); });
    connect(&model, &Model::rowsRemoved, this,
            [this](const QModelIndex&, int first, int last) { Remove(first, last); });
    connect(&model, &Model::rowsMoved, this,
            [this](const QModelIndex&, int first, int last, const QModelIndex&, int next) {
                Move(first, last, next);
            });
    connect(&model, &Model::dataChanged, this,
            [this](const QModelIndex& first, const QModelIndex& last) {
                Change(first.row(), last.row());
            });
    connect(&model, &Model::modelReset, this, [this] {
        m_signals.push_back("reset");
        m_rows = ModelRows();
    });
}

std::vector<std::string> RowCopy::Read(int first, int last) const {
    std::vector<std::string> rows;
    for (int row = first; row <= last; ++row) {
        const QModelIndex index = m_model.index(row);
        const QString text = index.data(AppListQtModel::UniqueIdRole).toString() + " " +
                             index.data(AppListQtModel::NameRole).toString();
        rows.push_back(text.toStdString());
    }
    return rows;
}

void RowCopy::Insert(int first, int last) {
    m_signals.push_back(Range("insert", first, last));
    const auto rows = Read(first, last);
    m_rows.insert(m_rows.begin() + first, rows.begin(), rows.end());
}

void RowCopy::Remove(int first, int last) {
    m_signals.push_back(Range("remove", first, last));
    m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
}

void RowCopy::Move(int first, int last, int next) {
    const int to = next > first ? next - 1 : next;
    m_signals.push_back("move " + std::to_string(first) + " to " + std::to_string(to));
    const auto begin = m_rows.begin() + first;
    const auto end = m_rows.begin() + last + 1;
    if (next > first) {
        std::rotate(begin, end, m_rows.begin() + next);
    } else {
        std::rotate(m_rows.begin() + next, begin, end);
    }
}

void RowCopy::Change(int first, int last) {
    m_signals.push_back(Range("change", first, last));
    const auto rows = Read(first, last);
    std::copy(rows.begin(), rows.end(), m_rows.begin() + first);
}

QtHost::QtHost()
    : m_model(std::make_unique<AppListQtModel>()),
      m_tester(std::make_unique<QAbstractItemModelTester>(
          m_model.get(), QAbstractItemModelTester::FailureReportingMode::Fatal)),
      m_copy(std::make_unique<RowCopy>(*m_model)) {}

void QtHost::DeleteModel() {
    m_tester.reset();
    m_model.reset();
}

bool QtHost::WaitUntil(const std::function<bool()>& happened) {
    return QTest::qWaitFor(happened, 20000);
}

std::pair<std::string, std::string> QtHost::Records() const {
    const auto record = [this](int row) {
        const QModelIndex index = m_model->index(row);
        return Records::Write({index.data().toString().toStdString(),
                               index.data(AppListQtModel::UniqueIdRole).toString().toStdString()});
    };
    std::string list;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        list += record(row);
    }
    return {list, m_model->currentIndex() < 0 ? "" : record(m_model->currentIndex())};
}

QVector<AppListQtModel::Item> LetterRows(const std::string& ids) {
    QVector<AppListQtModel::Item> items;
    for (const char letter : ids) {
        const char id = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        items.append({QString(QLatin1Char(id)), QString(QLatin1Char(letter))});
    }
    return items;
}

} // namespace applist_test
