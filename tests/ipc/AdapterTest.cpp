// The adapter removes the message id from received bytes, and calls the bound model with both.
#include <ipc/IPCApplist.h>

#include <type_traits>

#include "ChannelTest.h"
#include "VirtualSlot.h"

namespace {

using testing::ElementsAre, testing::IsEmpty, testing::Pair;

using Bytes = std::vector<char>;

class Model {
public:
    Bytes OnMessage(int id, Bytes& data) {
        messages.emplace_back(id, data);
        return ByteVector("answer");
    }
    void OnNotification(int id, const Bytes& data) { notifications.emplace_back(id, data); }
    void OnReady(const std::string& partner) { partners.push_back(partner); }

    std::vector<std::pair<int, Bytes>> messages;
    std::vector<std::pair<int, Bytes>> notifications;
    std::vector<std::string> partners;
};

using Adapter = IPCApplist<JavaMWDbusRemote, Model>;

const std::string CORRUPT = "ERROR Data corrupted. Does not contain message id.";

class AdapterTest : public HeldBusTest {
protected:
    AdapterTest() {
        adapter->RegisterOnMessage(&model, &Model::OnMessage);
        adapter->RegisterOnNotification(&model, &Model::OnNotification);
        adapter->RegisterOnConnectionReady(&model, &Model::OnReady);
        CapturedLog::Clear();
    }

    void TearDown() override {
        adapter.reset();
        HeldBusTest::TearDown();
    }

    void Unbind() {
        adapter->UnregisterOnMessage(&model);
        adapter->UnregisterOnNotification(&model);
        adapter->UnregisterOnConnectionReady(&model);
        CapturedLog::Clear();
    }

    TestPartner partner{bus};
    Model model;
    std::unique_ptr<Adapter> adapter = std::make_unique<Adapter>("Applist");
};

TEST_F(AdapterTest, LogsItsConstruction) {
    adapter.reset();
    CapturedLog::Clear();
    adapter = std::make_unique<Adapter>("Applist");
    const CapturedLog::Line line = CapturedLog::Lines().back();
    EXPECT_EQ(line.message, "IPCApplist");
    EXPECT_EQ(line.priority, CapturedLog::DEBUG);
    EXPECT_EQ(line.file, "IPCApplist.h");
    EXPECT_EQ(line.function, "IPCApplist");
}

TEST_F(AdapterTest, IsTheChannelWithTheSameSlots) {
    EXPECT_TRUE((std::is_base_of_v<JavaMWDbusRemote, Adapter>));
    EXPECT_EQ(VirtualSlot::Of(&Adapter::HandleMessage), 2);
    EXPECT_EQ(VirtualSlot::Of(&Adapter::HandleNotification), 3);
    EXPECT_EQ(VirtualSlot::Of(&Adapter::HandleConnectionReady), 4);
    using Notification = void(JavaMWDbusRemote*, Bytes&);
    Bytes data = ByteVector({9, 0, 0, 0});
    VirtualSlot::At<Notification>(static_cast<JavaMWDbusRemote*>(adapter.get()), 3)(adapter.get(),
                                                                                    data);
    EXPECT_THAT(model.notifications, ElementsAre(Pair(9, Bytes())));
}

TEST_F(AdapterTest, CompletesTheHandshakeUnderItsEndpointId) {
    adapter.reset();
    TestPartner named(bus, true, "Other");
    adapter = std::make_unique<Adapter>("Other");
    EXPECT_TRUE(IterateUntilReady(*adapter));
}

// Notifications

TEST_F(AdapterTest, ForwardsIdAndPayloadOfANotification) {
    Bytes data = ByteVector({0x61, 0x62, 0x02, 0x00, 0x00, 0x00});
    adapter->HandleNotification(data);
    EXPECT_THAT(model.notifications, ElementsAre(Pair(2, ByteVector({0x61, 0x62}))));
    EXPECT_EQ(data, ByteVector({0x61, 0x62})) << "the caller's vector is shortened";
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG IPC HandleNotification"));
}

TEST_F(AdapterTest, ForwardsANotificationOfFourBytesWithoutAPayload) {
    Bytes data = ByteVector({0x04, 0x00, 0x00, 0x00});
    adapter->HandleNotification(data);
    EXPECT_THAT(model.notifications, ElementsAre(Pair(4, Bytes())));
}

TEST_F(AdapterTest, DropsANotificationOfLessThanFourBytes) {
    for (const Bytes& sent :
         {Bytes(), ByteVector({2}), ByteVector({2, 0}), ByteVector({2, 0, 0})}) {
        CapturedLog::Clear();
        Bytes data = sent;
        adapter->HandleNotification(data);
        EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG IPC HandleNotification", CORRUPT));
        EXPECT_EQ(data, sent);
    }
    EXPECT_THAT(model.notifications, IsEmpty());
}

struct SignedId {
    Bytes bytes;
    int id;
};

std::ostream& operator<<(std::ostream& os, const SignedId& row) {
    return os << row.id;
}

class AdapterId : public AdapterTest, public testing::WithParamInterface<SignedId> {};

TEST_P(AdapterId, IsSignedAndLittleEndian) {
    Bytes data = GetParam().bytes;
    adapter->HandleNotification(data);
    EXPECT_THAT(model.notifications, ElementsAre(Pair(GetParam().id, Bytes())));
    data = GetParam().bytes;
    adapter->HandleMessage(data);
    EXPECT_THAT(model.messages, ElementsAre(Pair(GetParam().id, Bytes())));
}

INSTANTIATE_TEST_SUITE_P(All, AdapterId,
                         testing::Values(SignedId{ByteVector({0xff, 0xff, 0xff, 0xff}), -1},
                                         SignedId{ByteVector({0xd0, 0x07, 0x00, 0x00}), 2000},
                                         SignedId{ByteVector({0x04, 0x03, 0x02, 0x01}), 0x01020304},
                                         SignedId{ByteVector({0x00, 0x00, 0x00, 0x80}),
                                                  -2147483647 - 1}));

TEST_F(AdapterTest, DropsANotificationWithoutABinding) {
    Unbind();
    Bytes data = ByteVector({0x61, 0x02, 0x00, 0x00, 0x00});
    adapter->HandleNotification(data);
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG IPC HandleNotification",
                            "INFO callbackNotificationObject object is NULL"));
    EXPECT_EQ(data, ByteVector({0x61}));
    EXPECT_THAT(model.notifications, IsEmpty());
}

TEST_F(AdapterTest, ForwardsANotificationOfThePartnerToTheModel) {
    ASSERT_TRUE(IterateUntilReady(*adapter));
    partner.Notify(OwnName(), ByteVector({0x61, 0x62, 0x02, 0x00, 0x00, 0x00}));
    ASSERT_TRUE(MainLoop::IterateUntil([&] { return !model.notifications.empty(); }));
    EXPECT_THAT(model.notifications, ElementsAre(Pair(2, ByteVector("ab"))));
    partner.Notify(OwnName(), ByteVector({0x02, 0x00, 0x00}));
    EXPECT_TRUE(
        IterateUntilLogged(CapturedLog::ERROR, "Data corrupted. Does not contain message id."));
    EXPECT_EQ(model.notifications.size(), 1u);
}

// Messages

TEST_F(AdapterTest, AnswersAMessageWithTheResultOfTheModel) {
    Bytes data = ByteVector({0x61, 0x62, 0x02, 0x00, 0x00, 0x00});
    EXPECT_EQ(adapter->HandleMessage(data), ByteVector("answer"));
    EXPECT_THAT(model.messages, ElementsAre(Pair(2, ByteVector("ab"))));
    EXPECT_EQ(data, ByteVector("ab"));
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG IPC HandleMessage"));
}

TEST_F(AdapterTest, AnswersAMessageOfLessThanFourBytesWithNoBytes) {
    for (const Bytes& sent : {Bytes(), ByteVector({2}), ByteVector({2, 0, 0})}) {
        CapturedLog::Clear();
        Bytes data = sent;
        EXPECT_THAT(adapter->HandleMessage(data), IsEmpty());
        EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG IPC HandleMessage", CORRUPT));
        EXPECT_EQ(data, sent);
    }
    EXPECT_THAT(model.messages, IsEmpty());
}

TEST_F(AdapterTest, AnswersAMessageWithNoBytesWithoutABinding) {
    Unbind();
    Bytes data = ByteVector({0x61, 0x02, 0x00, 0x00, 0x00});
    EXPECT_THAT(adapter->HandleMessage(data), IsEmpty());
    EXPECT_THAT(CapturedLog::Messages(), ElementsAre("DEBUG IPC HandleMessage",
                                                     "INFO callbackMessageObject object is NULL"));
    EXPECT_EQ(data, ByteVector("a"));
}

TEST_F(AdapterTest, AnswersEachCallOfThePartnerWithAnEmptyArrayWithoutABinding) {
    Unbind();
    for (const Bytes& sent : {Bytes(), ByteVector({1, 2, 3}), ByteVector({0xd0, 7, 0, 0}),
                              ByteVector({0x61, 1, 0, 0, 0})}) {
        const auto answer = CallFrom(partner, sent, OwnName());
        EXPECT_EQ(answer.error, "");
        EXPECT_THAT(answer.bytes, IsEmpty());
    }
    EXPECT_EQ(CountInfo("callbackMessageObject object is NULL"), 2u);
    EXPECT_EQ(CountError("Data corrupted. Does not contain message id."), 2u);
}

// Readiness

TEST_F(AdapterTest, ForwardsReadiness) {
    adapter->HandleConnectionReady(true, ":1.7");
    EXPECT_THAT(model.partners, ElementsAre(":1.7"));
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG HandleConnectionReady state=1, partner=:1.7",
                            "DEBUG Calling connection ready callback"));
}

TEST_F(AdapterTest, DoesNotForwardALoss) {
    adapter->HandleConnectionReady(false, ":1.7");
    EXPECT_THAT(model.partners, IsEmpty());
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG HandleConnectionReady state=0, partner=:1.7"));
}

TEST_F(AdapterTest, LogsReadinessWithoutABinding) {
    Unbind();
    adapter->HandleConnectionReady(true, ":1.7");
    adapter->HandleConnectionReady(false, ":1.7");
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("DEBUG HandleConnectionReady state=1, partner=:1.7",
                            "DEBUG HandleConnectionReady state=0, partner=:1.7"));
}

TEST_F(AdapterTest, ForwardsTheNameOfThePartnerToTheModel) {
    ASSERT_TRUE(IterateUntilReady(*adapter));
    EXPECT_THAT(model.partners, ElementsAre(partner.UniqueName()));
}

// Bindings

TEST_F(AdapterTest, StartsWithoutABinding) {
    adapter.reset();
    adapter = std::make_unique<Adapter>("Applist");
    CapturedLog::Clear();
    Bytes data = ByteVector({1, 0, 0, 0});
    adapter->HandleNotification(data);
    data = ByteVector({1, 0, 0, 0});
    adapter->HandleMessage(data);
    adapter->HandleConnectionReady(true, ":1.7");
    EXPECT_EQ(CountInfo("callbackNotificationObject object is NULL"), 1u);
    EXPECT_EQ(CountInfo("callbackMessageObject object is NULL"), 1u);
    EXPECT_EQ(CountDebug("Calling connection ready callback"), 0u);
}

TEST_F(AdapterTest, BindsWithoutALogLine) {
    adapter->RegisterOnMessage(&model, &Model::OnMessage);
    adapter->RegisterOnNotification(&model, &Model::OnNotification);
    adapter->RegisterOnConnectionReady(&model, &Model::OnReady);
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

TEST_F(AdapterTest, ReplacesTheBindingByALaterOne) {
    Model other;
    adapter->RegisterOnNotification(&other, &Model::OnNotification);
    Bytes data = ByteVector({1, 0, 0, 0});
    adapter->HandleNotification(data);
    EXPECT_THAT(model.notifications, IsEmpty());
    EXPECT_EQ(other.notifications.size(), 1u);
}

TEST_F(AdapterTest, LogsAnInformationLineForEachUnbinding) {
    adapter->UnregisterOnMessage(&model);
    adapter->UnregisterOnNotification(&model);
    adapter->UnregisterOnConnectionReady(&model);
    EXPECT_THAT(CapturedLog::Messages(),
                ElementsAre("INFO Unregistered callbackMessageObject",
                            "INFO Unregistered callbackNotificationObject",
                            "INFO Unregistered callbackConnectionReadyObject"));
}

TEST_F(AdapterTest, UnbindsTheBoundObjectOnly) {
    Model other;
    adapter->UnregisterOnMessage(&other);
    adapter->UnregisterOnNotification(&other);
    adapter->UnregisterOnConnectionReady(&other);
    adapter->UnregisterOnNotification(nullptr);
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
    Bytes data = ByteVector({1, 0, 0, 0});
    adapter->HandleNotification(data);
    EXPECT_EQ(model.notifications.size(), 1u);
}

TEST_F(AdapterTest, UnbindsOnce) {
    adapter->UnregisterOnNotification(&model);
    CapturedLog::Clear();
    adapter->UnregisterOnNotification(&model);
    EXPECT_THAT(CapturedLog::Messages(), IsEmpty());
}

TEST_F(AdapterTest, BindsAgainAfterUnbinding) {
    adapter->UnregisterOnNotification(&model);
    adapter->RegisterOnNotification(&model, &Model::OnNotification);
    Bytes data = ByteVector({1, 0, 0, 0});
    adapter->HandleNotification(data);
    EXPECT_EQ(model.notifications.size(), 1u);
}

} // namespace
