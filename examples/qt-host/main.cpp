// A host without a window, with the list as a model of Qt. It prints each new selection.
#include <cstdio>

#include <QCoreApplication>
#include <applist/AppListQtModel.h>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    AppListQtModel apps;
    apps.setItems({{"clock.01", "Clock"}, {"music.02", "Music Player"}});
    apps.setCurrentIndex(0);
    QObject::connect(&apps, &AppListQtModel::currentIndexChanged, [&apps] {
        const QString name = apps.index(apps.currentIndex()).data().toString();
        std::printf("selected: %s\n", qPrintable(name));
        std::fflush(stdout);
    });
    return QCoreApplication::exec();
}
