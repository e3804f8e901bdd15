// The library's lines on standard output: each leaves in one write, apart from all other output.
#include <common/StandardOutput.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "CancelledThread.h"

namespace {

using testing::ElementsAre;

std::function<void()> g_afterFlush;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
decltype(std::fflush) __real_fflush;

int __wrap_fflush(std::FILE* stream) {
    const int result = __real_fflush(stream);
    if (const std::function<void()> action = std::exchange(g_afterFlush, nullptr)) {
        action();
    }
    return result;
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

/** @return the output of @p work to standard output, one text for each write(2) */
std::vector<std::string> Writes(const std::function<void()>& work) {
    __real_fflush(stdout);
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_DIRECT | O_CLOEXEC), 0) << "a pipe that keeps writes apart";
    const int before = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    work();
    __real_fflush(stdout);
    dup2(before, STDOUT_FILENO);
    close(before);
    close(ends[1]);
    std::vector<std::string> writes;
    char packet[8192];
    ssize_t size = 0;
    while ((size = read(ends[0], packet, sizeof(packet))) > 0) {
        writes.emplace_back(packet, static_cast<std::size_t>(size));
    }
    close(ends[0]);
    return writes;
}

TEST(LineOnStandardOutput, LeavesInOneWriteAtOnce) {
    EXPECT_THAT(Writes([] {
                    StandardOutput::WriteLine("one");
                    StandardOutput::WriteLine("");
                    StandardOutput::WriteLine("two");
                }),
                ElementsAre("one\n", "\n", "two\n"));
}

TEST(LineOnStandardOutput, LeavesInOneWriteAfterOutputThatFillsTheBuffer) {
    const std::string others(4090, 'x');
    EXPECT_THAT(Writes([&] {
                    std::fputs(others.c_str(), stdout);
                    StandardOutput::WriteLine("Connection not set.");
                }),
                ElementsAre(others, "Connection not set.\n"));
}

TEST(LineOnStandardOutput, IsNotInterruptedByOtherThreads) {
    std::future<void> other;
    EXPECT_THAT(Writes([&] {
                    g_afterFlush = [&] {
                        other = std::async(std::launch::async, [] { std::fputs("other", stdout); });
                        // Too short a wait could only miss a fault.
                        other.wait_for(std::chrono::milliseconds(50));
                    };
                    StandardOutput::WriteLine("line");
                    other.get();
                }),
                ElementsAre("line\n", "other"));
}

TEST(LineOnStandardOutput, IsFinishedByAThreadThatIsCancelled) {
    EXPECT_THAT(Writes([] {
                    EXPECT_TRUE(
                        FinishesBeforeItsCancellation([] { StandardOutput::WriteLine("line"); }));
                }),
                ElementsAre("line\n"));
}

} // namespace
