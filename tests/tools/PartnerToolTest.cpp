// "applistctl partner" against a host of raw bytes: the list that the requests describe, its
// answers and notifications, and traffic that is malformed.
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "MainLoop.h"
#include "NamedRow.h"
#include "PrivateBus.h"
#include "RawHost.h"
#include "ToolProcess.h"

using namespace std::string_literals;
using testing::ElementsAre, testing::HasSubstr;

namespace {

class PartnerTool : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_partner.WaitFor("_SERVICE_SYN"));
        ASSERT_TRUE(m_host.Connect());
        ASSERT_TRUE(m_partner.WaitFor("connected with " + m_host.UniqueName()));
        ASSERT_TRUE(m_host.WaitForNotification("\x04\0\0\0"s));
    }

    // The list as the partner shows it, without the columns: "A 1|*B 2|selection: B (2)".
    std::string List() {
        std::string list;
        std::istringstream lines(m_partner.List());
        for (std::string line; std::getline(lines, line);) {
            if (line.compare(0, 4, "    ") == 0 || line.compare(0, 4, "  * ") == 0) {
                list += (line[2] == '*' ? "*" : "") + line.substr(7) + "|";
            } else if (line.compare(0, 11, "selection: ") == 0) {
                list += line.substr(11);
            }
        }
        return list;
    }

    void Fill() { ASSERT_EQ(m_host.Request("A\n1\nB\n2\nC\n3\n\xd4\x07\0\0"s), ""); }

    PrivateBus m_bus;
    ToolProcess m_partner{{"partner"}};
    RawHost m_host{m_bus};
};

TEST_F(PartnerTool, AsksForTheListOnceItIsConnected) {
    EXPECT_THAT(m_host.Notifications(), ElementsAre("\x04\0\0\0"s));
}

TEST_F(PartnerTool, AddsItems) {
    Fill();
    EXPECT_EQ(List(), "A  1|B  2|C  3|none");
    EXPECT_THAT(m_partner.Output(),
                HasSubstr("<- APPLIST_ADD_ITEMS_FNC (2004): 3 items\n     A  1\n     B  2\n"));
}

TEST_F(PartnerTool, AddsOnlyItemsWithNewIds) {
    Fill();
    m_host.Request("B again\n2\nD\n4\nD again\n4\n\xd4\x07\0\0"s);
    EXPECT_EQ(List(), "A  1|B  2|C  3|D  4|none");
}

TEST_F(PartnerTool, AddsAnItemAtTheEndAlsoWithAnIdOfTheList) {
    Fill();
    EXPECT_EQ(m_host.Request("B\n2\n\xd5\x07\0\0"s), "");
    EXPECT_EQ(List(), "A  1|B  2|C  3|B  2|none");
}

TEST_F(PartnerTool, RemovesTheFirstItemWithTheId) {
    m_host.Request("A\n1\n\xd5\x07\0\0"s);
    m_host.Request("B\n2\n\xd5\x07\0\0"s);
    m_host.Request("A again\n1\n\xd5\x07\0\0"s);
    m_host.Request("any name\n1\n\xd7\x07\0\0"s);
    EXPECT_EQ(List(), "B        2|A again  1|none");
}

TEST_F(PartnerTool, ModifiesAnItemInItsPlace) {
    Fill();
    m_host.Request("B\n2\nBee\n22\n\xd8\x07\0\0"s);
    EXPECT_EQ(List(), "A    1|Bee  22|C    3|none");
}

TEST_F(PartnerTool, RemovesAllItemsAndTheSelection) {
    Fill();
    m_host.Request("B\n2\n\xd0\x07\0\0"s);
    EXPECT_EQ(m_host.Request("\xd3\x07\0\0"s), "");
    EXPECT_EQ(List(), "none");
}

TEST_F(PartnerTool, SelectsById) {
    Fill();
    EXPECT_EQ(m_host.Request("any name\n2\n\xd0\x07\0\0"s), "");
    EXPECT_EQ(List(), "A  1|*B  2|C  3|B (2)");
}

TEST_F(PartnerTool, SelectsAnItemThatIsNotInTheList) {
    Fill();
    m_host.Request("D\n4\n\xd0\x07\0\0"s);
    EXPECT_EQ(List(), "A  1|B  2|C  3|D (4)");
}

TEST_F(PartnerTool, ClearsTheSelectionOfARemovedItem) {
    Fill();
    m_host.Request("B\n2\n\xd0\x07\0\0"s);
    m_host.Request("B\n2\n\xd7\x07\0\0"s);
    EXPECT_EQ(List(), "A  1|C  3|none");
}

TEST_F(PartnerTool, MovesTheSelectionToTheModifiedItem) {
    Fill();
    m_host.Request("B\n2\n\xd0\x07\0\0"s);
    m_host.Request("B\n2\nBee\n22\n\xd8\x07\0\0"s);
    EXPECT_EQ(List(), "A    1|*Bee  22|C    3|Bee (22)");
}

TEST_F(PartnerTool, AnswersTheQueryWithTheSelectionsRecord) {
    Fill();
    m_host.Request("B\n2\n\xd0\x07\0\0"s);
    EXPECT_EQ(m_host.Request("\xd1\x07\0\0"s), "B\n2\n");
}

TEST_F(PartnerTool, AnswersTheQueryWithNothingWhenNothingIsSelected) {
    Fill();
    EXPECT_EQ(m_host.Request("\xd1\x07\0\0"s), "");
}

TEST_F(PartnerTool, NotifiesTheHostOfAClickRequest) {
    Fill();
    EXPECT_EQ(m_host.Request("B\n2\n\xd6\x07\0\0"s), "");
    EXPECT_TRUE(m_host.WaitForNotification("\x03\0\0\0"s));
    EXPECT_TRUE(m_partner.WaitFor("APPLIST_SET_CLICKED_FNC (2006): B (2)"));
}

TEST_F(PartnerTool, NotifiesTheHostOfASelectCommand) {
    Fill();
    m_partner.Send("select 2");
    EXPECT_TRUE(m_host.WaitForNotification("\x02\0\0\0"s));
    EXPECT_EQ(m_host.Request("\xd1\x07\0\0"s), "B\n2\n");
}

TEST_F(PartnerTool, NotifiesTheHostOfTheSelectionOfNothing) {
    Fill();
    m_host.Request("B\n2\n\xd0\x07\0\0"s);
    m_partner.Send("select none");
    EXPECT_TRUE(m_host.WaitForNotification("\x02\0\0\0"s));
    EXPECT_EQ(m_host.Request("\xd1\x07\0\0"s), "");
}

TEST_F(PartnerTool, NotifiesTheHostOfAClickCommand) {
    Fill();
    m_partner.Send("click 3");
    EXPECT_TRUE(m_host.WaitForNotification("\x03\0\0\0"s));
}

TEST_F(PartnerTool, NotifiesOfAChange) {
    m_partner.Send("change");
    EXPECT_TRUE(m_host.WaitForNotification("\x01\0\0\0"s));
}

TEST_F(PartnerTool, RecreatesItsList) {
    Fill();
    m_host.Request("B\n2\n\xd0\x07\0\0"s);
    m_partner.Send("recreate");
    m_partner.Send("change");
    ASSERT_TRUE(m_host.WaitForNotification("\x01\0\0\0"s));
    EXPECT_THAT(m_host.Notifications(), ElementsAre("\x04\0\0\0"s, "\x04\0\0\0"s, "\x01\0\0\0"s));
    EXPECT_EQ(List(), "none");
}

TEST_F(PartnerTool, SendsQueuedMessagesBeforeItExits) {
    for (int i = 0; i < 100; ++i) {
        m_partner.Send("change");
    }
    m_partner.Send("quit");
    EXPECT_EQ(m_partner.WaitForExit(), 0);
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return m_host.Notifications().size() == 101; }))
        << m_host.Notifications().size();
}

TEST_F(PartnerTool, ShowsControlCharactersAsText) {
    m_host.Request("A\x1b[2J\n1\n\xd5\x07\0\0"s);
    EXPECT_TRUE(m_partner.WaitFor("A\\x1b[2J (1)"));
}

TEST_F(PartnerTool, ShowsBytesOutsideUtf8AsText) {
    m_host.Request("M\xfcnchen \xe2\x82\xac \xc2\x9b\n\xff\n\xd5\x07\0\0"s);
    EXPECT_TRUE(m_partner.WaitFor("M\\xfcnchen \xe2\x82\xac \\xc2\\x9b (\\xff)"));
}

// All characters that change the order of a line or divide it, between two that stay: ZWNJ and the
// ellipsis.
TEST_F(PartnerTool, ShowsControlsOfTheWritingDirectionAsText) {
    m_host.Request("a\u200c\u061c\u200e\u200f\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068"
                   "\u2069\u2028\u2029\u2026\n\u202e1\n\xd5\x07\0\0"s);
    EXPECT_TRUE(m_partner.WaitFor(
        "a\u200c\\xd8\\x9c\\xe2\\x80\\x8e\\xe2\\x80\\x8f\\xe2\\x80\\xaa\\xe2\\x80\\xab"
        "\\xe2\\x80\\xac\\xe2\\x80\\xad\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xe2\\x81\\xa7\\xe2\\x81\\xa8"
        "\\xe2\\x81\\xa9\\xe2\\x80\\xa8\\xe2\\x80\\xa9\u2026 (\\xe2\\x80\\xae1)"));
}

TEST_F(PartnerTool, AcceptsTheIdOfAnItemInPlaceOfItsNumber) {
    ASSERT_EQ(m_host.Request("A\na.x\nB\nb.x\n\xd4\x07\0\0"s), "");
    m_partner.Send("select b.x");
    EXPECT_TRUE(m_partner.WaitFor("APPLIST_ITEM_SELECTION_EVENT (2): B (b.x)"));
    m_partner.Send("click a.x");
    EXPECT_TRUE(m_partner.WaitFor("APPLIST_ITEM_CLICKED_EVENT (3): A (a.x)"));
    m_partner.Send("change b.x");
    EXPECT_TRUE(m_partner.WaitFor("APPLIST_ITEM_CHANGE_EVENT (1): B (b.x)"));
    m_partner.Send("remove b.x");
    EXPECT_TRUE(m_partner.WaitFor("APPLIST_ITEM_CHANGE_EVENT (1): without B (b.x)"));
    EXPECT_TRUE(m_partner.WaitFor("APPLIST_ITEM_SELECTION_EVENT (2): none"));
    m_partner.Send("click b.x");
    EXPECT_TRUE(m_partner.WaitForError("N is a number from 1 to 1, or the id of an item"));
}

TEST_F(PartnerTool, RefusesANumberThatIsNotInTheList) {
    m_partner.Send("select 1");
    EXPECT_TRUE(m_partner.WaitForError("the list is empty"));
    Fill();
    m_partner.Send("select 4");
    EXPECT_TRUE(m_partner.WaitForError("N is a number from 1 to 3"));
    m_partner.Send("click 0");
    EXPECT_TRUE(m_partner.WaitForError("N is a number from 1 to 3"));
}

TEST_F(PartnerTool, ExitsWithStatusThreeWhenTheBusIsLost) {
    m_bus.Kill();
    EXPECT_TRUE(m_partner.WaitForError("applistctl partner: the bus is gone"));
    EXPECT_EQ(m_partner.WaitForExit(), 3);
}

// Malformed messages are printed, have an empty reply and no effect, and the partner continues.

struct Malformed : NamedRow {
    std::string bytes;
    const char* complaint;
};

class MalformedRequest : public PartnerTool, public testing::WithParamInterface<Malformed> {};

TEST_P(MalformedRequest, IsPrintedAndDoesNotStopThePartner) {
    Fill();
    EXPECT_EQ(m_host.Request(GetParam().bytes), "");
    EXPECT_TRUE(m_partner.WaitFor("!! a malformed request"));
    EXPECT_TRUE(m_partner.WaitFor(GetParam().complaint));
    EXPECT_EQ(List(), "A  1|B  2|C  3|none");
}

const Malformed MALFORMED[] = {
    {"NoBytes", "", "0 bytes are too short for an id"},
    {"OneByte", "\xd4"s, "1 byte is too short for an id"},
    {"ThreeBytes", "\xd4\x07\0"s, "3 bytes are too short for an id"},
    {"AnUnusedId", "A\n1\n\xd2\x07\0\0"s, "no request has the id 2002"},
    {"ANegativeId", "\xff\xff\xff\xff"s, "no request has the id -1"},
    {"ANotificationsId", "\x01\0\0\0"s, "no request has the id 1"},
    {"NoItemToSelect", "\xd0\x07\0\0"s, "APPLIST_SET_SELECTION_FNC is ignored: it carries 0 items"},
    {"NoItemsToAdd", "\xd4\x07\0\0"s, "APPLIST_ADD_ITEMS_FNC is ignored: it carries 0 items"},
    {"TwoItemsToRemove", "A\n1\nB\n2\n\xd7\x07\0\0"s, "it carries 2 items, not 1"},
    {"OneItemToModify", "A\n1\n\xd8\x07\0\0"s, "it carries 1 item, not 2"},
    {"AnItemInAClear", "A\n1\n\xd3\x07\0\0"s, "it carries 1 item, not 0"},
    {"AnIdWithoutItsEnd", "D\n4\xd5\x07\0\0"s, "its 3 bytes end inside an item record"},
    {"ANameWithoutAnId", "D\n4\nE\n\xd4\x07\0\0"s, "end inside an item record, after 1 item"},
};

INSTANTIATE_TEST_SUITE_P(, MalformedRequest, testing::ValuesIn(MALFORMED), RowName<Malformed>);

TEST_F(PartnerTool, ContinuesAfterASignalOfAnotherType) {
    m_host.Notify(g_variant_new("(s)", "text"));
    EXPECT_TRUE(m_partner.WaitFor("its type is (s), not (ay)"));
    m_host.Notify(nullptr);
    EXPECT_TRUE(m_partner.WaitFor("its type is (), not (ay)"));
    Fill();
    EXPECT_EQ(List(), "A  1|B  2|C  3|none");
}

TEST_F(PartnerTool, ContinuesAfterASignalThatIsTooShort) {
    const char bytes[] = {1, 2, 3};
    m_host.Notify(g_variant_new(
        "(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes, sizeof(bytes), 1)));
    EXPECT_TRUE(m_partner.WaitFor("!! a malformed notification is ignored: 3 bytes are too short"));
    Fill();
    EXPECT_EQ(List(), "A  1|B  2|C  3|none");
}

} // namespace
