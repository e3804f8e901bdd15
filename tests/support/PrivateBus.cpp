#include "PrivateBus.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "BusDaemon.h"

bool PrivateBus::IsBroker() {
    const char* const wanted = std::getenv("APPLIST_TEST_BUS");
    const std::string kind = wanted == nullptr ? "dbus-daemon" : wanted;
    if (kind != "dbus-daemon" && kind != "dbus-broker") {
        throw std::runtime_error("APPLIST_TEST_BUS is neither dbus-daemon nor dbus-broker");
    }
    return kind == "dbus-broker";
}

namespace {

int UnixSocket(int type, const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const int first = socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
    const int descriptor = fcntl(first, F_DUPFD_CLOEXEC, 5); // another number than 3
    close(first);
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        throw std::runtime_error("no socket at " + path);
    }
    return descriptor;
}

} // namespace

PrivateBus::PrivateBus(const std::string& policy) {
    MakeFolder();
    WriteConfiguration(OpenConfiguration(policy));
    Start();
}

PrivateBus::PrivateBus(const std::function<std::string(const std::string&)>& configuration) {
    MakeFolder();
    chmod(m_folder.c_str(), 0755);
    WriteConfiguration(configuration("unix:path=" + m_folder + "/bus"));
    Start();
}

std::size_t PrivateBus::LargestMessage() {
    constexpr std::size_t MIB = 1024 * 1024;
    return (IsBroker() ? 128 : 32) * MIB;
}

void PrivateBus::MakeFolder() {
    IsBroker(); // throws before any resource exists
    char folder[] = "/tmp/applist-bus-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_folder = folder;
}

void PrivateBus::Start() {
    if (IsBroker()) {
        StartBroker();
    } else {
        StartDaemon();
    }
    setenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.c_str(), 1);
}

void PrivateBus::StartDaemon() {
    m_daemon = std::make_unique<Process>(
        std::vector<std::string>{"dbus-daemon", "--config-file=" + m_folder + "/bus.conf",
                                 "--nofork", "--nopidfile", "--print-address"},
        Process::Setup{{}, {}, true});
    m_address = m_daemon->ReadLine();
}

// Replaces systemd for the launcher: the listening socket is descriptor 3, the journal is in a
// mount namespace, and the bus at the address of systemd is the launcher's own bus.
void PrivateBus::StartBroker() {
    const std::string path = m_folder + "/bus";
    const int listener = UnixSocket(SOCK_STREAM, path);
    chmod(path.c_str(), 0666); // the permissions of the folder apply
    const int journal = UnixSocket(SOCK_DGRAM, m_folder + "/socket");
    if (listen(listener, SOMAXCONN) != 0) {
        throw std::runtime_error("no listening socket");
    }
    const char* const script =
        "mount -t tmpfs none /run && mkdir /run/systemd && ln -s \"$0\" /run/systemd/journal &&\n"
        "export LISTEN_PID=$$ LISTEN_FDS=1 DBUS_SESSION_BUS_ADDRESS=\"unix:path=$0/bus\" &&\n"
        "exec setpriv --pdeathsig KILL dbus-broker-launch --scope user --config-file "
        "\"$0/bus.conf\"";
    // An ordinary user may mount in a user namespace only.
    std::vector<std::string> words{"unshare", "--mount", "sh", "-c", script, m_folder};
    if (geteuid() != 0) {
        words.insert(words.begin() + 2, {"--user", "--map-current-user", "--keep-caps"});
    }
    m_daemon = std::make_unique<Process>(
        words, Process::Setup{{}, [listener] { dup2(listener, 3); }, true});
    close(listener);
    // The bus would wait for a full journal, and all its clients would wait for the bus.
    m_journal = std::make_unique<Process>(
        std::vector<std::string>{"sh", "-c", "exec cat >/dev/null 2>&1"},
        Process::Setup{{}, [journal] { dup2(journal, STDIN_FILENO); }, true});
    close(journal);
    m_address = "unix:path=" + path;
    // Connects once it serves, and fails when it has given up.
    g_object_unref(Connect());
}

PrivateBus::~PrivateBus() {
    Kill();
    for (const char* file : {"/bus.conf", "/bus", "/socket"}) {
        unlink((m_folder + file).c_str());
    }
    rmdir(m_folder.c_str());
}

void PrivateBus::Restart() {
    Kill();
    for (const char* const file : {"/bus", "/socket"}) {
        unlink((m_folder + file).c_str());
    }
    m_address.clear();
    Start();
}

std::string PrivateBus::OpenConfiguration(const std::string& policy) const {
    // dbus-broker logs a warning about an unknown rule.
    const std::string eavesdrop = IsBroker() ? "/>" : " eavesdrop='true'/>";
    return "<!DOCTYPE busconfig PUBLIC '-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN'\n"
           " 'http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd'>\n"
           "<busconfig>\n<listen>unix:path=" +
           m_folder +
           "/bus</listen>\n<auth>EXTERNAL</auth>\n<policy context='default'>\n"
           "<allow user='*'/><allow own='*'/><allow send_type='method_call'/>\n"
           "<allow send_destination='*'" +
           eavesdrop + "<allow receive_sender='*'" + eavesdrop + "\n" + policy +
           "\n</policy>\n</busconfig>\n";
}

void PrivateBus::WriteConfiguration(const std::string& text) const {
    std::ofstream(m_folder + "/bus.conf") << text;
}

GDBusConnection* PrivateBus::Connect() const {
    g_autoptr(GError) error = nullptr;
    GDBusConnection* const connection = g_dbus_connection_new_for_address_sync(
        m_address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    if (connection == nullptr) {
        throw std::runtime_error(error->message);
    }
    return connection;
}

void PrivateBus::SetPolicy(const std::string& policy) {
    WriteConfiguration(OpenConfiguration(policy));
    Reload();
}

void PrivateBus::Reload() const {
    g_autoptr(GDBusConnection) connection = Connect();
    if (!BusDaemon::Call(connection, "ReloadConfig", nullptr)) {
        throw std::runtime_error("the bus refuses its configuration");
    }
}

void PrivateBus::Kill() {
    m_daemon.reset();
    m_journal.reset();
}
