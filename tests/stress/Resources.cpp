#include "Resources.h"

#include <fstream>

#include <dirent.h>
#include <unistd.h>

#include "HeapUse.h"

namespace {

long StatusValue(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, key.size() + 1, key + ":") == 0) {
            return std::stol(line.substr(key.size() + 1));
        }
    }
    return -1;
}

} // namespace

long Resources::CountDescriptors() {
    DIR* const folder = opendir("/proc/self/fd");
    long count = -3; // ".", ".." and the folder itself
    while (readdir(folder) != nullptr) {
        ++count;
    }
    closedir(folder);
    return count;
}

ResourceMeter::ResourceMeter(const PrivateBus& bus) : m_connection(bus.Connect()) {}

Resources ResourceMeter::Read() const {
    Resources now;
    now.matchRules = CountMatchRules();
    now.residentKb = StatusValue("VmRSS");
    now.heapBytes = static_cast<long long>(HeapInUse());
    now.threads = StatusValue("Threads");
    now.descriptors = Resources::CountDescriptors();
    return now;
}

// Of all connections of the bus: the partner's count is the same each time.
long ResourceMeter::CountMatchRules() const {
    g_autoptr(GVariant) reply = g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus.Debug.Stats", "GetAllMatchRules", nullptr, G_VARIANT_TYPE("(a{sas})"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (reply == nullptr) {
        return -1;
    }
    g_autoptr(GVariant) connections = g_variant_get_child_value(reply, 0);
    long count = 0;
    for (gsize i = 0; i < g_variant_n_children(connections); ++i) {
        g_autoptr(GVariant) entry = g_variant_get_child_value(connections, i);
        g_autoptr(GVariant) rules = g_variant_get_child_value(entry, 1);
        count += static_cast<long>(g_variant_n_children(rules));
    }
    return count;
}
