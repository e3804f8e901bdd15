// The CI of a host: valgrind with the installed suppressions, and GLib's fatal messages.
#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include <gio/gio.h>
#include <gmock/gmock.h>

#include "Bytes.h"
#include "PrivateBus.h"
#include "Process.h"
#include "TestPartner.h"

using testing::AnyOf;

namespace {

constexpr int LEAK_FOUND = 99;
// A fatal warning ends a process by one of these signals, by the version of GLib.
constexpr int TRAP = 128 + SIGTRAP;
constexpr int ABORT = 128 + SIGABRT;
// valgrind starts a host in a few seconds on a free machine, and in half a minute on a busy one.
constexpr std::chrono::seconds VALGRIND_LIMIT(100);

class CheckedHost : public testing::Test {
protected:
    /** Runs a host that receives three replies. @return its exit status */
    int Run(const std::vector<std::string>& command, const std::string& debug = "") {
        Process::Setup setup;
        setup.environment = {"G_DEBUG=" + debug};
        Process host(command, setup);
        EXPECT_TRUE(partner.WaitForAnnouncement("_CLIENT_ACK", VALGRIND_LIMIT));
        Notify(4);
        Notify(2);
        const int status = host.WaitForExit(VALGRIND_LIMIT);
        errors = host.Errors();
        return status;
    }

    int RunInValgrind(const std::vector<std::string>& options,
                      const std::vector<std::string>& host) {
        std::vector<std::string> command{"valgrind",
                                         "--quiet",
                                         "--num-callers=40",
                                         "--fair-sched=yes",
                                         "--vgdb=no",
                                         "--leak-check=full",
                                         "--show-leak-kinds=definite,possible",
                                         "--errors-for-leak-kinds=definite,possible",
                                         "--error-exitcode=" + std::to_string(LEAK_FOUND),
                                         "--suppressions=/usr/share/glib-2.0/valgrind/glib.supp"};
        command.insert(command.end(), options.begin(), options.end());
        command.insert(command.end(), host.begin(), host.end());
        return Run(command);
    }

    std::string errors;

private:
    /** Sent to every connection, because the host does not print its unique name. */
    void Notify(char id) {
        g_dbus_connection_emit_signal(partner.Connection(), nullptr,
                                      "/org/morva/javamw/CommunicationChannel/Applist",
                                      "org.morva.javamw.DbusCommunication", "SendSignal",
                                      ByteBody(ByteVector({id, 0, 0, 0})), nullptr);
    }

    const PrivateBus bus;
    TestPartner partner{bus};
};

TEST_F(CheckedHost, EndsWithoutACriticalMessageOfGLib) {
    EXPECT_EQ(Run({APPLIST_TESTS_CHECKED_HOST}, "fatal-criticals"), 0) << errors;
}

TEST_F(CheckedHost, AbortsWhenWarningsOfGLibAreFatal) {
    EXPECT_THAT(Run({APPLIST_TESTS_CHECKED_HOST}, "fatal-warnings"), AnyOf(TRAP, ABORT));
    EXPECT_NE(errors.find("g_bus_unwatch_name"), std::string::npos) << errors;
}

#ifndef APPLIST_TESTS_CHECKED
#define APPLIST_NEEDS_VALGRIND()                                                                   \
    g_autofree char* valgrindProgram = g_find_program_in_path("valgrind");                         \
    if (valgrindProgram == nullptr) {                                                              \
        GTEST_SKIP() << "needs valgrind";                                                          \
    }

const std::string SUPPRESSIONS = "--suppressions=" APPLIST_TESTS_SUPPRESSIONS;

TEST_F(CheckedHost, HasNoReportOfValgrindWithTheInstalledSuppressions) {
    APPLIST_NEEDS_VALGRIND();
    EXPECT_EQ(RunInValgrind({SUPPRESSIONS}, {APPLIST_TESTS_CHECKED_HOST}), 0) << errors;
    EXPECT_EQ(errors.find("definitely lost"), std::string::npos) << errors;
}

TEST_F(CheckedHost, HasTheKeptRepliesReportedWithoutTheSuppressions) {
    APPLIST_NEEDS_VALGRIND();
    EXPECT_EQ(RunInValgrind({}, {APPLIST_TESTS_CHECKED_HOST}), LEAK_FOUND);
    EXPECT_NE(errors.find("g_dbus_message_new_from_blob"), std::string::npos) << errors;
}

TEST_F(CheckedHost, HasItsOwnLeakReportedWithTheSuppressions) {
    APPLIST_NEEDS_VALGRIND();
    EXPECT_EQ(RunInValgrind({SUPPRESSIONS}, {APPLIST_TESTS_CHECKED_HOST, "leak"}), LEAK_FOUND);
    EXPECT_NE(errors.find("definitely lost"), std::string::npos) << errors;
}
#endif

} // namespace
