// Views of the Qt model: QML and a widget, both with the partner's selection.
#include <memory>
#include <string>

#include <QListView>
#include <QQmlComponent>
#include <QQmlContext>
#include <QQmlEngine>
#include <gmock/gmock.h>

#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "QtHost.h"

namespace {

class QtViews : public testing::Test {
protected:
    QtViews() { m_model.setItems(LetterRows("abc")); }

    void StartPartner() {
        m_partner = std::make_unique<PartnerProcess>(std::vector<std::string>{"--created"});
        ASSERT_TRUE(WaitUntilEqual());
    }

    bool WaitUntilEqual() {
        return QtHost::WaitUntil([&] { return m_partner->List() == m_host.Records(); });
    }

    PrivateBus m_bus;
    QtHost m_host;
    AppListQtModel& m_model = m_host.Model();
    std::unique_ptr<PartnerProcess> m_partner;
};

// A row of text for each item, with the item of the selection in brackets.
constexpr const char* QML = R"(
import QtQml 2.15
Instantiator {
    id: view
    model: apps
    property int clicks: 0
    property string text: {
        let text = apps.connected ? "" : "alone ";
        for (let row = 0; row < count; ++row)
            text += row === apps.currentIndex ? "[" + objectAt(row).text + "]" : objectAt(row).text;
        return text;
    }
    delegate: QtObject { property string text: model.uniqueId + model.name }
    function edit() {
        apps.setList([{ uniqueId: "x", name: "X" }, { uniqueId: "c", name: "C" }]);
        apps.append("y", "Y");
        apps.currentIndex = 2;
    }
    property Connections events: Connections {
        target: apps
        function onClicked(row) { view.clicks += 1; }
    }
})";

TEST_F(QtViews, ShowAndEditTheListInQml) {
    QQmlEngine engine;
    engine.rootContext()->setContextProperty(QStringLiteral("apps"), &m_model);
    QQmlComponent component(&engine);
    component.setData(QML, QUrl());
    const QString errors = component.errorString();
    if (errors.contains(QLatin1String("is not installed")) ||
        errors.contains(QLatin1String("Instantiator is not a type"))) {
        GTEST_SKIP() << "needs the QML module QtQml";
    }
    const std::unique_ptr<QObject> view(component.create());
    ASSERT_NE(view, nullptr) << errors.toStdString();
    const auto text = [&] { return view->property("text").toString().toStdString(); };
    EXPECT_EQ(text(), "alone aabbcc");

    StartPartner();
    EXPECT_EQ(text(), "aabbcc");
    m_partner->Ask("choose 1");
    EXPECT_TRUE(QtHost::WaitUntil([&] { return text() == "aa[bb]cc"; })) << text();

    QMetaObject::invokeMethod(view.get(), "edit");
    EXPECT_EQ(text(), "xXcC[yY]");
    EXPECT_TRUE(WaitUntilEqual());
    m_partner->Ask("notify 03000000");
    EXPECT_TRUE(QtHost::WaitUntil([&] { return view->property("clicks").toInt() == 1; }));
}

TEST_F(QtViews, SelectInAWidgetAndByThePartner) {
    QListView view;
    view.setModel(&m_model);
    QObject::connect(view.selectionModel(), &QItemSelectionModel::currentChanged, &m_model,
                     [&](const QModelIndex& index) { m_model.setCurrentIndex(index.row()); });
    QObject::connect(&m_model, &AppListQtModel::currentIndexChanged, &view,
                     [&] { view.setCurrentIndex(m_model.index(m_model.currentIndex())); });
    StartPartner();
    view.setCurrentIndex(m_model.index(2));
    EXPECT_EQ(m_model.currentIndex(), 2);
    ASSERT_TRUE(WaitUntilEqual());
    m_partner->Ask("choose 0");
    EXPECT_TRUE(QtHost::WaitUntil([&] { return view.currentIndex().row() == 0; }));
    EXPECT_EQ(view.currentIndex().data().toString(), QStringLiteral("a"));
    m_model.remove(0);
    EXPECT_EQ(view.currentIndex().row(), m_model.currentIndex());
    EXPECT_TRUE(WaitUntilEqual());
}

} // namespace
