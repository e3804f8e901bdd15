// The options of "applistctl check partner" for scripts and CI, and its files.
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <check/JUnitFile.h>

#include "PrivateBus.h"
#include "TemporaryFolder.h"
#include "ToolProcess.h"

using namespace applistctl;
using namespace std::string_literals;
using testing::HasSubstr, testing::IsEmpty, testing::Not, testing::SizeIs;

namespace {

using Json = nlohmann::json;

constexpr const char* NO_CLICK = "fault error click\nwait 600\n";

std::string ReadFile(const std::string& path) {
    std::ifstream stream(path);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::vector<Json> ObjectsOf(const std::string& output) {
    std::vector<Json> objects;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        objects.push_back(Json::parse(line));
    }
    return objects;
}

class CheckKit : public testing::Test {
protected:
    // Runs a check of the partner with the lines of a script. @return the exit status
    int Check(const std::string& script, std::vector<std::string> options) {
        options.insert(options.begin(), {"check", "partner", "--wait=0", "--restart",
                                         std::string("exec ") + APPLISTCTL + " partner --script " +
                                             m_folder.Write("script", script)});
        ToolProcess check(options);
        int status = -1;
        for (int i = 0; i < 10 && status == -1; ++i) {
            status = check.WaitForExit();
        }
        m_output = check.Output();
        m_errors = check.Errors();
        return status;
    }

    const PrivateBus m_bus;
    const TemporaryFolder m_folder;
    std::string m_output;
    std::string m_errors;
};

TEST_F(CheckKit, ShowsTheDutiesOfOnlyAlone) {
    EXPECT_EQ(Check(NO_CLICK, {"--only=answers-syn,keeps-its-host"}), 0) << m_errors;
    EXPECT_THAT(m_output, HasSubstr("2 passed, 0 weak, 0 broken, 0 not seen, 40 duties not "
                                    "selected; 2 of "));
    EXPECT_EQ(Check(NO_CLICK, {"--only=request-click"}), 4) << m_errors;
    EXPECT_THAT(m_output, HasSubstr("0 passed, 0 weak, 1 broken, 0 not seen, 41 duties not "
                                    "selected; 0 of "));
}

TEST_F(CheckKit, RefusesAnUnknownDuty) {
    EXPECT_EQ(Check(NO_CLICK, {"--only=answers-sin"}), 2);
    EXPECT_THAT(m_errors, HasSubstr("no duty \"answers-sin\"; --list shows the duties"));
    EXPECT_EQ(Check(NO_CLICK, {"--baseline", m_folder.Write("known", "\nanswers-sin\n")}), 1);
    EXPECT_THAT(m_errors, HasSubstr("known:2: no duty \"answers-sin\""));
}

TEST_F(CheckKit, RefusesAWrongNumber) {
    EXPECT_EQ(Check(NO_CLICK, {"--repeat=0"}), 2);
    EXPECT_THAT(m_errors, HasSubstr("--repeat takes a number from 1 to 1000, not \"0\""));
    EXPECT_EQ(Check(NO_CLICK, {"--timeout=soon"}), 2);
    EXPECT_THAT(m_errors, HasSubstr("--timeout takes 0 to 3600 seconds, not \"soon\""));
}

TEST_F(CheckKit, ListsTheDutiesWithoutABus) {
    ToolProcess list({"check", "partner", "--list", "--bus=unix:path=/nonexistent"});
    EXPECT_EQ(list.WaitForExit(), 0);
    EXPECT_THAT(list.Output(), HasSubstr("\nanswers-syn  "));
    EXPECT_THAT(list.Output(), HasSubstr("_SERVICE_SYN_ACK [P9]\n"));
}

TEST_F(CheckKit, ListsTheDutiesAsJson) {
    ToolProcess list({"check", "partner", "--list", "--json"});
    EXPECT_EQ(list.WaitForExit(), 0);
    const std::vector<Json> objects = ObjectsOf(list.Output());
    ASSERT_THAT(objects, SizeIs(42));
    for (const Json& object : objects) {
        EXPECT_EQ(object["event"], "listed");
        EXPECT_FALSE(object["duty"].get<std::string>().empty());
        EXPECT_TRUE(object["statements"].is_array());
    }
}

TEST_F(CheckKit, AcceptsABrokenDutyOfTheBaseline) {
    const std::string known = m_folder.Write("known", "# the click\nrequest-click # later\n");
    EXPECT_EQ(Check(NO_CLICK, {"--only=request-click,request-add", "--baseline", known}), 0)
        << m_output;
    EXPECT_THAT(m_output, HasSubstr("1 passed, 0 weak, 1 broken"));
    EXPECT_THAT(m_output, HasSubstr("(in the baseline)"));
}

TEST_F(CheckKit, FailsWhenADutyOfTheBaselineIsNotBroken) {
    const std::string known = m_folder.Write("known", "request-click request-add");
    EXPECT_EQ(Check(NO_CLICK, {"--only=request-click,request-add", "--baseline", known}), 4);
    EXPECT_THAT(m_output, HasSubstr("request-add is in the baseline, and is not broken"));
    EXPECT_THAT(m_output, Not(HasSubstr("request-click is in the baseline, and")));
}

TEST_F(CheckKit, RepeatsTheCheckWithANewLibraryEachTime) {
    EXPECT_EQ(Check("wait 600\n", {"--repeat=2", "--only=works-with-library,reconnects"}), 0)
        << m_output << m_errors;
    EXPECT_THAT(m_output, HasSubstr("Run 1 of 2\n"));
    EXPECT_THAT(m_output, HasSubstr("Run 2 of 2\n"));
    const std::string good = "2 passed, 0 weak, 0 broken, 0 not seen";
    EXPECT_NE(m_output.find(good), m_output.rfind(good));
}

TEST_F(CheckKit, EndsAfterItsTimeWithTheDutiesSoFar) {
    EXPECT_EQ(Check("fault no-syn-again\nwait 600\n", {"--limit=60", "--timeout=3"}), 4);
    EXPECT_THAT(m_errors, HasSubstr("not done within 3 s"));
    EXPECT_THAT(m_output, HasSubstr("the time of --timeout was over"));
    EXPECT_THAT(m_output, HasSubstr("statements proven"));
}

// The shell of the user recognizes the signal by the status.
TEST_F(CheckKit, ShowsTheDutiesSoFarAfterAnInterruption) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const std::string file = m_folder.Path() + "/results.xml";
        ToolProcess check({"check", "partner", "--wait=60", "--repeat=2",
                           "--only=request-click,notification-click", "--junit", file, "--restart",
                           std::string("exec ") + APPLISTCTL + " partner --script " +
                               m_folder.Write("script", "wait 600\n")});
        ASSERT_TRUE(check.WaitFor("Please select an item"));
        check.Kill(signal);
        EXPECT_EQ(check.WaitForExit(), 128 + signal);
        EXPECT_THAT(check.Output(), HasSubstr("  passed    answers 2006, click "));
        EXPECT_THAT(check.Output(), HasSubstr("  the check was interrupted\n"
                                              "1 passed, 0 weak, 0 broken, 1 not seen, "));
        EXPECT_THAT(check.Output(), Not(HasSubstr("Run 2 of 2")));
        EXPECT_THAT(ReadFile(file), HasSubstr("not seen: the check was interrupted"));
    }
}

TEST_F(CheckKit, PrintsAnObjectForEachDutyAndForTheSummary) {
    EXPECT_EQ(Check(NO_CLICK, {"--json", "--only=request-click,answers-syn"}), 4) << m_errors;
    const std::vector<Json> objects = ObjectsOf(m_output);
    ASSERT_THAT(objects, SizeIs(3));
    EXPECT_EQ(objects[0]["duty"], "answers-syn");
    EXPECT_EQ(objects[0]["grade"], "passed");
    EXPECT_EQ(objects[0]["statements"], Json::array({"P9"}));
    EXPECT_EQ(objects[1]["duty"], "request-click");
    EXPECT_EQ(objects[1]["grade"], "broken");
    EXPECT_THAT(objects[1]["evidence"].get<std::string>(), HasSubstr("Error.Failed"));
    EXPECT_EQ(objects[2]["event"], "summary");
    EXPECT_EQ(objects[2]["broken"], 1);
    EXPECT_EQ(objects[2]["statements_proven"], 1);
    EXPECT_EQ(objects[2]["failed"], true);
    EXPECT_EQ(objects[2]["not_selected"], 40);
    const double milliseconds = objects[2]["seconds"].get<double>() * 1e3;
    EXPECT_NEAR(milliseconds, std::round(milliseconds), 1e-6);
}

// Counts the elements of a document, and fails on a malformed one.
struct XmlDocument {
    explicit XmlDocument(const std::string& text) {
        const GMarkupParser parser = {[](GMarkupParseContext*, const char* name, const char** keys,
                                         const char** values, gpointer self, GError**) {
                                          auto& document = *static_cast<XmlDocument*>(self);
                                          document.elements.emplace_back(name);
                                          for (; *keys != nullptr; ++keys, ++values) {
                                              document.elements.back() +=
                                                  " " + std::string(*keys) + "=" + *values;
                                          }
                                      },
                                      nullptr, nullptr, nullptr, nullptr};
        GMarkupParseContext* const context =
            g_markup_parse_context_new(&parser, GMarkupParseFlags{}, this, nullptr);
        isWellFormed =
            g_markup_parse_context_parse(context, text.data(), static_cast<gssize>(text.size()),
                                         nullptr) != FALSE &&
            g_markup_parse_context_end_parse(context, nullptr) != FALSE;
        g_markup_parse_context_free(context);
    }

    bool isWellFormed = false;
    std::vector<std::string> elements;
};

TEST_F(CheckKit, WritesAJUnitFileWithOneSuiteForEachRun) {
    const std::string file = m_folder.Path() + "/results.xml";
    const std::string known = m_folder.Write("known", "request-click\n");
    EXPECT_EQ(Check("fault error click\nfault with-id query\nwait 600\n",
                    {"--junit", file, "--repeat=2", "--baseline", known,
                     "--only=request-click,replies-with-selection,answers-syn"}),
              4)
        << m_errors;
    const XmlDocument document(ReadFile(file));
    EXPECT_TRUE(document.isWellFormed) << ReadFile(file);
    ASSERT_THAT(document.elements, SizeIs(1 + 2 * (1 + 3 * 2)));
    EXPECT_THAT(document.elements[1], HasSubstr("tests=3 failures=1 errors=0 skipped=1 time="));
    EXPECT_THAT(document.elements[2], HasSubstr("name=answers-syn: "));
    EXPECT_THAT(document.elements[5], HasSubstr("skipped message=in the baseline: "));
    EXPECT_THAT(document.elements[7], HasSubstr("failure message=\"Second\\x0a"));
}

// A start script with an error is the most common mistake of the first run.
TEST_F(CheckKit, ReportsEachDutyAfterAFailedFirstStart) {
    const std::string file = m_folder.Path() + "/results.xml";
    ToolProcess json({"check", "partner", "--json", "--wait=0", "--junit", file,
                      "--only=request-click,answers-syn", "--restart=exit 7"});
    EXPECT_EQ(json.WaitForExit(), 1);
    const std::vector<Json> objects = ObjectsOf(json.Output());
    ASSERT_THAT(objects, SizeIs(3));
    EXPECT_EQ(objects[0]["grade"], "not seen");
    EXPECT_EQ(objects[0]["evidence"], "the command of --restart failed");
    EXPECT_EQ(objects[2]["not_seen"], 2);
    const XmlDocument document(ReadFile(file));
    EXPECT_THAT(document.elements[1], HasSubstr("tests=3 failures=0 errors=1 skipped=2 time="));
    EXPECT_EQ(document.elements.back(), "error message=the command of --restart failed");
}

TEST_F(CheckKit, PrintsObjectsForProgramsWithoutAPartner) {
    ToolProcess json({"check", "partner", "--json", "--wait=0", "--limit=0.2"});
    EXPECT_EQ(json.WaitForExit(), 1);
    const std::vector<Json> objects = ObjectsOf(json.Output());
    ASSERT_THAT(objects, SizeIs(43));
    EXPECT_EQ(objects[0]["evidence"], "no free partner was found");
}

TEST_F(CheckKit, ReportsAJUnitFileThatItCannotWrite) {
    EXPECT_EQ(Check("wait 600\n", {"--junit=/dev/full", "--only=answers-syn"}), 1);
    EXPECT_THAT(m_errors, HasSubstr("cannot write /dev/full"));
}

TEST_F(CheckKit, RefusesAJUnitFileThatItCannotWriteBeforeTheCheck) {
    for (const std::string& file : {"/nonexistent/results.xml"s, m_folder.Path()}) {
        EXPECT_EQ(Check("wait 600\n", {"--only=answers-syn", "--junit", file}), 1);
        EXPECT_THAT(m_errors, HasSubstr("cannot write " + file));
        EXPECT_THAT(m_output, IsEmpty());
    }
}

TEST_F(CheckKit, LeavesNoJUnitFileWithoutAResult) {
    const std::string file = m_folder.Path() + "/results.xml";
    ToolProcess list({"check", "partner", "--list", "--junit", file});
    EXPECT_EQ(list.WaitForExit(), 0);
    EXPECT_NE(access(file.c_str(), F_OK), 0);
}

// The reasons for the omitted steps, for partners that do not block the library.
TEST_F(CheckKit, NamesTheMissingObjectThatTheLibraryNeeds) {
    Check("fault no-object\nwait 600\n", {"--limit=0.3", "--only=works-with-library"});
    EXPECT_THAT(m_output, HasSubstr("  needs the communication object, without which each "
                                    "request fails\n"));
}

TEST_F(CheckKit, NamesTheMissingNotificationThatTheLibraryNeeds) {
    Check("fault no-created\nwait 600\n", {"--limit=0.3", "--only=works-with-library"});
    EXPECT_THAT(m_output, HasSubstr("  needs notification 4, without which the library sends no "
                                    "list\n"));
}

TEST_F(CheckKit, NamesTheReplyThatHidesTheSelectionOfThePartner) {
    Check("fault ignore select\nwait 600\n", {"--limit=0.3", "--only=empties-its-list"});
    EXPECT_THAT(m_output, HasSubstr("  the reply to 2001 does not contain the item that 2000 "
                                    "selected\n"));
}

TEST_F(CheckKit, ReportsADriverThatFails) {
    EXPECT_EQ(Check("wait 600\n", {"--drive=exit 5", "--only=notification-click"}), 4);
    EXPECT_THAT(m_output, HasSubstr("the command of --drive failed with the exit status 5"));
}

// The first start is good, and the command of the second one fails.
TEST_F(CheckKit, EndsOnceWhenTheCommandOfRestartFails) {
    const std::string first = m_folder.Path() + "/started";
    const std::string command = "mkdir " + first + " || exit 7; exec " + APPLISTCTL +
                                " partner --script " + m_folder.Write("script", "wait 600\n");
    ToolProcess check({"check", "partner", "--wait=0", "--limit=0.2",
                       "--only=answers-syn,works-with-library,reconnects", "--restart", command});
    EXPECT_EQ(check.WaitForExit(), 1);
    EXPECT_EQ(check.Errors(), "applistctl check partner: the command of --restart failed with the "
                              "exit status 7, and no partner has announced itself: " +
                                  command + "\n");
    EXPECT_THAT(check.Output(), HasSubstr("  not seen  2 duties not checked: the command of "
                                          "--restart failed\n"));
    EXPECT_THAT(check.Output(), Not(HasSubstr("BROKEN")));
}

TEST_F(CheckKit, NamesTheStatusOfACommandOfRestartThatFailsAtTheFirstStart) {
    ToolProcess check({"check", "partner", "--wait=0", "--limit=0.1", "--restart", "exit 127"});
    EXPECT_EQ(check.WaitForExit(), 1);
    EXPECT_EQ(check.Errors(), "applistctl check partner: the command of --restart failed with the "
                              "exit status 127, and no partner has announced itself: exit 127\n");
    EXPECT_THAT(check.Output(), HasSubstr("  not seen  42 duties not checked: the command of "
                                          "--restart failed\n"));
}

// XML 1.0 has no form for most control characters, not even as references.
TEST(JUnitText, EscapesEachByteThatXmlCannotContain) {
    EXPECT_EQ(JUnitFile::Escape("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c&apos;");
    EXPECT_EQ(JUnitFile::Escape("\x01\x1f\0"s + "end"), "\\x01\\x1f\\x00end");
    EXPECT_EQ(JUnitFile::Escape("\xff\xc3"), "\\xff\\xc3");
    EXPECT_EQ(JUnitFile::Escape("\xef\xbf\xbe\xef\xbf\xbf"), "\\xef\\xbf\\xbe\\xef\\xbf\\xbf");
    EXPECT_EQ(JUnitFile::Escape("\xed\xa0\x80"), "\\xed\\xa0\\x80"); // a surrogate
    EXPECT_EQ(JUnitFile::Escape("M\xc3\xbcnchen \xf0\x9f\x8e\xb5"),
              "M\xc3\xbcnchen \xf0\x9f\x8e\xb5");
}

} // namespace
