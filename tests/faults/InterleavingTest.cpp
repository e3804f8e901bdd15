// Two threads inside an endpoint or the list at a forced moment, and failed allocations there.
#include <algorithm>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <applist/RemoteAppListModel.h>
#include <ipc/IPCApplist.h>
#include <ipc/UncopiedBody.h>

#include "Bytes.h"
#include "FaultTest.h"
#include "Forced.h"

namespace {

using Bytes = std::vector<char>;

class Interleaving : public FaultTest {
protected:
    void CallBack(decltype(JavaMWDbusRemote::cb_SynNameOwnerChanged) callback, const char* suffix,
                  void* endpoint) {
        g_autoptr(GVariant) change = g_variant_ref_sink(
            g_variant_new("(sss)", DoubleHost::PartnerName(suffix).c_str(), PARTNER, ""));
        callback(Host().Connection(), "", "", "", "", change, endpoint);
    }
};

// Starting

TEST_F(Interleaving, APartnerThatIsFoundDuringTheStartStaysConnected) {
    alignas(JavaMWDbusRemote) unsigned char memory[sizeof(JavaMWDbusRemote)];
    Forced::AtLine("Notify others using name", [&] {
        std::async(std::launch::async, [&] {
            CallBack(JavaMWDbusRemote::cb_SynAckNameOwnerChanged, "_SYN_ACK", memory);
        }).get();
    });
    auto* const endpoint = new (memory) JavaMWDbusRemote("Applist");
    EXPECT_TRUE(endpoint->IsConnectionReady());
    endpoint->~JavaMWDbusRemote();
}

TEST_F(Interleaving, MissingMemoryDuringTheStartIsLoggedAndTheEndpointRemains) {
    Forced::AtLine("Monitoring org.morva.JavaMW.Applist name",
                   [] { Forced::FailNextAllocation(); });
    MakeEndpoint();
    EXPECT_EQ(Errors(), Strings{"Exception in JavaMWDbusRemote: std::bad_alloc"});
    EXPECT_FALSE(Endpoint().IsConnectionReady());
}

// The handshake's lock

TEST_F(Interleaving, TheHandshakesLockIsHeldWhileAPartnerIsBound) {
    MakeEndpoint();
    std::size_t held = 0;
    Forced::AtLine("Monitor unique name", [&] { held = Forced::HeldLocks(); });
    ASSERT_TRUE(Host().Announce("_SYN", PARTNER));
    EXPECT_EQ(held, 2U);
}

TEST_F(Interleaving, TheHandshakesLockIsHeldDuringAResendPass) {
    MakeEndpoint();
    std::size_t held = 0;
    Forced::AtLine("Number of handshakes to resend", [&] { held = Forced::HeldLocks(); });
    JavaMWDbusRemote::OnResendHandshake(static_cast<JavaMWDbusRemote*>(&Endpoint()));
    EXPECT_EQ(held, 2U);
}

// The partner's proxy

TEST_F(Interleaving, APartnerThatIsLostDuringARequestKeepsItsProxyUntilTheRequestEnds) {
    MakeEndpoint();
    bool isReleased = false;
    Forced::AtReleaseOfNextProxy([&] { isReleased = true; });
    ConnectTo(PARTNER);
    bool wasReleased = true;
    Forced::AtLine("Sending sync message", [&] {
        JavaMWDbusRemote::cb_PartnerNameVanished(Host().Connection(), PARTNER,
                                                 static_cast<JavaMWDbusRemote*>(&Endpoint()));
        wasReleased = isReleased;
    });
    Bytes request = ByteVector("request");
    Endpoint().SendMessage(request);
    EXPECT_FALSE(wasReleased);
    EXPECT_TRUE(isReleased) << "by the sender";
}

TEST_F(Interleaving, TheProxyIsReleasedWithoutTheSendersLock) {
    MakeEndpoint();
    bool isFree = false;
    std::future<void> sender;
    Forced::AtReleaseOfNextProxy([&] {
        sender = std::async(std::launch::async, [&] {
            Bytes event = ByteVector("event");
            Endpoint().SendNotification(event);
        });
        isFree = sender.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    });
    ConnectTo(PARTNER);
    ASSERT_TRUE(Host().Vanish(PARTNER));
    EXPECT_TRUE(isFree);
    sender.get();
}

// The adapter

struct OrderedRemote {
    struct HandlersLater {};
    OrderedRemote(std::string /*id*/, HandlersLater /*later*/) {}
    virtual ~OrderedRemote() { EXPECT_EQ(stopped, 1); }
    virtual Bytes HandleMessage(Bytes& data) = 0;
    virtual void HandleNotification(Bytes& data) = 0;
    virtual void HandleConnectionReady(bool ready, const std::string& partner) = 0;
    void StartHandlers() { ++started; }
    void StopHandlers() { ++stopped; }

    int started = 0;
    int stopped = 0;
};

struct AnyModel {};

TEST(Adapter, StartsItsHandlersInItsConstructorAndStopsThemInItsDestructor) {
    const IPCApplist<OrderedRemote, AnyModel> adapter("Any");
    EXPECT_EQ(adapter.started, 1);
    EXPECT_EQ(adapter.stopped, 0);
}

// The list

TEST_F(Interleaving, TheListIsDestroyedUnderItsLock) {
    auto model = std::make_unique<RemoteAppListModel>();
    Forced::ForgetLocks();
    model->GetItemsCount();
    const std::vector<const void*> listLock = Forced::TakenLocks();
    ASSERT_EQ(listLock.size(), 1U);
    Forced::ForgetLocks();
    model.reset();
    const std::vector<const void*> taken = Forced::TakenLocks();
    EXPECT_NE(std::find(taken.begin(), taken.end(), listLock[0]), taken.end());
}

// Bytes that are sent without a copy

TEST(UncopiedBodyWithoutMemory, IsNotCreatedWithoutItsStorage) {
    Bytes data = ByteVector("data");
    EXPECT_THROW(
        {
            Forced::FailNextAllocation();
            const UncopiedBody message(data);
        },
        std::bad_alloc);
    EXPECT_EQ(data, ByteVector("data"));
}

TEST(UncopiedBodyWithoutMemory, LeavesAnEmptyVectorWhenTheBodyOutlivesIt) {
    Bytes data = ByteVector("data");
    g_autoptr(GVariant) kept = nullptr;
    {
        const UncopiedBody message(data);
        kept = g_variant_ref(message.Get());
        Forced::FailNextAllocation();
    }
    EXPECT_EQ(data, Bytes());
}

TEST(Storage, IsTheVectorsWhenTheBodyOutlivesTheRequest) {
    Bytes data = ByteVector("data");
    const char* const before = data.data();
    g_autoptr(GVariant) kept = nullptr;
    {
        const UncopiedBody message(data);
        kept = g_variant_ref(message.Get());
    }
    EXPECT_NE(data.data(), before);
    EXPECT_EQ(data, ByteVector("data"));
    data.assign(data.size(), 'x');
    g_autofree char* printed = g_variant_print(kept, TRUE);
    EXPECT_STREQ(printed, "([byte 0x64, 0x61, 0x74, 0x61],)");
}

TEST(Storage, IsFreedWithTheRequest) {
    Bytes data = ByteVector("data");
    const long before = Forced::LiveBlocks();
    { const UncopiedBody message(data); }
    EXPECT_EQ(Forced::LiveBlocks(), before);
}

TEST(Storage, IsFreedWithTheBodyThatOutlivesTheRequest) {
    Bytes data = ByteVector("data");
    const long before = Forced::LiveBlocks();
    GVariant* kept = nullptr;
    {
        const UncopiedBody message(data);
        kept = g_variant_ref(message.Get());
    }
    g_variant_unref(kept);
    EXPECT_EQ(Forced::LiveBlocks(), before) << "the storage; the vector has a copy";
}

} // namespace
