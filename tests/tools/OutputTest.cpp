// Standard output of applistctl: a closed pipe, a full disk, and the width of a terminal.
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "NamedRow.h"
#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "Terminal.h"
#include "ToolProcess.h"

using testing::HasSubstr, testing::IsEmpty;

namespace {

struct VerbRow : NamedRow {
    std::vector<std::string> arguments;
};

const VerbRow VERBS[] = {
    {"Monitor", {"monitor"}},
    {"Partner", {"partner"}},
    {"Host", {"host", SAMPLE_APPLICATIONS}},
    {"Check", {"check"}},
    {"CheckHost", {"check", "host"}},
    {"Help", {"--help"}},
    {"Version", {"--version"}},
};

/** A verb in a shell, whose script names it "$@". */
std::vector<std::string> InShell(const std::string& script, const std::vector<std::string>& words) {
    std::vector<std::string> command = {"bash", "-c", script, "bash", APPLISTCTL};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

class LostOutput : public testing::TestWithParam<VerbRow> {};

TEST_P(LostOutput, IsAFailureOnAFullDisk) {
    const PrivateBus bus;
    Process tool(InShell("\"$@\" > /dev/full", GetParam().arguments));
    EXPECT_EQ(tool.WaitForExit(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("cannot write to standard output: No space left"));
}

TEST_P(LostOutput, IsAFailureWithoutStandardOutput) {
    const PrivateBus bus;
    Process tool(InShell("\"$@\" >&-", GetParam().arguments));
    EXPECT_EQ(tool.WaitForExit(), 1);
    EXPECT_THAT(tool.Errors(), HasSubstr("cannot write to standard output: Bad file descriptor"));
}

TEST_P(LostOutput, EndsTheVerbQuietlyAfterTheEndOfItsReader) {
    const PrivateBus bus;
    Process tool(InShell("exec 3> >(true); wait $! 2>/dev/null; \"$@\" >&3", GetParam().arguments));
    EXPECT_EQ(tool.WaitForExit(), 1);
    EXPECT_THAT(tool.Errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, LostOutput, testing::ValuesIn(VERBS), RowName<VerbRow>);

// These verbs run until the user ends them. Their input stays open here.
class ClosedPipe : public testing::TestWithParam<VerbRow> {};

TEST_P(ClosedPipe, EndsTheVerbBetweenTwoLines) {
    const PrivateBus bus;
    Process tool(InShell("\"$@\" | grep -m 1 -e 'watching' -e '_SERVICE_SYN:' -e 'no partner yet'; "
                         "exit ${PIPESTATUS[0]}",
                         GetParam().arguments));
    EXPECT_EQ(tool.WaitForExit(), 1);
    EXPECT_THAT(tool.Errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(, ClosedPipe, testing::Values(VERBS[0], VERBS[1], VERBS[2]),
                         RowName<VerbRow>);

// The capture has no message, and its pipe stays open.
TEST(ClosedPipeOfACapture, EndsTheMonitor) {
    const std::string header = "'\\xd4\\xc3\\xb2\\xa1\\x02\\0\\x04\\0\\0\\0\\0\\0\\0\\0\\0\\0"
                               "\\xff\\xff\\0\\0\\xe7\\0\\0\\0'";
    Process tool(InShell("{ printf " + header +
                             "; cat <&3; } 3<&0 | "
                             "{ \"$@\"; echo \"status $?\" >&2; } | grep -m 1 reading",
                         {"monitor", "--read", "-"}));
    EXPECT_TRUE(tool.WaitForError("status 1\n"));
    EXPECT_EQ(tool.Errors(), "status 1\n");
}

// --- The width of a terminal ---------------------------------------------------------------------

class TerminalWidth : public testing::Test {
protected:
    void SetUp() override {
        if (!m_terminal.IsThere()) {
            GTEST_SKIP() << "this machine has no terminals: is /dev/pts mounted?";
        }
    }

    std::string Shown(const std::vector<std::string>& arguments, unsigned short columns) {
        m_terminal.SetColumns(columns);
        ToolProcess tool(arguments, {"TERM=dumb"}, [&] { m_terminal.Use(); });
        tool.WaitForExit();
        return m_terminal.Text();
    }

    static std::size_t LongestLine(const std::string& text) {
        std::size_t longest = 0;
        for (std::size_t start = 0; start < text.size();) {
            const std::size_t end = std::min(text.find("\r\n", start), text.size());
            longest = std::max(longest, end - start);
            start = end + 2;
        }
        return longest;
    }

    Terminal m_terminal;
};

TEST_F(TerminalWidth, FoldsTheLines) {
    const std::string text = Shown({"monitor", "--help"}, 50);
    EXPECT_LE(LongestLine(text), 50U) << text;
    EXPECT_GT(LongestLine(text), 40U) << text;
}

TEST_F(TerminalWidth, StartsTheNextLineBelowTheLastColumn) {
    EXPECT_THAT(Shown({"check", "--bus=unix:path=/nonexistent/bus"}, 60),
                HasSubstr("\r\n                   -> check that the bus daemon runs, and\r\n"
                          "                   that the address after --bus is correct\r\n"));
}

TEST_F(TerminalWidth, FillsTheParagraphsOfAHelpText) {
    EXPECT_THAT(Shown({"monitor", "--help"}, 80),
                HasSubstr("the handshake, each request\r\n"
                          "with its items, reply and latency, each notification, and each fault. "
                          "Names\r\n"));
}

TEST_F(TerminalWidth, IsUnlimitedWithoutASize) {
    EXPECT_GT(LongestLine(Shown({"monitor", "--help"}, 0)), 80U);
}

TEST(Width, IsUnlimitedInAPipe) {
    ToolProcess tool({"check", "--bus=unix:path=/nonexistent/bus"});
    EXPECT_EQ(tool.WaitForExit(), 3);
    EXPECT_THAT(tool.Output(),
                HasSubstr("check that the bus daemon runs, and that the address after "
                          "--bus is correct\n"));
}

} // namespace
