// Malformed bodies: of another type, too short, too long, or with random content.
#include <functional>
#include <ostream>

#include "HostileTest.h"

namespace {

constexpr std::size_t MIB = 1024 * 1024;

struct Row {
    const char* name;
    std::function<GVariant*()> body;
};

void PrintTo(const Row& row, std::ostream* os) {
    *os << row.name;
}

std::string NameOf(const testing::TestParamInfo<Row>& row) {
    return row.param.name;
}

std::vector<Row> WrongTypes() {
    return {
        {"Nothing", [] { return g_variant_new("()"); }},
        {"String", [] { return g_variant_new("(s)", "bytes"); }},
        {"BareNumber", [] { return g_variant_new("(u)", 2001U); }},
        {"Booleans", [] { return g_variant_new_parsed("([true, false],)"); }},
        {"Numbers", [] { return g_variant_new_parsed("([uint32 1, 2],)"); }},
        {"Strings", [] { return g_variant_new_parsed("(['a', 'b'],)"); }},
        {"BytesTwice", [] { return g_variant_new_parsed("(@ay [1], @ay [2])"); }},
        {"BytesInBytes", [] { return g_variant_new_parsed("(@aay [[1], [2]],)"); }},
        {"Variant", [] { return g_variant_new_parsed("(<@ay [2, 0, 0, 0]>,)"); }},
        {"Dictionary", [] { return g_variant_new_parsed("({'a': <1>},)"); }},
    };
}

std::vector<Row> SenselessBytes() {
    std::vector<Row> rows{
        {"NoByte", [] { return ByteBody(""); }},
        {"OneByte", [] { return ByteBody(std::string(1, '\2')); }},
        {"TwoBytes", [] { return ByteBody(std::string("\2\0", 2)); }},
        {"ThreeBytes", [] { return ByteBody(std::string("\2\0\0", 3)); }},
        {"UnknownId", [] { return ByteBody("\xff\xff\xff\xff"); }},
    };
    for (const std::size_t size : {1 * MIB, 16 * MIB, 31 * MIB}) {
        static const char* const names[] = {"OneMiB", "SixteenMiB", "ThirtyOneMiB"};
        const char* const name = names[size == MIB ? 0 : size == 16 * MIB ? 1 : 2];
        rows.push_back({name, [size] { return ByteBody(std::string(size, 'x')); }});
    }
    return rows;
}

std::vector<Row> AllRows() {
    std::vector<Row> rows = WrongTypes();
    const std::vector<Row> more = SenselessBytes();
    rows.insert(rows.end(), more.begin(), more.end());
    return rows;
}

class HostileNotification : public HostileTest, public testing::WithParamInterface<Row> {};
class MistypedNotification : public HostileTest, public testing::WithParamInterface<Row> {};
class MistypedReply : public HostileTest, public testing::WithParamInterface<Row> {};
class SenselessReply : public HostileTest, public testing::WithParamInterface<Row> {};
class MistypedCall : public HostileTest, public testing::WithParamInterface<Row> {};
class SenselessCall : public HostileTest, public testing::WithParamInterface<Row> {};

} // namespace

TEST_P(HostileNotification, LeavesListAndConnectionUnchanged) {
    Connect();
    partner->NotifyBody(hostName, GetParam().body());
    WaitForAllEvents();
    EXPECT_EQ(listener.selections, 0U);
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, HostileNotification, testing::ValuesIn(AllRows()), NameOf);

TEST_P(MistypedNotification, IsLoggedWithItsType) {
    Connect();
    g_autoptr(GVariant) body = g_variant_ref_sink(GetParam().body());
    partner->NotifyBody(hostName, body);
    WaitForAllEvents();
    EXPECT_EQ(CapturedLog::Count(CapturedLog::ERROR, std::string("Notification of type ") +
                                                         g_variant_get_type_string(body) +
                                                         " dropped"),
              1U);
}
INSTANTIATE_TEST_SUITE_P(Bodies, MistypedNotification, testing::ValuesIn(WrongTypes()), NameOf);

TEST_P(MistypedReply, CountsAsNoSelection) {
    Connect();
    g_autoptr(GVariant) body = g_variant_ref_sink(GetParam().body());
    partner->AnswerWithBody(GetParam().body);
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::SELECTION_EVENT)));
    WaitForAllEvents();
    EXPECT_EQ(CapturedLog::Count(CapturedLog::ERROR, std::string("Reply of type ") +
                                                         g_variant_get_type_string(body) +
                                                         " dropped"),
              1U);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(listener.selections, 1U);
    model->SetSelection(&item);
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, MistypedReply, testing::ValuesIn(WrongTypes()), NameOf);

TEST_P(SenselessReply, CountsAsNoSelection) {
    Connect();
    partner->AnswerWithBody(GetParam().body);
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::SELECTION_EVENT)));
    WaitForAllEvents();
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(listener.selections, 1U);
    partner->AnswerWith([](const TestPartner::Bytes&) { return TestPartner::Bytes(); });
    model->SetSelection(&item);
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, SenselessReply, testing::ValuesIn(SenselessBytes()), NameOf);

TEST_P(MistypedCall, IsRefusedBeforeItReachesTheList) {
    Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallHost(partner->Connection(), GetParam().body(), &error);
    EXPECT_EQ(reply, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS));
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, MistypedCall, testing::ValuesIn(WrongTypes()), NameOf);

TEST_P(SenselessCall, IsAnsweredWithAnEmptyArray) {
    Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallHost(partner->Connection(), GetParam().body(), &error);
    ASSERT_NE(reply, nullptr) << error->message;
    g_autofree char* text = g_variant_print(reply, TRUE);
    EXPECT_STREQ(text, "(@ay [],)");
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, SenselessCall, testing::ValuesIn(SenselessBytes()), NameOf);
