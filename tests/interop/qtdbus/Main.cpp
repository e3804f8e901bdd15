// A partner on QtDBus, the D-Bus module of Qt: all duties of the partner guide.
// Commands on standard input, a terminal or a pipe: list, quit, and select, click, change or remove
// with the id of an item. The partner exits at the end of its input or of the bus.
#include <QCoreApplication>
#include <QSocketNotifier>
#include <iostream>
#include <unistd.h>

#include "Partner.h"

namespace {

// Passes the commands on. @return false at the end of the input, and for "quit"
bool ReadCommands(Partner& partner) {
    static QByteArray text;
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    text.append(bytes, static_cast<int>(std::max<ssize_t>(count, 0)));
    for (int end = text.indexOf('\n'); end >= 0; end = text.indexOf('\n')) {
        const QByteArray line = text.left(end);
        text.remove(0, end + 1);
        if (line == "quit") {
            return false;
        }
        partner.OnCommand(line);
    }
    return count > 0;
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QDBusConnection bus = QDBusConnection::systemBus();
    Partner partner(bus);
    if (!bus.isConnected() || !partner.Start()) {
        std::cerr << "qtdbus partner: no bus: " << bus.lastError().message().toStdString()
                  << std::endl;
        return 1;
    }
    bus.connect({}, "/org/freedesktop/DBus/Local", "org.freedesktop.DBus.Local", "Disconnected",
                &partner, SLOT(OnDisconnected()));
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
        if (!ReadCommands(partner)) {
            application.quit();
        }
    });
    return QCoreApplication::exec();
}
