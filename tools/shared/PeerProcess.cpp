#include <shared/PeerProcess.h>

#include <fstream>

#include <pwd.h>

namespace applistctl {

namespace {

constexpr int LIMIT_MS = 2000;
constexpr std::size_t LONGEST_SHORT_NAME = 15;

} // namespace

// Every user may read the short name, which the kernel cuts. The file needs the same user or root.
std::string CommandOf(guint32 pid) {
    const std::string folder = "/proc/" + std::to_string(pid);
    std::ifstream file(folder + "/comm");
    std::string command;
    std::getline(file, command);
    g_autofree char* program = g_file_read_link((folder + "/exe").c_str(), nullptr);
    g_autofree char* name = program != nullptr ? g_path_get_basename(program) : nullptr;
    const bool isCut = command.size() == LONGEST_SHORT_NAME && name != nullptr &&
                       g_str_has_prefix(name, command.c_str());
    return isCut ? name : command;
}

// Every user may read the arguments. The verb may follow an option and its value.
std::string VerbOf(guint32 pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
    std::string word;
    std::getline(file, word, '\0'); // the program
    while (std::getline(file, word, '\0')) {
        for (const char* const verb : {"host", "partner", "monitor", "check"}) {
            if (word == verb) {
                return word;
            }
        }
    }
    return "";
}

bool PeerProcess::IsCheck() const {
    return pid != 0 && command == "applistctl" && VerbOf(pid) == "check";
}

std::string PeerProcess::User() const {
    const passwd* const entry = user != G_MAXUINT32 ? getpwuid(user) : nullptr;
    return entry != nullptr ? entry->pw_name : user != G_MAXUINT32 ? std::to_string(user) : "";
}

std::string PeerProcess::Describe() const {
    if (pid == 0) {
        return "";
    }
    const std::string name = User();
    return "pid " + std::to_string(pid) + (name.empty() ? "" : ", user " + name) +
           (command.empty() ? "" : ", " + command);
}

PeerProcess FindPeerProcess(GDBusConnection* connection, const std::string& uniqueName) {
    PeerProcess process;
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionCredentials", g_variant_new("(s)", uniqueName.c_str()),
        G_VARIANT_TYPE("(a{sv})"), G_DBUS_CALL_FLAGS_NONE, LIMIT_MS, nullptr, nullptr);
    if (reply != nullptr) {
        g_autoptr(GVariant) credentials = g_variant_get_child_value(reply, 0);
        g_variant_lookup(credentials, "ProcessID", "u", &process.pid);
        g_variant_lookup(credentials, "UnixUserID", "u", &process.user);
        process.command = process.pid != 0 ? CommandOf(process.pid) : "";
    }
    return process;
}

std::string ProcessNames::Once(const std::string& uniqueName) {
    const std::string text = DescribeOnce(uniqueName);
    return text.empty() ? uniqueName : uniqueName + " (" + text + ")";
}

std::string ProcessNames::DescribeOnce(const std::string& uniqueName) {
    return m_named.insert(uniqueName).second ? FindPeerProcess(m_connection, uniqueName).Describe()
                                             : "";
}

} // namespace applistctl
