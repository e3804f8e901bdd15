// Random edits of the Qt model and its partner; the partner is stopped, killed and replaced. The
// model's tester runs in fatal mode. At each quiet point the model, a copy made from its signals,
// and the partner's list are equal.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>

#include "DisturbedPartner.h"
#include "Hex.h"
#include "Options.h"
#include "PrivateBus.h"
#include "QtHost.h"
#include "QuietHost.h"
#include "RandomSteps.h"
#include "Records.h"
#include "SharedBus.h"

namespace {

constexpr const char* SUMMARY =
    "Makes random edits of the Qt model and random selections by its partner, a process\n"
    "that is stopped and continued, killed and replaced. QAbstractItemModelTester checks\n"
    "every signal. Every 20 steps both sides become quiet, and the rows of the model, a\n"
    "copy of these rows from the signals alone, and the partner's list are compared.\n"
    "Without QT_NO_GLIB=1 in the environment, the event loop is that of GLib.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

[[noreturn]] void Fail(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::exit(1);
}

class RandomQtModel {
public:
    explicit RandomQtModel(std::uint64_t seed) : m_random(seed) {}

    void Step();
    void Compare();
    std::map<std::string, unsigned long> Done() const;

private:
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    int AnyRow() { return Pick(m_model.rowCount() + 1); }
    QString AnyId() { return QString(QLatin1Char("abcdefghijklmnopqrst"[Pick(20)])); }
    QString AnyName() { return QString::number(Pick(1000)); }
    QVector<AppListQtModel::Item> AnyItems();
    QVector<AppListQtModel::Item> Shuffled();

    void Edit();
    void Count(const char* change, bool isAccepted);

    std::mt19937_64 m_random;
    QtHost m_host;
    AppListQtModel& m_model = m_host.Model();
    DisturbedPartner m_partner{m_random};
    std::map<std::string, unsigned long> m_done;
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
    items.resize(Pick(static_cast<int>(items.size()) + 1));
    for (int count = Pick(6); count > 0; --count) {
        const QString id = AnyId();
        const bool isNew = std::none_of(items.begin(), items.end(),
                                        [&](const auto& item) { return item.uniqueId == id; });
        if (isNew) {
            items.insert(Pick(static_cast<int>(items.size()) + 1), {id, AnyName()});
        }
    }
    return items;
}

void RandomQtModel::Step() {
    const int kind = Pick(100);
    if (kind < 85) {
        Edit();
    } else if (kind < 93) {
        m_partner.Select(20);
    } else if (kind < 95) {
        m_partner.Notify(kind == 93 ? Records::CLICKED_EVENT : Records::CHANGE_EVENT);
    } else {
        m_partner.Disturb();
    }
    if (Pick(2) == 0) {
        QCoreApplication::processEvents();
    }
    m_done["signals of rows"] += m_host.Copy().TakeSignals().size();
}

void RandomQtModel::Count(const char* change, bool isAccepted) {
    ++m_done[change + std::string(isAccepted ? "" : ", rejected")];
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
        return Count("set current index", true);
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

void RandomQtModel::Compare() {
    m_partner.Continue();
    if (m_host.Copy().Rows() != m_host.Copy().ModelRows()) {
        Fail("the rows of the model differ from those of its signals");
    }
    std::pair<std::string, std::string> partner;
    const bool equal = QtHost::WaitUntil([&] {
        partner = m_partner.List();
        return partner == m_host.Records();
    });
    if (!equal) {
        const auto [list, selection] = m_host.Records();
        Fail("host " + Hex::Of(list) + " selection " + Hex::Of(selection) + ", partner " +
             Hex::Of(partner.first) + " selection " + Hex::Of(partner.second));
    }
    ++m_done["comparisons"];
}

std::map<std::string, unsigned long> RandomQtModel::Done() const {
    std::map<std::string, unsigned long> done = m_partner.Done();
    done.insert(m_done.begin(), m_done.end());
    return done;
}

} // namespace

int main(int argc, char** argv) {
    gint64 steps = 100000;
    gint64 seed = std::random_device()();
    ParseOptions(argc, argv, SUMMARY,
                 {NumberOption("steps", steps, "Make so many steps (100000)"),
                  NumberOption("seed", seed, "Repeat the choices of this seed")});
    const QCoreApplication application(argc, argv);
    QuietHost quiet;
    const PrivateBus bus;
    std::printf("seed %" PRId64 ", event loop %s\n", seed,
                QAbstractEventDispatcher::instance()->metaObject()->className());
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    RandomQtModel run(static_cast<std::uint64_t>(seed));
    MakeRandomSteps(run, steps);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%" PRId64 " steps in %.1f s, all equal\n", steps, took.count());
    SharedBus::WaitUntilReleased();
    return quiet.Criticals() == 0 ? 0 : 1;
}
