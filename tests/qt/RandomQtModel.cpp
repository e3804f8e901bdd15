// Random edits of the Qt model and its partner; the partner is stopped, killed and replaced. The
// model's tester runs in fatal mode. At each quiet point the model, a copy made from its signals,
// and the partner's list are equal.
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include "QtHost.h"
#include "RandomEdits.h"
#include "TaskOrder.h"

namespace {

constexpr const char* SUMMARY =
    "Makes random edits of the Qt model and random selections by its partner, a process\n"
    "that is stopped and continued, killed and replaced. QAbstractItemModelTester checks\n"
    "every signal. Every 20 steps both sides become quiet, and the rows of the model, a\n"
    "copy of these rows from the signals alone, and the partner's list are compared.\n"
    "Without QT_NO_GLIB=1 in the environment, the event loop is that of GLib.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

class RandomQtModel : public RandomEdits<QtHost> {
public:
    explicit RandomQtModel(std::uint64_t seed) : RandomEdits(seed) {
        std::printf("event loop %s\n",
                    QAbstractEventDispatcher::instance()->metaObject()->className());
    }

private:
    void Edit() override;
    void EndStep() override;
    void CheckHost() override;

    int PickRow(qsizetype count) { return static_cast<int>(Pick(static_cast<std::size_t>(count))); }
    int AnyRow() { return PickRow(m_model.rowCount() + 1); }
    QString AnyId() { return QString(QLatin1Char(AnyLetter())); }
    QString AnyName() { return QString::number(Pick(1000)); }
    QVector<AppListQtModel::Item> AnyItems();
    QVector<AppListQtModel::Item> Shuffled();

    AppListQtModel& m_model = m_host.Model();
};

QVector<AppListQtModel::Item> RandomQtModel::Shuffled() {
    QVector<AppListQtModel::Item> items;
    for (int row = 0; row < m_model.rowCount(); ++row) {
        const QModelIndex index = m_model.index(row);
        items.append({index.data(AppListQtModel::UniqueIdRole).toString(),
                      Pick(5) == 0 ? AnyName() : index.data().toString()});
    }
    std::shuffle(items.begin(), items.end(), m_random);
    return items;
}

QVector<AppListQtModel::Item> RandomQtModel::AnyItems() {
    QVector<AppListQtModel::Item> items = Shuffled();
    items.resize(PickRow(items.size() + 1));
    for (std::size_t count = Pick(6); count > 0; --count) {
        const QString id = AnyId();
        const bool isNew = std::none_of(items.begin(), items.end(),
                                        [&](const auto& item) { return item.uniqueId == id; });
        if (isNew) {
            items.insert(PickRow(items.size() + 1), {id, AnyName()});
        }
    }
    return items;
}

void RandomQtModel::EndStep() {
    if (Pick(2) == 0) {
        QCoreApplication::processEvents();
    }
    m_done["signals of rows"] += m_host.Copy().TakeSignals().size();
}

void RandomQtModel::Edit() {
    switch (Pick(9)) {
    case 0:
        return Count("set items", m_model.setItems(AnyItems()));
    case 1:
        return Count("set shuffled items", m_model.setItems(Shuffled()));
    case 2:
        return Count("remove", m_model.remove(AnyRow()));
    case 3:
        return Count("modify", m_model.modify(AnyRow(), AnyId(), AnyName()));
    case 4:
        m_model.setCurrentIndex(AnyRow());
        return Count("set current index");
    case 5:
        return Count("click", m_model.click(AnyRow()));
    case 6:
        return Count("move", m_model.move(AnyRow(), AnyRow()));
    case 7:
        if (Pick(10) == 0) {
            Count("clear", m_model.clear());
        }
        return;
    default:
        return Count("append", m_model.append(AnyId(), AnyName()));
    }
}

void RandomQtModel::CheckHost() {
    if (m_host.Copy().Rows() != m_host.Copy().ModelRows()) {
        throw std::runtime_error("the rows of the model differ from those of its signals");
    }
}

} // namespace

int main(int argc, char** argv) {
    const OrderedApplication<QCoreApplication> application(argc, argv);
    return RunRandomEdits<RandomQtModel>(argc, argv, SUMMARY);
}
