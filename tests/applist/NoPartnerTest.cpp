// The host's operations without a partner: the copy changes, each request is lost with a line on
// standard output, and no request is sent later.
#include <functional>
#include <string>
#include <vector>

#include "ListTest.h"
#include "NamedRow.h"
#include "TestItem.h"

using namespace std::string_literals;
using LogLines::Model, LogLines::Pointer;
using testing::ElementsAre, testing::IsEmpty;

namespace {

struct Operands {
    RemoteAppListModel& model;
    TestItem& inList;
    TestItem& other;
};

struct Row : NamedRow {
    std::function<void(Operands)> operation;
    std::vector<std::string> idsAfter; ///< the list held "1" before
    std::string selectionAfter;        ///< "1" was selected before; "" for none
    int requests;
};

class WithoutAPartner : public ListTest, public testing::WithParamInterface<Row> {
protected:
    WithoutAPartner() {
        model->AddItemAtEnd(&inList);
        model->SetSelection(&inList);
    }

    TestItem inList{"A", "1"};
    TestItem other{"B", "2"};
};

std::string Repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

} // namespace

TEST_P(WithoutAPartner, TheCopyChangesAndTheRequestIsLost) {
    const Row& row = GetParam();
    testing::internal::CaptureStdout();
    row.operation({*model, inList, other});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              Repeated("Connection not set.\n", row.requests));
    EXPECT_EQ(Ids(), row.idsAfter);
    AppListItem* const selection = model->GetSelection();
    EXPECT_EQ(selection == nullptr ? "" : selection->GetUnigueId(), row.selectionAfter);
    EXPECT_EQ(CountDebugStarting("Sending sync message"), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Calling, WithoutAPartner,
    testing::Values(
        Row{"SetSelection", [](Operands w) { w.model.SetSelection(&w.other); }, {"1"}, "2", 1},
        Row{"SetSelectionOfNull", [](Operands w) { w.model.SetSelection(nullptr); }, {"1"}, "1", 0},
        Row{"SetClicked", [](Operands w) { w.model.SetClicked(&w.other); }, {"1"}, "1", 1},
        Row{"SetClickedOfNull", [](Operands w) { w.model.SetClicked(nullptr); }, {"1"}, "1", 0},
        Row{"RemoveAllItems", [](Operands w) { w.model.RemoveAllItems(); }, {}, "", 1},
        Row{"AddItems",
            [](Operands w) {
                w.model.AddItems({&w.inList, &w.other});
            },
            {"1", "2"},
            "1",
            1},
        Row{"AddItemsOfNothing", [](Operands w) { w.model.AddItems({}); }, {"1"}, "1", 0},
        Row{"AddItemAtEnd", [](Operands w) { w.model.AddItemAtEnd(&w.other); }, {"1", "2"}, "1", 1},
        Row{"AddItemAtEndOfNull", [](Operands w) { w.model.AddItemAtEnd(nullptr); }, {"1"}, "1", 0},
        Row{"RemoveItem", [](Operands w) { w.model.RemoveItem(&w.inList); }, {}, "", 1},
        Row{"RemoveItemOutsideTheList",
            [](Operands w) { w.model.RemoveItem(&w.other); },
            {"1"},
            "1",
            0},
        Row{"ModifyItem",
            [](Operands w) { w.model.ModifyItem(&w.inList, &w.other); },
            {"2"},
            "2",
            1},
        Row{"ModifyItemOutsideTheList",
            [](Operands w) { w.model.ModifyItem(&w.other, &w.inList); },
            {"1"},
            "1",
            0},
        Row{"SelectionEvent", // the partner vanished before the query
            [](Operands w) { w.model.OnNotificationReceive(2, {}); },
            {"1"},
            "",
            1},
        Row{"CreatedEvent",
            [](Operands w) { w.model.OnNotificationReceive(4, {}); },
            {"1"},
            "1",
            2}),
    RowName<Row>);

TEST_F(WithoutAPartner, NothingIsKeptForALaterPartner) {
    TestPartner partner(bus);
    ASSERT_TRUE(ConnectPartner(partner));
    model->SetClicked(&other);
    EXPECT_THAT(partner.Requests(), ElementsAre(ByteVector("B\n2\n\xD6\x07\0\0"s)));
    DestroyModel();
}

TEST_F(ListTest, StartsEmptyAndWithoutASelection) {
    EXPECT_THAT(model->GetAllItems(), IsEmpty());
    EXPECT_EQ(model->GetItemsCount(), 0);
    EXPECT_EQ(model->GetSelection(), nullptr);
}

TEST_F(ListTest, EveryLineGoesToTheMainBufferUnderOneTagWithOnePrefix) {
    TestItem item("A", "1");
    model->AddItems({&item});
    for (const CapturedLog::Line& line : CapturedLog::Lines()) {
        EXPECT_EQ(line.bufferId, 0);
        EXPECT_EQ(line.tag, "applist");
        // "FILE: FUNCTION(LINE) > [FUNCTION:LINE] MESSAGE", with both lines the same.
        const std::size_t lineAt = line.text.find('(') + 1;
        const std::string number = line.text.substr(lineAt, line.text.find(')') - lineAt);
        EXPECT_GT(std::stoi(number), 0);
        EXPECT_EQ(line.text, line.file + ": " + line.function + "(" + number + ") > [" +
                                 line.function + ":" + number + "] " + line.message + "\n");
    }
}
