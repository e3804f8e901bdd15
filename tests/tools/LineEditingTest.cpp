// Line editing at the prompts of applistctl host and applistctl partner, on a terminal of the test.
#include <csignal>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "MainLoop.h"
#include "NamedRow.h"
#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "Terminal.h"
#include "TestPartner.h"
#include "ToolProcess.h"

using namespace std::string_literals;
using testing::HasSubstr;
using testing::Not;

namespace {

const std::string CLEAR = "\r\033[J"; // from the start of the prompt

class LineEditing : public testing::Test {
protected:
    void SetUp() override {
        if (!m_terminal.IsThere()) {
            GTEST_SKIP() << "this machine has no terminals: is /dev/pts mounted?";
        }
        m_terminal.SetColumns(80);
        m_before = m_terminal.State();
    }

    std::vector<std::string> Host() const { return {"host", m_folder.Path()}; }

    void Start(const std::vector<std::string>& arguments,
               std::vector<std::string> environment = {}) {
        environment.emplace_back("NO_COLOR=1");
        environment.insert(environment.begin(), "TERM=vt100");
        m_tool = std::make_unique<ToolProcess>(arguments, environment, [this] {
            m_terminal.Control();
            dup2(STDOUT_FILENO, STDERR_FILENO);
        });
        ASSERT_TRUE(m_terminal.WaitFor("Type help"));
    }
    void StartEditing(const std::vector<std::string>& arguments,
                      const std::vector<std::string>& environment = {}) {
        Start(arguments, environment);
        ASSERT_TRUE(m_terminal.WaitFor("\n> ")) << m_terminal.Text();
    }

    // An event that the host prints. The host receives the events of its own partner alone.
    void SendAnEvent() {
        ASSERT_TRUE(m_partner.WaitForAnnouncement("_CLIENT_ACK"));
        const std::string& text = m_terminal.Text();
        const auto start = text.find(" as :") + 4;
        m_partner.Notify(text.substr(start, text.find('\r', start) - start), {1, 0, 0, 0});
    }

    bool IsRestored() const {
        const termios now = m_terminal.State();
        return now.c_iflag == m_before.c_iflag && now.c_oflag == m_before.c_oflag &&
               now.c_cflag == m_before.c_cflag && now.c_lflag == m_before.c_lflag &&
               std::memcmp(now.c_cc, m_before.c_cc, sizeof(now.c_cc)) == 0;
    }

    PrivateBus m_bus;
    TestPartner m_partner{m_bus};
    TemporaryFolder m_folder;
    Terminal m_terminal;
    termios m_before = {};
    std::unique_ptr<ToolProcess> m_tool;
};

// --- Keys ----------------------------------------------------------------------------------------

struct KeyRow : NamedRow {
    std::string keys;
    std::string shown; ///< of the tool, for the edited line
};

class EditedLine : public LineEditing, public testing::WithParamInterface<KeyRow> {};

TEST_P(EditedLine, IsTheCommand) {
    StartEditing(Host());
    m_terminal.Type(GetParam().keys + "\r");
    EXPECT_TRUE(m_terminal.WaitFor("\n-> " + GetParam().shown + "\r\n")) << m_terminal.Text();
}

const KeyRow KEYS[] = {
    {"Plain", "add a Radio", "AddItemAtEnd: Radio (a)"},
    {"Umlaut", "add a \xc3\x84pfel", "AddItemAtEnd: \xc3\x84pfel (a)"},
    {"Backspace", "add a Radiox\x7f", "AddItemAtEnd: Radio (a)"},
    {"LeftArrow", "add a Rdio\033[D\033[D\033[Da", "AddItemAtEnd: Radio (a)"},
    {"ArrowOfAnApplication", "add a Rdio\033OD\033OD\033ODa", "AddItemAtEnd: Radio (a)"},
    {"Home", "dd a Radio\033[Ha", "AddItemAtEnd: Radio (a)"},
    {"Delete", "xadd a Radio\033[H\033[3~", "AddItemAtEnd: Radio (a)"},
    {"WordBackwards", "add a dio\033bRa", "AddItemAtEnd: Radio (a)"},
    {"LineDeleted",
     "clear\x15"
     "add a Radio",
     "AddItemAtEnd: Radio (a)"},
    {"UnknownSequence", "add a Ra\033[15;2~\033OPdio", "AddItemAtEnd: Radio (a)"},
    {"Tab", "ad\ta Radio", "AddItemAtEnd: Radio (a)"},
    {"NumberOfTimes",
     "add a R\033"
     "2o",
     "AddItemAtEnd: Roo (a)"},
};

INSTANTIATE_TEST_SUITE_P(, EditedLine, testing::ValuesIn(KEYS), RowName<KeyRow>);

TEST_F(LineEditing, ShowsEarlierLines) {
    StartEditing(Host());
    m_terminal.Type("add a Radio\radd b Clock\r\033[A\033[A\x7f\x7f\r");
    EXPECT_TRUE(m_terminal.WaitFor("-> AddItemAtEnd: Rad (a)")) << m_terminal.Text();
}

TEST_F(LineEditing, FindsAnEarlierLineByItsStart) {
    StartEditing(Host());
    m_terminal.Type("add a Radio\rhelp\radd\x12\x7f\x7f\r");
    EXPECT_TRUE(m_terminal.WaitFor("-> AddItemAtEnd: Rad (a)")) << m_terminal.Text();
}

TEST_F(LineEditing, ListsTheCommandsThatMatch) {
    StartEditing({"partner"});
    m_terminal.Type("re\t");
    EXPECT_TRUE(m_terminal.WaitFor(CLEAR + "remove  recreate  restart\r\n> re"))
        << m_terminal.Text();
}

// libedit reads the whole key before it returns.
TEST_F(LineEditing, PrintsEventsInsideOfAKey) {
    StartEditing(Host());
    m_terminal.Type("add a Ra\033");
    ASSERT_TRUE(m_terminal.WaitFor("add a Ra"));
    SendAnEvent();
    EXPECT_TRUE(m_terminal.WaitFor("OnItemChangeEvent")) << m_terminal.Text();
}

// --- Output below which the line moves -----------------------------------------------------------

TEST_F(LineEditing, ShowsTheLineBelowAnEvent) {
    StartEditing(Host());
    m_terminal.Type("add a Rdio\033[D\033[D\033[D");
    ASSERT_TRUE(m_terminal.WaitFor("add a Rdio"));
    SendAnEvent();
    ASSERT_TRUE(m_terminal.WaitFor(CLEAR + "<- OnItemChangeEvent")) << m_terminal.Text();
    ASSERT_TRUE(m_terminal.WaitFor("\r\n> add a Rdio")) << m_terminal.Text();
    m_terminal.Type("a\r");
    EXPECT_TRUE(m_terminal.WaitFor("-> AddItemAtEnd: Radio (a)")) << m_terminal.Text();
}

TEST_F(LineEditing, ShowsALineOfTwoRowsBelowAnEvent) {
    m_terminal.SetColumns(40);
    StartEditing(Host());
    m_terminal.Type("add a " + std::string(33, 'x'));
    ASSERT_TRUE(m_terminal.WaitFor("xx"));
    m_terminal.Type("END");
    ASSERT_TRUE(m_terminal.WaitFor("END"));
    SendAnEvent();
    EXPECT_TRUE(m_terminal.WaitFor("\r\033[1A\033[J<- OnItemChangeEvent")) << m_terminal.Text();
}

TEST_F(LineEditing, ShowsTheLineBelowALogLine) {
    StartEditing(Host(), {"APPLIST_LOG=stderr"});
    m_terminal.Type("add a Radio");
    ASSERT_TRUE(m_terminal.WaitFor("add a Radio"));
    SendAnEvent();
    ASSERT_TRUE(m_terminal.WaitFor(CLEAR + "2")) << m_terminal.Text(); // the year
    ASSERT_TRUE(m_terminal.WaitFor("Listeners :1\r\n")) << m_terminal.Text();
    EXPECT_TRUE(m_terminal.WaitFor("\r\n> add a Radio")) << m_terminal.Text();
}

TEST_F(LineEditing, PrintsErrorsOfACommandAboveTheNextLine) {
    StartEditing(Host());
    m_terminal.Type("remove x\r");
    EXPECT_TRUE(m_terminal.WaitFor("\napplistctl host: no item with the id \"x\"\r\n> "))
        << m_terminal.Text();
}

TEST_F(LineEditing, ShowsTheLineInAResizedWindow) {
    StartEditing(Host());
    m_terminal.Type("add a Radio");
    ASSERT_TRUE(m_terminal.WaitFor("add a Radio"));
    m_terminal.SetColumns(40);
    ASSERT_TRUE(m_terminal.WaitFor(CLEAR + "> add a Radio")) << m_terminal.Text();
    m_terminal.Type(std::string(33, 'x') + "END");
    ASSERT_TRUE(m_terminal.WaitFor("END"));
    SendAnEvent();
    EXPECT_TRUE(m_terminal.WaitFor("\r\033[1A\033[J<- OnItemChangeEvent")) << m_terminal.Text();
}

// --- The state of the terminal -------------------------------------------------------------------

struct EndRow : NamedRow {
    std::string keys;
    int signal;
    int status;
};

class EndOfEditing : public LineEditing, public testing::WithParamInterface<EndRow> {};

TEST_P(EndOfEditing, RestoresTheTerminal) {
    for (const std::vector<std::string>& verb : {Host(), {"partner"}}) {
        StartEditing(verb);
        EXPECT_FALSE(IsRestored());
        m_terminal.Type(GetParam().keys);
        if (GetParam().signal != 0) {
            m_tool->Kill(GetParam().signal);
        }
        EXPECT_EQ(m_tool->WaitForExit(), GetParam().status);
        EXPECT_TRUE(IsRestored());
    }
}

const EndRow ENDS[] = {
    {"CtrlC", "add\x03", 0, 128 + SIGINT},
    {"CtrlBackslash", "add\x1c", 0, 128 + SIGQUIT},
    {"CtrlD", "\x04", 0, 0},
    {"Quit", "quit\r", 0, 0},
    {"Terminated", "", SIGTERM, 128 + SIGTERM},
    {"HungUp", "", SIGHUP, 128 + SIGHUP},
    {"Crashed", "", SIGSEGV, 128 + SIGSEGV},
};

INSTANTIATE_TEST_SUITE_P(, EndOfEditing, testing::ValuesIn(ENDS), RowName<EndRow>);

TEST_F(LineEditing, RestoresTheTerminalWithoutABus) {
    StartEditing(Host());
    ASSERT_TRUE(m_partner.WaitForAnnouncement("_CLIENT_ACK")); // GLib warns of a lost AddMatch
    m_bus.Kill();
    EXPECT_EQ(m_tool->WaitForExit(), 3);
    EXPECT_TRUE(IsRestored());
    EXPECT_THAT(m_terminal.Text(), HasSubstr(CLEAR + "applistctl host: the bus is gone"));
}

TEST_F(LineEditing, RestoresTheInputWhenTheTerminalOfTheOutputIsGone) {
    auto output = std::make_unique<Terminal>();
    ToolProcess host(Host(), {"TERM=vt100"}, [&] {
        m_terminal.Control();
        output->Use();
    });
    ASSERT_TRUE(output->WaitFor("\n> ")) << output->Text();
    EXPECT_FALSE(IsRestored());
    output.reset();
    m_terminal.Type("help\r");
    EXPECT_EQ(host.WaitForExit(), 1);
    EXPECT_TRUE(IsRestored());
}

// Another process writes to the standard error of the tool, which is a pipe during line editing.
TEST_F(LineEditing, PrintsAnUnfinishedLineOfStandardErrorAtItsEnd) {
    StartEditing(Host());
    std::ofstream("/proc/" + m_tool->Id() + "/fd/2") << "unfinished" << std::flush;
    m_terminal.Type("\x04");
    EXPECT_EQ(m_tool->WaitForExit(), 0);
    EXPECT_TRUE(m_terminal.WaitFor("unfinished\r\n")) << m_terminal.Text();
}

TEST_F(LineEditing, RestoresTheTerminalDuringAStop) {
    StartEditing(Host());
    m_terminal.Type("add a Radio");
    ASSERT_TRUE(m_terminal.WaitFor("add a Radio"));
    m_terminal.Type("\x1a");
    m_tool->WaitForStop();
    EXPECT_TRUE(IsRestored());
    m_tool->Continue();
    ASSERT_TRUE(m_terminal.WaitFor("\n> add a Radio")) << m_terminal.Text();
    EXPECT_FALSE(IsRestored());
    m_terminal.Type("\r");
    EXPECT_TRUE(m_terminal.WaitFor("-> AddItemAtEnd: Radio (a)")) << m_terminal.Text();
}

TEST_F(LineEditing, RunsACommandInTheUsualState) {
    StartEditing({"partner"});
    m_terminal.Type("wait 3600\r");
    EXPECT_TRUE(MainLoop::IterateUntil([this] { return m_terminal.IsCooked(); }));
}

// --- Jobs of a shell -----------------------------------------------------------------------------

// An interactive shell on the terminal, which runs the host.
class Job : public LineEditing {
protected:
    void StartShell() {
        m_shell = std::make_unique<Process>(
            std::vector<std::string>{"bash", "--norc", "--noprofile", "--noediting", "-i"},
            Process::Setup{{"TERM=vt100", "NO_COLOR=1", "PS1=shell: "}, [this] {
                               m_terminal.Control();
                               dup2(STDOUT_FILENO, STDERR_FILENO);
                           }});
        ASSERT_TRUE(m_terminal.WaitFor("shell: ")) << m_terminal.Text();
    }

    // The host with an unfinished line, as a background job.
    void StartInBackground() {
        StartShell();
        m_terminal.Type(APPLISTCTL " host " + m_folder.Path() + "\r");
        ASSERT_TRUE(m_terminal.WaitFor("\n> ")) << m_terminal.Text();
        m_terminal.Type("add a Rad");
        ASSERT_TRUE(m_terminal.WaitFor("add a Rad")) << m_terminal.Text();
        m_terminal.Type("\x1a");
        ASSERT_TRUE(m_terminal.WaitFor("Stopped")) << m_terminal.Text();
        m_terminal.Type("bg\r");
        ASSERT_TRUE(m_terminal.WaitFor(" &\r\n")) << m_terminal.Text();
    }

    void Expect(const std::string& text) {
        ASSERT_TRUE(m_terminal.WaitFor(text)) << m_terminal.Text();
    }

    std::unique_ptr<Process> m_shell;
};

TEST_F(Job, PrintsEventsInTheBackgroundWithoutAPrompt) {
    StartInBackground();
    const std::size_t start = m_terminal.Text().size();
    SendAnEvent();
    Expect("OnItemChangeEvent");
    m_terminal.Type("jobs\r"); // the host does not read the line of the shell
    Expect("Running");
    EXPECT_THAT(m_terminal.Text().substr(start), Not(HasSubstr("> add")));
}

TEST_F(Job, EditsTheSameLineInTheForegroundAgain) {
    StartInBackground();
    m_terminal.Type("jobs\r");
    Expect("Running");
    m_terminal.Type("fg\r");
    Expect("> add a Rad");
    // The line is shown before the terminal changes.
    EXPECT_TRUE(MainLoop::IterateUntil([this] { return !IsRestored(); }));
    m_terminal.Type("io\r");
    Expect("-> AddItemAtEnd: Radio (a)");
}

// The shell moves the job to the background and back before the host handles its continuation.
TEST_F(Job, EditsTheLineAfterEachShortMoveToTheBackground) {
    StartInBackground();
    m_terminal.Type("fg\r");
    Expect("> add a Rad");
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(MainLoop::IterateUntil([this] { return !IsRestored(); })) << i;
        m_terminal.Type("\x1a");
        Expect("Stopped");
        m_terminal.Type("bg; fg\r");
        Expect("> add a Rad");
    }
    m_terminal.Type("io\r");
    Expect("-> AddItemAtEnd: Radio (a)");
}

TEST_F(Job, ExitsInTheBackgroundWithoutABus) {
    StartInBackground();
    m_bus.Kill();
    Expect("the bus is gone");
    m_terminal.Type("wait $!; echo status $?\r");
    Expect("status 3");
}

// The terminal has a line that no process reads yet.
TEST_F(Job, StartedInTheBackgroundReadsNoLineOfTheShell) {
    StartShell();
    const std::string pipe = m_folder.Path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    m_terminal.Type(APPLISTCTL " host " + m_folder.Path() + " &\r");
    Expect("Type help");
    m_terminal.Type("cat " + pipe + "\rjobs\r");
    SendAnEvent();
    Expect("OnItemChangeEvent");
    std::ofstream(pipe) << std::flush;
    Expect("Running");
    m_terminal.Type("fg\r");
    m_terminal.Type("add a Radio\r");
    Expect("-> AddItemAtEnd: Radio (a)");
}

// --- Plain lines ---------------------------------------------------------------------------------

TEST_F(LineEditing, IsOffOnADumbTerminal) {
    Start(Host(), {"TERM=dumb"});
    m_terminal.Type("add a Radio\r");
    EXPECT_TRUE(m_terminal.WaitFor("-> AddItemAtEnd: Radio (a)\r\n")) << m_terminal.Text();
    EXPECT_THAT(m_terminal.Text(), Not(HasSubstr("> add")));
    EXPECT_TRUE(IsRestored());
}

TEST_F(LineEditing, IsOffWithAPipeAtTheOutput) {
    m_tool = std::make_unique<ToolProcess>(Host(), std::vector<std::string>{"TERM=vt100"},
                                           [this] { m_terminal.UseAsInput(); });
    m_terminal.Type("add a Radio\r");
    EXPECT_TRUE(m_tool->WaitFor("-> AddItemAtEnd: Radio (a)\n"));
    EXPECT_THAT(m_tool->Output(), Not(HasSubstr("> add")));
    EXPECT_TRUE(IsRestored());
}

TEST_F(LineEditing, IsOffWithAPipeAtTheInput) {
    m_tool = std::make_unique<ToolProcess>(Host(), std::vector<std::string>{"TERM=vt100"},
                                           [this] { m_terminal.Use(); });
    m_tool->Send("add a Radio");
    EXPECT_TRUE(m_terminal.WaitFor("-> AddItemAtEnd: Radio (a)"));
    EXPECT_THAT(m_terminal.Text(), Not(HasSubstr("Type help")));
    EXPECT_TRUE(IsRestored());
}

} // namespace
