#include "StockBus.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

#include "BusDaemon.h"
#include "Owners.h"

namespace {

constexpr const char* STOCK = "/usr/share/dbus-1/system.conf";

void Replace(std::string& text, const char* expression, const std::string& by) {
    if (!std::regex_search(text, std::regex(expression))) {
        throw std::runtime_error(std::string(STOCK) + " has no " + expression);
    }
    text = std::regex_replace(text, std::regex(expression), by);
}

// Only the address, the folders and the user are changed.
std::string Configuration(const std::string& address, const std::string& policyFolder) {
    const std::ifstream file(STOCK);
    std::stringstream stream;
    stream << file.rdbuf();
    std::string text = stream.str();
    Replace(text, "<listen>[^<]*</listen>", "<listen>" + address + "</listen>");
    Replace(text, "<includedir>/[^<]*</includedir>|<include [^<]*</include>", "");
    Replace(text, "<includedir>[^</]*</includedir>",
            "<includedir>" + policyFolder + "</includedir>");
    // A process that changes its user continues after SIGKILL of the test.
    Replace(text, "<user>[^<]*</user>", "");
    return text;
}

void Write(const TemporaryFolder& folder, const std::string& policy) {
    // The bus may read it again as a user of its own.
    std::filesystem::permissions(folder.Path(), std::filesystem::perms(0755));
    const std::string file = folder.Write("org.morva.JavaMW.conf", policy);
    if (policy.empty()) {
        std::filesystem::remove(file);
    }
}

} // namespace

StockBus::StockBus(const std::string& policy)
    : m_bus([&](const std::string& address) {
          Write(m_folder, policy);
          return Configuration(address, m_folder.Path());
      }) {}

bool StockBus::ReadsGroupsOfProcesses() const {
    const ConnectionOwner connection(m_bus.Connect());
    return PrivateBus::IsBroker() || BusDaemon::ReportsGroups(connection.get());
}

void StockBus::Install(const std::string& policy) {
    Write(m_folder, policy);
    m_bus.Reload();
}

void StockBus::Add(const std::string& file, const std::string& text) {
    m_folder.Write(file, text);
    m_bus.Reload();
}
