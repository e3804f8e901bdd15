// "applistctl host" with the partner of the test: the source of its items, the requests of its
// commands, and its output for events.
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "BusTest.h"
#include "NamedRow.h"
#include "TemporaryFolder.h"
#include "TestPartner.h"
#include "ToolProcess.h"

using namespace std::string_literals;
using testing::HasSubstr, testing::Not;

namespace {

using HostInput = BusTest;
using HostWithoutPartner = BusTest;

std::string Entry(const std::string& lines) {
    return "[Desktop Entry]\nType=Application\n" + lines;
}

// A host with one item, connected with a partner.
class HostTool : public testing::Test {
protected:
    void SetUp() override {
        m_folder.Write("clock.desktop", Entry("Name=Clock\n"));
        m_host = std::make_unique<ToolProcess>(std::vector<std::string>{"host", m_folder.Path()});
        ASSERT_TRUE(m_partner.WaitForAnnouncement("_CLIENT_ACK"));
    }

    // The item's request, once it has come.
    std::string NextRequest() {
        ++m_requestCount;
        return m_partner.WaitForRequests(m_requestCount)
                   ? std::string(m_partner.Requests()[m_requestCount - 1].data(),
                                 m_partner.Requests()[m_requestCount - 1].size())
                   : "no request";
    }

    void Notify(const std::string& bytes) {
        m_partner.Notify(HostName(), {bytes.begin(), bytes.end()});
    }

    // The second line of the host contains it: "on the bus at ADDRESS as :1.2".
    std::string HostName() {
        if (m_hostName.empty() && m_host->WaitFor("no partner yet")) {
            const std::string& output = m_host->Output();
            const auto start = output.find(" as :") + 4;
            m_hostName = output.substr(start, output.find('\n', start) - start);
        }
        return m_hostName;
    }

    void SendAnEvent() {
        Notify("\x01\0\0\0"s);
        ASSERT_TRUE(m_host->WaitFor("OnItemChangeEvent"));
    }

    PrivateBus m_bus;
    TestPartner m_partner{m_bus};
    TemporaryFolder m_folder;
    std::unique_ptr<ToolProcess> m_host;
    std::size_t m_requestCount = 0;
    std::string m_hostName;
};

TEST_F(HostTool, SendsItsWholeListToANewPartnerList) {
    Notify("\x04\0\0\0"s);
    EXPECT_EQ(NextRequest(), "Clock\nclock.desktop\n\xd4\x07\0\0"s);
    EXPECT_TRUE(m_host->WaitFor("the library sent it all 1 item, selected: none"));
}

TEST_F(HostTool, AddsAnItemAtTheEnd) {
    m_host->Send("add radio Car Radio");
    EXPECT_EQ(NextRequest(), "Car Radio\nradio\n\xd5\x07\0\0"s);
}

TEST_F(HostTool, AcceptsQuotedWords) {
    m_host->Send("add 'an id' \"Car  Radio\"");
    EXPECT_EQ(NextRequest(), "Car  Radio\nan id\n\xd5\x07\0\0"s);
}

TEST_F(HostTool, RemovesAnItem) {
    m_host->Send("remove clock.desktop");
    EXPECT_EQ(NextRequest(), "Clock\nclock.desktop\n\xd7\x07\0\0"s);
}

TEST_F(HostTool, ModifiesAnItem) {
    m_host->Send("modify clock.desktop watch Watch");
    EXPECT_EQ(NextRequest(), "Clock\nclock.desktop\nWatch\nwatch\n\xd8\x07\0\0"s);
}

TEST_F(HostTool, SelectsAnItem) {
    m_host->Send("select clock.desktop");
    EXPECT_EQ(NextRequest(), "Clock\nclock.desktop\n\xd0\x07\0\0"s);
}

TEST_F(HostTool, ClearsTheList) {
    m_host->Send("clear");
    EXPECT_EQ(NextRequest(), "\xd3\x07\0\0"s);
}

TEST_F(HostTool, ClicksAnItemAfterAnEvent) {
    SendAnEvent();
    m_host->Send("click clock.desktop");
    EXPECT_EQ(NextRequest(), "Clock\nclock.desktop\n\xd6\x07\0\0"s);
}

TEST_F(HostTool, ListsItsItemsAfterAnEvent) {
    SendAnEvent();
    m_host->Send("list");
    EXPECT_TRUE(m_host->WaitFor("list: 1 item\n    1  Clock  clock.desktop\nselection: none\n"));
}

TEST_F(HostTool, PrintsTheSelectionThatThePartnerReports) {
    m_partner.AnswerWith([](const TestPartner::Bytes&) {
        const std::string record = "Clock\nclock.desktop\n";
        return TestPartner::Bytes(record.begin(), record.end());
    });
    Notify("\x02\0\0\0"s);
    EXPECT_TRUE(m_host->WaitFor("OnItemSelectionEvent: the partner has selected Clock"));
    EXPECT_THAT(m_host->Output(), Not(HasSubstr("the partner has a new list")));
}

TEST_F(HostTool, PrintsThatThePartnerReportsNoSelection) {
    Notify("\x02\0\0\0"s);
    EXPECT_TRUE(m_host->WaitFor("OnItemSelectionEvent: the partner has selected none"));
}

TEST_F(HostTool, PrintsAClickOfThePartner) {
    Notify("\x03\0\0\0"s);
    EXPECT_TRUE(m_host->WaitFor("OnItemClickedEvent"));
}

TEST_F(HostTool, SelectsTheNewItemWhenTheSelectedOneIsModified) {
    SendAnEvent();
    m_host->Send("select clock.desktop");
    m_host->Send("modify clock.desktop clock.desktop Renamed");
    m_host->Send("list");
    EXPECT_TRUE(m_host->WaitFor("selection: Renamed (clock.desktop)"));
    m_host->Send("remove clock.desktop");
    m_host->Send("list");
    EXPECT_TRUE(m_host->WaitFor("list: 0 items\nselection: none"));
}

TEST_F(HostTool, ExitsWithStatusThreeWhenTheBusIsLost) {
    m_bus.Kill();
    EXPECT_TRUE(m_host->WaitForError("applistctl host: the bus is gone"));
    EXPECT_EQ(m_host->WaitForExit(), 3);
}

TEST_F(HostTool, ExitsQuietlyAtTheEndOfItsInput) {
    EXPECT_EQ(m_host->EndOfInput(), 0);
    EXPECT_EQ(m_host->Errors(), "");
}

// Without a partner

struct Refusal : NamedRow {
    const char* command;
    const char* error;
};

class HostCommand : public testing::TestWithParam<Refusal> {};

TEST_P(HostCommand, IsRefusedWithAReasonAndStatusOne) {
    const PrivateBus bus;
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    host.Send(GetParam().command);
    host.Send("quit");
    EXPECT_EQ(host.WaitForExit(), 1);
    EXPECT_THAT(host.Errors(), HasSubstr(GetParam().error));
}

const Refusal REFUSALS[] = {
    {"ListBeforeAnEvent", "list", "no event so far"},
    {"ClickBeforeAnEvent", "click clock.desktop", "no event so far"},
    {"AnUnknownCommand", "open clock.desktop", "unknown command \"open\""},
    {"TooFewArguments", "add radio", "usage: add ID NAME"},
    {"TooManyArguments", "remove one two", "usage: remove ID"},
    {"RemovingAnUnknownItem", "remove radio", "no item with the id \"radio\""},
    {"ModifyingAnUnknownItem", "modify radio radio Radio", "no item with the id \"radio\""},
    {"SelectingAnUnknownItem", "select radio", "no item with the id \"radio\""},
    {"AnOpenQuote", "add radio 'Car", "quot"},
};

INSTANTIATE_TEST_SUITE_P(, HostCommand, testing::ValuesIn(REFUSALS), RowName<Refusal>);

TEST_F(HostInput, RunsALastLineWithoutALineFeed) {
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    host.SendBytes("add one One\n\nadd two Two");
    EXPECT_EQ(host.EndOfInput(), 0);
    EXPECT_THAT(host.Output(), HasSubstr("AddItemAtEnd: Two (two)"));
}

TEST_F(HostInput, HelpShowsTheCommands) {
    ToolProcess host({"host", SAMPLE_APPLICATIONS});
    host.Send("help");
    EXPECT_TRUE(host.WaitFor("\n  modify ID NEW_ID NAME  replace"));
    EXPECT_TRUE(host.WaitFor("\n  quit"));
}

// Desktop entries. The host shows its items in columns, by name.

std::string ItemsFrom(const std::vector<std::string>& folders,
                      const std::vector<std::string>& environment = {}) {
    const PrivateBus bus;
    std::vector<std::string> arguments = {"host"};
    arguments.insert(arguments.end(), folders.begin(), folders.end());
    ToolProcess host(arguments, environment);
    EXPECT_EQ(host.EndOfInput(), 0);
    std::string items;
    for (std::size_t at = host.Output().find("\n     "); at != std::string::npos;
         at = host.Output().find("\n     ", at + 1)) {
        const std::size_t start = at + 6;
        items += host.Output().substr(start, host.Output().find('\n', start) - start) + "|";
    }
    return items;
}

TEST(HostEntries, SkipHiddenEntriesAndPutSubfoldersIntoTheId) {
    EXPECT_EQ(ItemsFrom({SAMPLE_APPLICATIONS}), "Calculator    calculator.desktop|"
                                                "Clock         clock.desktop|"
                                                "Music Player  media-music-player.desktop|"
                                                "Navigation    navigation.desktop|"
                                                "Photos        media-photos.desktop|");
}

TEST(HostEntries, HaveTheNameInTheLanguageOfTheUser) {
    const TemporaryFolder folder;
    folder.Write("clock.desktop", Entry("Name=Clock\nName[de]=Uhr\n"));
    EXPECT_EQ(ItemsFrom({folder.Path()}, {"LC_ALL=C.UTF-8", "LANGUAGE=de"}), "Uhr  clock.desktop|");
}

TEST(HostEntries, DefaultToTheXdgFoldersWithTheFolderOfTheUserFirst) {
    const TemporaryFolder folder;
    folder.Write("home/applications/a.desktop", Entry("Name=Mine\n"));
    folder.Write("one/applications/a.desktop", Entry("Name=Theirs\n"));
    folder.Write("two/applications/b.desktop", Entry("Name=Other\n"));
    EXPECT_EQ(ItemsFrom({}, {"XDG_DATA_HOME=" + folder.Path() + "/home",
                             "XDG_DATA_DIRS=" + folder.Path() + "/one:" + folder.Path() + "/two"}),
              "Mine   a.desktop|Other  b.desktop|");
}

TEST(HostEntries, AreHiddenByAHiddenEntryOfAnEarlierFolder) {
    const TemporaryFolder folder;
    folder.Write("one/a.desktop", Entry("Name=A\nHidden=true\n"));
    folder.Write("two/a.desktop", Entry("Name=A\n"));
    EXPECT_EQ(ItemsFrom({folder.Path() + "/one", folder.Path() + "/two"}), "");
}

TEST(HostEntries, MustBeApplications) {
    const TemporaryFolder folder;
    folder.Write("a.desktop", "[Desktop Entry]\nType=Link\nName=A\n");
    folder.Write("b.txt", Entry("Name=B\n"));
    EXPECT_EQ(ItemsFrom({folder.Path()}), "");
}

TEST(HostEntries, HaveSpacesInPlaceOfLineFeedsInTheirNames) {
    const TemporaryFolder folder;
    folder.Write("a.desktop", Entry("Name=Two\\nLines\n"));
    EXPECT_EQ(ItemsFrom({folder.Path()}), "Two Lines  a.desktop|");
}

TEST(HostEntries, AreSkippedWithAReasonWhenTheyAreUnreadable) {
    const PrivateBus bus;
    const TemporaryFolder folder;
    folder.Write("broken.desktop", "no key file\n");
    folder.Write("nameless.desktop", Entry(""));
    ToolProcess host({"host", folder.Path()});
    EXPECT_EQ(host.EndOfInput(), 0);
    EXPECT_THAT(host.Output(), HasSubstr("!! skipped " + folder.Path() + "/broken.desktop: "));
    EXPECT_THAT(host.Output(), HasSubstr("!! skipped " + folder.Path() + "/nameless.desktop: "));
}

TEST_F(HostWithoutPartner, PrintsOneHintAtTheReason) {
    StartedTool host({"host", SAMPLE_APPLICATIONS}, "no partner yet");
    const std::string hint = "run \"applistctl check\" to find out why there is no partner";
    EXPECT_THAT(host.Output(), Not(HasSubstr(hint)));
    host.Send("add radio Car Radio");
    EXPECT_TRUE(host.WaitFor(hint));
    host.Send("remove radio");
    host.Send("quit");
    EXPECT_EQ(host.WaitForExit(), 0);
    EXPECT_EQ(host.Output().find(hint), host.Output().rfind(hint));
}

} // namespace
