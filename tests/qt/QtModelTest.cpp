// The Qt model on a bus of its own, with a partner process: signals of rows, selection, events,
// destruction; and its executor.
#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <QCoreApplication>
#include <QSignalSpy>
#include <QThread>
#include <applist/AppListQtExecutor.h>
#include <gmock/gmock.h>

#include "Hex.h"
#include "MainLoop.h"
#include "NamedRow.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "Process.h"
#include "QtHost.h"
#include "Records.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Strings = std::vector<std::string>;

class QtModel : public testing::Test {
protected:
    void StartPartner(const Strings& options = {"--created"}) {
        m_partner = std::make_unique<PartnerProcess>(options);
        ASSERT_TRUE(QtHost::WaitUntil([&] { return m_model.isConnected(); }));
    }

    bool WaitUntilEqual() {
        return QtHost::WaitUntil([&] { return m_partner->List() == m_host.Records(); });
    }

    void Notify(int event) { m_partner->Ask("notify " + Hex::Of(Records::Frame("", event))); }

    bool WaitForCurrent(int row) {
        return QtHost::WaitUntil([&] { return m_model.currentIndex() == row; });
    }

    PrivateBus m_bus;
    QtHost m_host;
    AppListQtModel& m_model = m_host.Model();
    std::unique_ptr<PartnerProcess> m_partner;
};

// Signals of rows

struct Change : NamedRow {
    const char* present;
    const char* wanted;
    Strings emitted;
};

class QtModelSignals : public QtModel, public testing::WithParamInterface<Change> {};

TEST_P(QtModelSignals, AreTheSmallestPossible) {
    m_model.setItems(LetterRows(GetParam().present));
    m_host.Copy().TakeSignals();
    EXPECT_TRUE(m_model.setItems(LetterRows(GetParam().wanted)));
    EXPECT_EQ(m_host.Copy().TakeSignals(), GetParam().emitted);
    EXPECT_EQ(m_host.Copy().Rows(), m_host.Copy().ModelRows());
    EXPECT_EQ(m_model.rowCount(), LetterRows(GetParam().wanted).size());
    for (int row = 0; row < m_model.rowCount(); ++row) {
        EXPECT_EQ(m_model.index(row).data().toString(), LetterRows(GetParam().wanted).at(row).name);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Changes, QtModelSignals,
    testing::Values(
        Change{{"OfAFirstList"}, "", "abc", {"insert 0-2"}},
        Change{{"OfAnEqualList"}, "abc", "abc", {}},
        Change{{"OfAppendedItems"}, "ab", "abcd", {"insert 2-3"}},
        Change{{"OfInsertedItems"}, "abc", "xaybc", {"insert 0-0", "insert 2-2"}},
        Change{{"OfRemovedItems"}, "abcde", "ad", {"remove 4-4", "remove 1-2"}},
        Change{{"OfAnItemMovedDown"}, "abcd", "bcda", {"move 0 to 3"}},
        Change{{"OfAnItemMovedUp"}, "abcd", "dabc", {"move 3 to 0"}},
        Change{{"OfAReversedList"}, "abcd", "dcba", {"move 2 to 3", "move 1 to 3", "move 0 to 3"}},
        Change{{"OfNewNames"}, "abcde", "aBCdE", {"change 1-2", "change 4-4"}},
        Change{{"OfAllKinds"},
               "abcde",
               "Dxac",
               {"remove 4-4", "remove 1-1", "move 2 to 0", "insert 1-1", "change 0-0"}},
        Change{{"OfAnEmptiedList"}, "abc", "", {"remove 0-2"}},
        Change{{"OfARefill"}, "abc", "xyz", {"reset"}}),
    RowName<Change>);

TEST_F(QtModel, IsResetByMoreStepsThanAThousand) {
    QVector<AppListQtModel::Item> items;
    for (int i = 0; i <= 1000; ++i) {
        items.append({QString::number(i), QStringLiteral("name")});
    }
    m_model.setItems(items);
    m_host.Copy().TakeSignals();
    std::reverse(items.begin(), items.end());
    m_model.setItems(items);
    EXPECT_EQ(m_host.Copy().TakeSignals().size(), 1000U) << "one move for each row except one";
    EXPECT_EQ(m_host.Copy().Rows(), m_host.Copy().ModelRows());

    items.append({QStringLiteral("other"), QStringLiteral("name")});
    std::reverse(items.begin(), items.end());
    m_model.setItems(items);
    EXPECT_THAT(m_host.Copy().TakeSignals(), ElementsAre("reset"));
    EXPECT_EQ(m_host.Copy().Rows(), m_host.Copy().ModelRows());
}

TEST_F(QtModel, EmitsOneSignalForEachEdit) {
    StartPartner();
    EXPECT_TRUE(m_model.append(QStringLiteral("a"), QStringLiteral("Clock")));
    EXPECT_TRUE(m_model.append(QStringLiteral("b"), QStringLiteral("Music")));
    EXPECT_TRUE(m_model.append(QStringLiteral("c"), QStringLiteral("Radio")));
    EXPECT_TRUE(m_model.move(0, 2));
    EXPECT_TRUE(m_model.move(2, 0));
    EXPECT_TRUE(m_model.remove(1));
    EXPECT_TRUE(m_model.modify(1, QStringLiteral("d"), QStringLiteral("Über")));
    EXPECT_THAT(m_host.Copy().TakeSignals(),
                ElementsAre("insert 0-0", "insert 1-1", "insert 2-2", "move 0 to 2", "move 2 to 0",
                            "remove 1-1", "change 1-1"));
    EXPECT_THAT(m_host.Copy().Rows(), ElementsAre("a Clock", "d Über"));
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_TRUE(m_model.clear());
    EXPECT_THAT(m_host.Copy().TakeSignals(), ElementsAre("remove 0-1"));
    EXPECT_TRUE(WaitUntilEqual());
}

TEST_F(QtModel, NamesTheChangedRoles) {
    m_model.setItems(LetterRows("ab"));
    QSignalSpy spy(&m_model, &QAbstractItemModel::dataChanged);
    m_model.modify(0, QStringLiteral("a"), QStringLiteral("other"));
    m_model.modify(0, QStringLiteral("c"), QStringLiteral("other"));
    const QVector<int> name{Qt::DisplayRole, AppListQtModel::NameRole};
    EXPECT_EQ(spy.at(0).at(2).value<QVector<int>>(), name);
    EXPECT_EQ(spy.at(1).at(2).value<QVector<int>>(),
              name + QVector<int>{AppListQtModel::UniqueIdRole});
}

TEST_F(QtModel, RejectsInvalidChanges) {
    m_model.setItems(LetterRows("ab"));
    m_host.Copy().TakeSignals();
    const QString id = QStringLiteral("c");
    EXPECT_FALSE(m_model.setItems(LetterRows("cc")));
    EXPECT_FALSE(m_model.append(QStringLiteral("a"), id));
    EXPECT_FALSE(m_model.append(QString(), id));
    EXPECT_FALSE(m_model.append(id, QStringLiteral("two\nlines")));
    EXPECT_FALSE(m_model.append(QStringLiteral("two\nlines"), id));
    EXPECT_FALSE(m_model.modify(0, QStringLiteral("b"), id));
    EXPECT_FALSE(m_model.modify(2, id, id));
    EXPECT_FALSE(m_model.move(0, 2));
    EXPECT_FALSE(m_model.move(-1, 0));
    EXPECT_FALSE(m_model.remove(2));
    EXPECT_FALSE(m_model.click(-1));
    m_model.setCurrentIndex(2);
    EXPECT_EQ(m_model.currentIndex(), -1);
    EXPECT_THAT(m_host.Copy().TakeSignals(), IsEmpty());
    StartPartner();
    EXPECT_TRUE(WaitUntilEqual());
}

TEST_F(QtModel, RejectsChangesByHandlersOfItsRows) {
    std::vector<bool> changed;
    QObject::connect(&m_model, &QAbstractItemModel::rowsInserted, &m_model, [&] {
        changed.push_back(m_model.setItems({}));
        changed.push_back(m_model.append(QStringLiteral("x"), QString()));
        changed.push_back(m_model.remove(0));
        changed.push_back(m_model.modify(0, QStringLiteral("x"), QString()));
    });
    m_model.setItems(LetterRows("abc"));
    EXPECT_THAT(changed, ElementsAre(false, false, false, false));
    EXPECT_EQ(m_model.rowCount(), 3);
}

// The selection

TEST_F(QtModel, SelectsTheSameRowOnBothSides) {
    m_model.setItems(LetterRows("abc"));
    StartPartner();
    QSignalSpy spy(&m_model, &AppListQtModel::currentIndexChanged);
    m_model.setCurrentIndex(2);
    EXPECT_EQ(m_model.currentIndex(), 2);
    ASSERT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_partner->List().second, "c\nc\n");
    m_partner->Ask("choose 1");
    ASSERT_TRUE(WaitForCurrent(1));
    EXPECT_EQ(spy.count(), 2);
    EXPECT_TRUE(WaitUntilEqual());
}

TEST_F(QtModel, KeepsTheSelectedItemWhileItsRowChanges) {
    m_model.setItems(LetterRows("abc"));
    m_model.setCurrentIndex(1);
    QSignalSpy spy(&m_model, &AppListQtModel::currentIndexChanged);
    std::vector<int> rowsInHandlers;
    const auto read = [&] { rowsInHandlers.push_back(m_model.currentIndex()); };
    QObject::connect(&m_model, &QAbstractItemModel::rowsInserted, &m_model, read);
    QObject::connect(&m_model, &QAbstractItemModel::rowsMoved, &m_model, read);
    QObject::connect(&m_model, &QAbstractItemModel::rowsRemoved, &m_model, read);
    QObject::connect(&m_model, &QAbstractItemModel::modelReset, &m_model, read);
    m_model.setItems(LetterRows("xabc"));
    m_model.move(2, 0);
    m_model.append(QStringLiteral("y"), QString());
    m_model.remove(0);
    m_model.setItems(LetterRows("pq"));
    EXPECT_THAT(rowsInHandlers, ElementsAre(2, 0, 0, -1, -1));
    EXPECT_EQ(spy.count(), 3) << "the append leaves the row, and so does the refill";
}

TEST_F(QtModel, RequestsNoSelectionForTheRowThatAViewWritesBack) {
    m_model.setItems(LetterRows("abc"));
    StartPartner({"--created", "--keep-requests"});
    ASSERT_TRUE(WaitUntilEqual());
    m_partner->Requests();
    QObject::connect(&m_model, &AppListQtModel::currentIndexChanged, &m_model,
                     [&] { m_model.setCurrentIndex(m_model.currentIndex()); });
    m_partner->Ask("choose 1");
    ASSERT_TRUE(WaitForCurrent(1));
    m_model.click(0); // after each earlier request
    std::vector<int> ids;
    ASSERT_TRUE(QtHost::WaitUntil([&] {
        for (const std::string& request : m_partner->Requests()) {
            ids.push_back(Records::IdOf(request));
        }
        return !ids.empty() && ids.back() == Records::SET_CLICKED;
    }));
    EXPECT_THAT(ids, testing::Not(testing::Contains(Records::SET_SELECTION)));
}

TEST_F(QtModel, ForgetsTheSelectionOfARemovedItem) {
    m_model.setItems(LetterRows("abc"));
    StartPartner();
    m_model.setCurrentIndex(1);
    m_model.remove(1);
    m_model.append(QStringLiteral("b"), QStringLiteral("b"));
    EXPECT_EQ(m_model.currentIndex(), -1);
    EXPECT_TRUE(WaitUntilEqual());
}

// The client has the partner's selection before the event loop has processed the report.
TEST_F(QtModel, HasThePartnersSelectionInAHandlerOfItsRows) {
    m_model.setItems(LetterRows("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    int current = -1;
    QObject::connect(&m_model, &QAbstractItemModel::rowsInserted, &m_model,
                     [&] { current = m_model.currentIndex(); });
    m_partner->Ask("choose 1");
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] {
        m_model.append(QStringLiteral("d"), QString());
        m_model.remove(3);
        return current == 1;
    }));
}

TEST_F(QtModel, ReportsTheCurrentRowAfterTheLastSignalOfAChange) {
    m_model.setItems(LetterRows("abc"));
    Strings order;
    QObject::connect(&m_model, &QAbstractItemModel::rowsInserted, &m_model, [&] {
        order.emplace_back("inserted");
        m_model.setCurrentIndex(0);
    });
    QObject::connect(&m_model, &AppListQtModel::currentIndexChanged, &m_model,
                     [&] { order.emplace_back("current"); });
    m_model.setItems(LetterRows("xaybc"));
    EXPECT_THAT(order, ElementsAre("inserted", "inserted", "current"));
}

// Events

TEST_F(QtModel, ReportsTheConnection) {
    QSignalSpy spy(&m_model, &AppListQtModel::connectedChanged);
    EXPECT_FALSE(m_model.isConnected());
    StartPartner();
    EXPECT_TRUE(m_model.isConnected());
    m_partner->Kill();
    EXPECT_TRUE(QtHost::WaitUntil([&] { return !m_model.isConnected(); }));
    EXPECT_EQ(spy.count(), 2);
}

TEST_F(QtModel, ReportsClicksAndChangesOfThePartner) {
    m_model.setItems(LetterRows("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    QSignalSpy clicks(&m_model, &AppListQtModel::clicked);
    QSignalSpy changes(&m_model, &AppListQtModel::partnerListChanged);
    Notify(Records::CLICKED_EVENT);
    m_partner->Ask("choose 2");
    Notify(Records::CLICKED_EVENT);
    Notify(Records::CHANGE_EVENT);
    ASSERT_TRUE(QtHost::WaitUntil([&] { return changes.count() == 1; }));
    ASSERT_EQ(clicks.count(), 2);
    EXPECT_EQ(clicks.at(0).at(0).toInt(), -1);
    EXPECT_EQ(clicks.at(1).at(0).toInt(), 2);
}

TEST_F(QtModel, SendsAClick) {
    m_model.setItems(LetterRows("abc"));
    StartPartner({"--created", "--keep-requests"});
    ASSERT_TRUE(WaitUntilEqual());
    m_partner->Requests();
    EXPECT_TRUE(m_model.click(1));
    std::vector<std::string> requests;
    ASSERT_TRUE(QtHost::WaitUntil([&] {
        requests = m_partner->Requests();
        return !requests.empty();
    }));
    EXPECT_EQ(requests.front(), Records::Frame("b\nb\n", Records::SET_CLICKED));
}

// Destruction

class QtModelEnd : public QtModel, public testing::WithParamInterface<int> {};

TEST_P(QtModelEnd, MayBeInAHandler) {
    m_model.setItems(LetterRows("abc"));
    int calls = 0;
    const auto end = [&] {
        ++calls;
        m_host.DeleteModel();
    };
    if (GetParam() == Records::CREATED_EVENT) {
        QObject::connect(&m_model, &AppListQtModel::connectedChanged, &m_model, end);
        m_partner = std::make_unique<PartnerProcess>();
    } else {
        StartPartner();
        ASSERT_TRUE(WaitUntilEqual());
        QObject::connect(&m_model, &AppListQtModel::currentIndexChanged, &m_model, end);
        QObject::connect(&m_model, &AppListQtModel::clicked, &m_model, end);
        QObject::connect(&m_model, &AppListQtModel::partnerListChanged, &m_model, end);
        m_partner->Ask("select " + Hex::Of(Records::Write({"b", "b"})));
        Notify(GetParam());
    }
    EXPECT_TRUE(QtHost::WaitUntil([&] { return calls == 1; }));
    QCoreApplication::processEvents();
}

INSTANTIATE_TEST_SUITE_P(Events, QtModelEnd,
                         testing::Values(Records::CREATED_EVENT, Records::SELECTION_EVENT,
                                         Records::CLICKED_EVENT, Records::CHANGE_EVENT));

TEST(QtModelLife, MayEndAtAnyMoment) {
    const PrivateBus bus;
    for (int moment = 0; moment < 20; ++moment) {
        PartnerProcess partner({"--created"});
        QtHost host;
        host.Model().setItems(LetterRows("abc"));
        host.Model().setCurrentIndex(moment % 3);
        // The events of the connection now wait for the event loop.
        while (partner.List().second.empty()) {
        }
        QtHost::WaitUntil([&, turns = moment]() mutable { return turns-- == 0; });
        host.DeleteModel();
        // A waiting event would use the overwritten memory of the model.
        QCoreApplication::processEvents();
    }
}

TEST_F(QtModel, EndsWithItsEventLoop) {
    m_model.setItems(LetterRows("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    QObject::connect(&m_model, &AppListQtModel::currentIndexChanged, qApp, &QCoreApplication::quit);
    m_partner->Ask("choose 1");
    QCoreApplication::exec();
    EXPECT_EQ(m_model.currentIndex(), 1);
    m_host.DeleteModel();
}

// The executor

TEST(QtExecutor, RunsTasksOfOtherThreadsInOrderOnItsThread) {
    std::vector<int> order;
    const QThread* thread = nullptr;
    std::thread([&, run = QtExecutor()] {
        run([&] { order.push_back(1); });
        run([&] { order.push_back(2); });
        run([&] { thread = QThread::currentThread(); });
    }).join();
    EXPECT_THAT(order, IsEmpty());
    EXPECT_TRUE(QtHost::WaitUntil([&] { return thread != nullptr; }));
    EXPECT_THAT(order, ElementsAre(1, 2));
    EXPECT_EQ(thread, QThread::currentThread());
}

TEST(QtExecutor, RunsTasksThatAreWaitingAtItsEnd) {
    bool ran = false;
    QtExecutor()([&] { ran = true; });
    EXPECT_TRUE(QtHost::WaitUntil([&] { return ran; }));
}

TEST(QtExecutor, DropsTasksThatAreWaitingAtTheEndOfTheApplication) {
    Process application({QCoreApplication::applicationFilePath().toStdString(), POST_AND_END});
    EXPECT_EQ(application.WaitForExit(), 0) << application.Errors();
}

} // namespace
