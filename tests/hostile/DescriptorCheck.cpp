// Fails each test of the program that leaves a file descriptor open.
#include <chrono>

#include <gtest/gtest.h>

#include "MainLoop.h"
#include "PrivateBus.h"
#include "Resources.h"

namespace {

class DescriptorCheck : public testing::EmptyTestEventListener {
    // GLib's threads open theirs with the first connection, and keep them.
    void OnTestProgramStart(const testing::UnitTest& /*program*/) override {
        const PrivateBus bus;
        g_autoptr(GDBusConnection) connection = bus.Connect();
        g_dbus_connection_close_sync(connection, nullptr, nullptr);
        MainLoop::IterateUntilIdle();
    }

    void OnTestStart(const testing::TestInfo& /*test*/) override {
        m_before = Resources::CountDescriptors();
    }

    void OnTestEnd(const testing::TestInfo& /*test*/) override {
        // A connection is closed by GDBus's own thread, in its own time.
        MainLoop::IterateUntil([this] { return Resources::CountDescriptors() <= m_before; },
                               std::chrono::seconds(5));
        EXPECT_LE(Resources::CountDescriptors(), m_before) << "descriptors are left open";
    }

    long m_before = 0;
};

const bool g_installed = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new DescriptorCheck());
    return true;
}();

} // namespace
