// The window of examples/qt-launcher beside a partner: keyboard, mouse, banner and contrast.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <QImage>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <gmock/gmock.h>

#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "QtHost.h"
#include "Records.h"

namespace {

using testing::ElementsAre;

class QtLauncher : public testing::Test {
protected:
    void SetUp() override {
        m_model.setItems(LetterRows("abc"));
        m_engine.rootContext()->setContextProperty(QStringLiteral("apps"), &m_model);
        m_engine.rootContext()->setContextProperty(QStringLiteral("icons"), QVariantMap());
        QQmlComponent component(&m_engine, QUrl::fromLocalFile(QStringLiteral(LAUNCHER_QML)));
        const QString errors = component.errorString();
        if (errors.contains(QLatin1String("is not installed"))) {
            GTEST_SKIP() << "needs the QML modules QtQuick and QtQuick.Window";
        }
        m_window.reset(qobject_cast<QQuickWindow*>(component.create()));
        ASSERT_NE(m_window, nullptr) << errors.toStdString();
        m_window->requestActivate();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_window.get()));
    }

    void StartPartner() {
        m_partner = std::make_unique<PartnerProcess>(
            std::vector<std::string>{"--created", "--keep-requests"});
        ASSERT_TRUE(WaitUntilEqual());
        m_partner->Requests();
    }

    bool WaitUntilEqual() {
        return QtHost::WaitUntil([&] { return m_partner->List() == m_host.Records(); });
    }

    void Press(Qt::Key key) { QTest::keyClick(m_window.get(), key); }

    QQuickItem& Banner() { return *m_window->contentItem()->childItems().at(0); }
    QQuickItem& Grid() { return *m_window->contentItem()->childItems().at(1); }

    int Columns() { return qRound(Grid().width() / Grid().property("cellWidth").toDouble()); }
    double CellHeight() { return Grid().property("cellHeight").toDouble(); }

    /** The middle of a cell in the window. */
    QPoint Cell(int row) {
        const double width = Grid().width() / Columns();
        const QPointF inGrid((row % Columns() + 0.5) * width,
                             (row / Columns() + 0.5) * CellHeight());
        return Grid().mapToScene(inGrid).toPoint();
    }

    /** Whether a line of the window has a point of this colour. Qt 5 has no picture of a window
     *  without a display, so that each answer is true. */
    bool HasColour(int line, const QColor& colour) {
        const QImage picture = m_window->grabWindow();
        if (picture.isNull() && QT_VERSION_MAJOR == 5) {
            return true;
        }
        for (int x = 0; x < picture.width(); ++x) {
            if (picture.pixelColor(x, line) == colour) {
                return true;
            }
        }
        return false;
    }

    /** The requests until the next click, each as its id and its record. */
    std::vector<std::string> RequestsUntilAClick() {
        std::vector<std::string> requests;
        EXPECT_TRUE(QtHost::WaitUntil([&] {
            const auto next = m_partner->Requests();
            requests.insert(requests.end(), next.begin(), next.end());
            return !requests.empty() && Records::IdOf(requests.back()) == Records::SET_CLICKED;
        }));
        return requests;
    }

    PrivateBus m_bus;
    QtHost m_host;
    AppListQtModel& m_model = m_host.Model();
    std::unique_ptr<PartnerProcess> m_partner;
    QQmlEngine m_engine;
    std::unique_ptr<QQuickWindow> m_window;
};

TEST_F(QtLauncher, SelectsByArrowsAndClicksByReturn) {
    EXPECT_EQ(m_model.currentIndex(), -1) << "the window selects nothing by itself";
    StartPartner();
    Press(Qt::Key_Right);
    Press(Qt::Key_Right);
    Press(Qt::Key_Return);
    EXPECT_EQ(m_model.currentIndex(), 1);
    EXPECT_THAT(RequestsUntilAClick(), ElementsAre(Records::Frame("a\na\n", Records::SET_SELECTION),
                                                   Records::Frame("b\nb\n", Records::SET_SELECTION),
                                                   Records::Frame("b\nb\n", Records::SET_CLICKED)));
}

TEST_F(QtLauncher, FollowsThePartnerAlsoAfterAKey) {
    StartPartner();
    Press(Qt::Key_Right);
    ASSERT_TRUE(WaitUntilEqual()) << "a waiting selection of the host replaces the partner's";
    m_partner->Ask("choose 2");
    const auto current = [&] { return Grid().property("currentIndex").toInt(); };
    EXPECT_TRUE(QtHost::WaitUntil([&] { return current() == 2; })) << current();
    Press(Qt::Key_Left);
    EXPECT_EQ(m_model.currentIndex(), 1);
}

TEST_F(QtLauncher, SelectsAndClicksByMouse) {
    StartPartner();
    ASSERT_TRUE(QtHost::WaitUntil([&] { return Banner().height() == 0; }));
    QTest::mouseClick(m_window.get(), Qt::LeftButton, Qt::NoModifier, Cell(2));
    EXPECT_EQ(m_model.currentIndex(), 2);
    EXPECT_THAT(RequestsUntilAClick(), ElementsAre(Records::Frame("c\nc\n", Records::SET_SELECTION),
                                                   Records::Frame("c\nc\n", Records::SET_CLICKED)));
}

TEST_F(QtLauncher, HasABannerWithoutAPartner) {
    EXPECT_EQ(Banner().height(), 40);
    EXPECT_TRUE(HasColour(4, {0xf2, 0xc1, 0x4e}));
    StartPartner();
    EXPECT_TRUE(QtHost::WaitUntil([&] { return Banner().height() == 0; }));
    m_partner->Kill();
    EXPECT_TRUE(QtHost::WaitUntil([&] { return Banner().height() == 40; }));
}

TEST_F(QtLauncher, ShowsTheSelectedItemOfManyWithAFrame) {
    QVector<AppListQtModel::Item> items;
    for (int i = 0; i < 300; ++i) {
        items.append({QString::number(i), QStringLiteral("More than two lines, ").repeated(5)});
    }
    m_model.setItems(items);
    m_model.setCurrentIndex(299);
    const int lines = (299 + Columns()) / Columns();
    const double end = lines * CellHeight() - Grid().height();
    EXPECT_TRUE(QtHost::WaitUntil([&] { return Grid().property("contentY").toDouble() == end; }));
    const int lastLine = Grid().mapToScene({0, Grid().height() - 2}).toPoint().y();
    EXPECT_TRUE(QtHost::WaitUntil([&] {
        return HasColour(lastLine, {0x8a, 0xb4, 0xf8});
    })) << "no frame of the selection in the last line of items";
}

} // namespace
