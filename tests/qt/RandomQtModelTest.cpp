// Random edits of the Qt model and its partner, with each event loop of Qt. The model's tester runs
// in fatal mode. At each quiet point the model, a copy made from its signals, and the partner's
// list are equal.
#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <gmock/gmock.h>

#include "Hex.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "QtHost.h"
#include "Records.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class RandomQtModel : public testing::Test {
protected:
    void Run(int steps);

private:
    int Pick(int count) { return static_cast<int>(m_random() % static_cast<unsigned>(count)); }
    int AnyRow() { return Pick(m_model.rowCount() + 1); }
    QString AnyId() { return QString(QLatin1Char("abcdefghijklmnopqrst"[Pick(20)])); }
    QString AnyName() { return QString::number(Pick(1000)); }
    QVector<AppListQtModel::Item> AnyItems();
    QVector<AppListQtModel::Item> Shuffled();

    void Edit();
    void PartnerActs();
    void ReplacePartner();
    void Compare();

    unsigned m_seed = std::random_device()();
    std::mt19937 m_random{m_seed};
    PrivateBus m_bus;
    QtHost m_host;
    AppListQtModel& m_model = m_host.Model();
    std::unique_ptr<PartnerProcess> m_partner;
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

void RandomQtModel::Edit() {
    switch (Pick(9)) {
    case 0:
        m_model.setItems(AnyItems());
        return;
    case 1:
        m_model.setItems(Shuffled());
        return;
    case 2:
        m_model.remove(AnyRow());
        return;
    case 3:
        m_model.modify(AnyRow(), AnyId(), AnyName());
        return;
    case 4:
        m_model.setCurrentIndex(AnyRow());
        return;
    case 5:
        m_model.click(AnyRow());
        return;
    case 6:
        m_model.move(AnyRow(), AnyRow());
        return;
    case 7:
        if (Pick(10) == 0) {
            m_model.clear();
        }
        return;
    default:
        m_model.append(AnyId(), AnyName());
        return;
    }
}

void RandomQtModel::PartnerActs() {
    const int kind = Pick(10);
    if (kind == 0) {
        ReplacePartner();
    } else if (kind < 3) {
        const int event = kind == 1 ? Records::CLICKED_EVENT : Records::CHANGE_EVENT;
        m_partner->Ask("notify " + Hex::Of(Records::Frame("", event)));
    } else {
        m_partner->Ask("choose " + std::to_string(Pick(20)));
    }
}

void RandomQtModel::ReplacePartner() {
    if (m_partner != nullptr) {
        m_partner->Kill();
    }
    m_partner = std::make_unique<PartnerProcess>(std::vector<std::string>{"--created"});
}

void RandomQtModel::Compare() {
    ASSERT_EQ(m_host.Copy().Rows(), m_host.Copy().ModelRows());
    std::pair<std::string, std::string> partner;
    ASSERT_TRUE(QtHost::WaitUntil([&] {
        partner = m_partner->List();
        return partner == m_host.Records();
    })) << "host "
        << testing::PrintToString(m_host.Records()) << ", partner "
        << testing::PrintToString(partner);
}

void RandomQtModel::Run(int steps) {
    SCOPED_TRACE("seed " + std::to_string(m_seed));
    ReplacePartner();
    for (int step = 1; step <= steps && !HasFatalFailure(); ++step) {
        if (Pick(10) == 0) {
            PartnerActs();
        } else {
            Edit();
        }
        if (Pick(2) == 0) {
            QCoreApplication::processEvents();
        }
        if (step % 20 == 0) {
            Compare();
        }
    }
}

std::string EventLoop() {
    return QAbstractEventDispatcher::instance()->metaObject()->className();
}

TEST_F(RandomQtModel, KeepsEqualListsOnTheEventLoopOfGLib) {
    if (!qEnvironmentVariableIsEmpty("QT_NO_GLIB")) {
        GTEST_SKIP() << "QT_NO_GLIB is set";
    }
    ASSERT_THAT(EventLoop(), HasSubstr("Glib"));
    Run(600);
}

TEST_F(RandomQtModel, KeepsEqualListsWithoutTheEventLoopOfGLib) {
    if (qEnvironmentVariableIsEmpty("QT_NO_GLIB")) {
        GTEST_SKIP() << "QT_NO_GLIB is not set";
    }
    ASSERT_THAT(EventLoop(), Not(HasSubstr("Glib")));
    Run(600);
}

} // namespace
