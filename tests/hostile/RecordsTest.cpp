// Replies to the selection query with malformed, unusual or many records.
#include "HostileTest.h"

namespace {

using namespace std::string_literals;

struct SenselessSelection {
    const char* name;
    std::string reply;
    bool namesTheItem;
};

std::string ManyRecords(const std::string& first) {
    std::string reply = first;
    for (int i = 0; i < 1000000; ++i) {
        reply += "n\ni\n";
    }
    return reply;
}

const std::vector<SenselessSelection>& Rows() {
    static const std::vector<SenselessSelection> rows{
        {"WholeRecord", "Clock\nclock.01\n", true},
        {"WithoutTheLastLineFeed", "Clock\nclock.01", false},
        {"NameAlone", "Clock\n", false},
        {"NameWithoutLineFeed", "clock.01", false},
        {"LineFeedsAlone", "\n\n\n\n", false},
        {"NulInTheName", "Cl\0ck\nclock.01\n"s, true},
        {"NulAfterTheId", "Clock\nclock.01\0\n"s, false},
        {"CarriageReturns", "Clock\r\nclock.01\r\n", false},
        {"NoUtf8InTheName", "\xff\xfe\x80\nclock.01\n", true},
        {"NoUtf8InTheId", "Clock\n\xff\xfe\x80\n", false},
        {"BytesAfterTheRecord", "Clock\nclock.01\nmore", true},
        {"AMillionRecordsAfterIt", ManyRecords("Clock\nclock.01\n"), true},
        {"AMillionRecordsBeforeIt", ManyRecords("") + "Clock\nclock.01\n", false},
        {"AMebibyteOfName", std::string(1024 * 1024, 'n') + "\nclock.01\n", true},
        {"AMebibyteOfId", "Clock\n" + std::string(1024 * 1024, 'i') + "\n", false},
        {"FormatsForPrintf", "%s%n%s%n\nclock.01\n", true},
    };
    return rows;
}

class SelectionReply : public HostileTest, public testing::WithParamInterface<std::size_t> {
protected:
    const SenselessSelection& row = Rows()[GetParam()];
};

} // namespace

TEST_P(SelectionReply, SelectsTheItemOfItsFirstWholeRecord) {
    Connect();
    partner->AnswerWithBody([this] { return ByteBody(row.reply); });
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::SELECTION_EVENT)));
    ASSERT_TRUE(
        MainLoop::IterateUntil([&] { return listener.selections == 1; }, std::chrono::seconds(60)));
    EXPECT_EQ(model->GetSelection(), row.namesTheItem ? &item : nullptr);
    partner->AnswerWith([](const TestPartner::Bytes&) { return TestPartner::Bytes(); });
    model->SetSelection(&item);
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Replies, SelectionReply, testing::Range<std::size_t>(0, Rows().size()),
                         [](const auto& reply) { return Rows()[reply.param].name; });
