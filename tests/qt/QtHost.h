// A host with the Qt model: a bus of its own, the model's tester in fatal mode, and a copy of the
// rows that the signals alone have changed.
#ifndef APPLIST_TESTS_QTHOST_H
#define APPLIST_TESTS_QTHOST_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <QAbstractItemModelTester>
#include <applist/AppListQtModel.h>

inline namespace applist_test {

/** Follows the signals of a model as a view does. */
class RowCopy : public QObject {
public:
    explicit RowCopy(const AppListQtModel& model);

    /** The signals since the last call: "insert 0-2", "move 0 to 3", "change 1-1", "reset". */
    std::vector<std::string> TakeSignals() { return std::exchange(m_signals, {}); }
    /** The copied rows, each as "uniqueId name". */
    const std::vector<std::string>& Rows() const { return m_rows; }
    /** The rows of the model in the same form. */
    std::vector<std::string> ModelRows() const { return Read(0, m_model.rowCount() - 1); }

private:
    std::vector<std::string> Read(int first, int last) const;
    void Insert(int first, int last);
    void Remove(int first, int last);
    void Move(int first, int last, int next);
    void Change(int first, int last);

    const AppListQtModel& m_model;
    std::vector<std::string> m_rows;
    std::vector<std::string> m_signals;
};

/** The argument of an application that ends with a task in its event loop. */
constexpr const char* POST_AND_END = "--post-and-end";

class QtHost {
public:
    QtHost();

    AppListQtModel& Model() { return *m_model; }
    RowCopy& Copy() { return *m_copy; }
    void DeleteModel();

    /** Iterates Qt's event loop until @p happened is true. @return whether it became true in time
     */
    static bool WaitUntil(const std::function<bool()>& happened);

    /** The list and the selection as the records that the partner must have. */
    std::pair<std::string, std::string> Records() const;

private:
    std::unique_ptr<AppListQtModel> m_model;
    std::unique_ptr<QAbstractItemModelTester> m_tester;
    std::unique_ptr<RowCopy> m_copy;
};

/** Items with the ids of @p ids, one letter each. An upper-case letter is the same id with another
 * name. */
QVector<AppListQtModel::Item> LetterRows(const std::string& ids);

} // namespace applist_test

#endif
