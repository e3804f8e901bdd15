// A launcher: the desktop entries of the machine, or those of the folders of the command line.
#include <QDir>
#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickImageProvider>
#include <QStandardPaths>
#include <applist/AppListQtModel.h>

QMap<QString, QString> ReadEntry(const QString& path) {
    QMap<QString, QString> entry;
    QFile file(path);
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    const QString group = QString::fromUtf8(text).section("[Desktop Entry]", 1, 1);
    for (const QString& line : group.section("\n[", 0, 0).split('\n')) {
        entry[line.section('=', 0, 0).trimmed()] = line.section('=', 1).trimmed();
    }
    return entry;
}

// Of a name in the icon theme, or of the path of a file.
QPixmap Icon(const QString& name, const QSize& size) {
    return (name.startsWith('/') ? QIcon(name) : QIcon::fromTheme(name)).pixmap(size);
}

struct IconProvider : QQuickImageProvider {
    IconProvider() : QQuickImageProvider(Pixmap) {}
    QPixmap requestPixmap(const QString& name, QSize* /*original*/, const QSize& size) override {
        return Icon(name, size);
    }
};

int main(int argc, char** argv) {
    const QGuiApplication application(argc, argv);
    const auto folders =
        argc > 1 ? application.arguments().mid(1)
                 : QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    QVector<AppListQtModel::Item> items;
    QVariantMap icons; // by the unique id; empty without an icon
    for (const QString& folder : folders) {
        for (const QString& id : QDir(folder).entryList({"*.desktop"}, QDir::Files)) {
            const auto entry = ReadEntry(folder + '/' + id);
            if (!icons.contains(id) && entry["NoDisplay"] != "true" && entry["Hidden"] != "true") {
                items.append({id, entry["Name"]});
            }
            const QString icon = Icon(entry["Icon"], {56, 56}).isNull() ? "" : entry["Icon"];
            icons.insert(id, icons.value(id, icon));
        }
    }
    AppListQtModel apps;
    apps.setItems(items);
    QQmlApplicationEngine engine;
    engine.addImageProvider("icon", new IconProvider);
    engine.rootContext()->setContextProperty("apps", &apps);
    engine.rootContext()->setContextProperty("icons", icons);
    engine.load(QUrl("qrc:/Launcher.qml"));
    return application.exec();
}
