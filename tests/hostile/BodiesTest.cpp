// Malformed bodies: of another type, too short, too long, or with random content.
#include <functional>
#include <ostream>

#include "HostileTest.h"
#include "NamedRow.h"
#include "WrongBodies.h"

namespace {

struct Row : NamedRow {
    std::function<GVariant*()> body;
};

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
    std::vector<Row> rows = SenselessBytes();
    for (const WrongBody& wrong : WRONG_BODIES) {
        rows.push_back({wrong, [wrong] { return wrong.Make(); }});
    }
    return rows;
}

class HostileNotification : public HostileTest, public testing::WithParamInterface<Row> {};
class MistypedNotification : public HostileTest, public testing::WithParamInterface<WrongBody> {};
class MistypedReply : public HostileTest, public testing::WithParamInterface<WrongBody> {};
class SenselessReply : public HostileTest, public testing::WithParamInterface<Row> {};
class MistypedCall : public HostileTest, public testing::WithParamInterface<WrongBody> {};
class SenselessCall : public HostileTest, public testing::WithParamInterface<Row> {};

} // namespace

TEST_P(HostileNotification, LeavesListAndConnectionUnchanged) {
    Connect();
    partner->NotifyBody(hostName, GetParam().body());
    WaitForAllEvents();
    EXPECT_EQ(listener.selections, 0U);
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, HostileNotification, testing::ValuesIn(AllRows()), RowName<Row>);

TEST_P(MistypedNotification, IsLoggedWithItsType) {
    Connect();
    partner->NotifyBody(hostName, GetParam().Make());
    WaitForAllEvents();
    EXPECT_EQ(CountError(std::string("Notification of type ") + GetParam().type + " dropped"), 1U);
}
INSTANTIATE_TEST_SUITE_P(Bodies, MistypedNotification, testing::ValuesIn(WRONG_BODIES),
                         RowName<WrongBody>);

TEST_P(MistypedReply, CountsAsNoSelection) {
    Connect();
    partner->AnswerWithBody([] { return GetParam().Make(); });
    partner->NotifyBody(hostName, ByteBody(Records::Frame("", Records::SELECTION_EVENT)));
    WaitForAllEvents();
    EXPECT_EQ(CountError(std::string("Reply of type ") + GetParam().type + " dropped"), 1U);
    EXPECT_EQ(model->GetSelection(), nullptr);
    EXPECT_EQ(listener.selections, 1U);
    model->SetSelection(&item);
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, MistypedReply, testing::ValuesIn(WRONG_BODIES),
                         RowName<WrongBody>);

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
INSTANTIATE_TEST_SUITE_P(Bodies, SenselessReply, testing::ValuesIn(SenselessBytes()), RowName<Row>);

TEST_P(MistypedCall, IsRefusedBeforeItReachesTheList) {
    Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallHost(partner->Connection(), GetParam().Make(), &error);
    EXPECT_EQ(reply, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS));
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, MistypedCall, testing::ValuesIn(WRONG_BODIES), RowName<WrongBody>);

TEST_P(SenselessCall, IsAnsweredWithAnEmptyArray) {
    Connect();
    g_autoptr(GError) error = nullptr;
    g_autoptr(GVariant) reply = CallHost(partner->Connection(), GetParam().body(), &error);
    ASSERT_NE(reply, nullptr) << error->message;
    g_autofree char* text = g_variant_print(reply, TRUE);
    EXPECT_STREQ(text, "(@ay [],)");
    ExpectAllIsWell();
}
INSTANTIATE_TEST_SUITE_P(Bodies, SenselessCall, testing::ValuesIn(SenselessBytes()), RowName<Row>);
