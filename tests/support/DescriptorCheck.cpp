// Part of every test program: after each test, the process has as many descriptors as before,
// except the wake-up descriptors that GLib creates once for its main contexts and keeps.
#include <chrono>
#include <map>
#include <string>
#include <string_view>

#include <dirent.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "MainLoop.h"

namespace {

/** The open descriptors, by number: a file's path, or "socket:[inode]" and the like. */
std::map<std::string, std::string> OpenDescriptors() {
    std::map<std::string, std::string> open;
    const std::string path = "/proc/self/fd/";
    DIR* const folder = opendir(path.c_str());
    while (const dirent* const entry = readdir(folder)) {
        char target[256] = {};
        const bool isOurs = std::to_string(dirfd(folder)) == entry->d_name;
        if (!isOurs && readlink((path + entry->d_name).c_str(), target, sizeof(target) - 1) > 0) {
            // CTest's own log is inherited, and another run of CTest deletes the log meanwhile.
            constexpr std::string_view DELETED = " (deleted)";
            std::string file = target;
            if (file.size() > DELETED.size() &&
                file.compare(file.size() - DELETED.size(), DELETED.size(), DELETED) == 0) {
                file.erase(file.size() - DELETED.size());
            }
            open[entry->d_name] = file;
        }
    }
    closedir(folder);
    return open;
}

class DescriptorCheck : public testing::EmptyTestEventListener {
public:
    void OnTestStart(const testing::TestInfo& /*test*/) override { m_before = OpenDescriptors(); }

    void OnTestEnd(const testing::TestInfo& test) override {
        if (test.result()->Failed()) {
            return; // it may have returned before its cleanup
        }
        // GDBus closes its sockets in a thread of its own.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!Left().empty() && std::chrono::steady_clock::now() < deadline) {
            MainLoop::IterateUntilIdle();
            usleep(1000);
        }
        EXPECT_EQ(Left(), "") << "descriptors that the test has left open";
    }

private:
    std::string Left() const {
        std::string left;
        for (const auto& [number, target] : OpenDescriptors()) {
            const auto before = m_before.find(number);
            const bool isNew = before == m_before.end() || before->second != target;
            if (isNew && target != "anon_inode:[eventfd]") {
                left += number + " " + target + "\n";
            }
        }
        return left;
    }

    std::map<std::string, std::string> m_before;
};

const bool g_isListening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new DescriptorCheck());
    return true;
}();

} // namespace
