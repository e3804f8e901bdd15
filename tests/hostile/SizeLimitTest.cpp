// Messages below and above the limit of the bus: 32 MiB on dbus-daemon, the limit of D-Bus on
// dbus-broker. Also arrays above the limit of D-Bus, 64 MiB.
#include "HostileTest.h"

namespace {

// The number of MiB above the limit of the bus; negative below it.
std::size_t AboveTheLimit(std::size_t mib) {
    return PrivateBus::LargestMessage() + mib * MIB;
}
std::size_t BelowTheLimit(std::size_t mib) {
    return PrivateBus::LargestMessage() - mib * MIB;
}

class SizeLimit : public HostileTest {
protected:
    /** Appends an item with this number of bytes in its name. The item stays in the list. */
    void AppendItem(std::size_t nameSize) {
        m_big = std::make_unique<NamedItem>(std::string(nameSize, 'n'));
        model->AddItemAtEnd(m_big.get());
    }
    ~SizeLimit() override { model.reset(); } // before the item

private:
    class NamedItem : public AppListItem {
    public:
        explicit NamedItem(std::string name) : m_name(std::move(name)) {}
        std::string GetVisibleName() override { return m_name; }
        std::string GetUnigueId() override { return "big"; }

    private:
        std::string m_name;
    };
    std::unique_ptr<NamedItem> m_big;
};

class RequestAboveTheLimit : public SizeLimit, public testing::WithParamInterface<std::size_t> {};
class RequestBelowTheLimit : public SizeLimit, public testing::WithParamInterface<std::size_t> {};

} // namespace

TEST_P(RequestBelowTheLimit, ReachesThePartnerWhole) {
    Connect();
    const std::size_t size = BelowTheLimit(GetParam());
    AppendItem(size);
    const std::vector<TestPartner::Bytes> requests = partner->Requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].size(), size + std::string("\nbig\n").size() + 4);
}

INSTANTIATE_TEST_SUITE_P(ByMiB, RequestBelowTheLimit, testing::Values(1, 16, 31));

TEST_P(RequestAboveTheLimit, LosesTheBusConnectionAlone) {
    Connect();
    AppendItem(AboveTheLimit(GetParam()));
    EXPECT_EQ(CountErrorStarting("Error while sending message"), 1U);
    ASSERT_TRUE(MainLoop::IterateUntil(
        [&] { return g_dbus_connection_is_closed(shared->Connection()) != FALSE; }));
    EXPECT_EQ(model->GetItemsCount(), 2);

    model->RemoveAllItems();
    EXPECT_EQ(CountErrorStarting("Error while sending message"), 2U);
    EXPECT_EQ(model->GetItemsCount(), 0);
    MainLoop::IterateUntilIdle();
}

INSTANTIATE_TEST_SUITE_P(ByMiB, RequestAboveTheLimit, testing::Values(1, 33));

TEST_F(SizeLimit, ANewListConnectsOnceTheDroppedConnectionIsReleased) {
    Connect();
    AppendItem(AboveTheLimit(1));
    ReleaseAll();
    CapturedLog::Clear();
    shared = std::make_unique<SharedBus>();
    model = std::make_unique<RemoteAppListModel>();
    Connect();
}

TEST_F(SizeLimit, APartnerWithANotificationAboveTheLimitOfTheBusIsLostAndAnotherOneBound) {
    Connect();
    const std::string name = partner->UniqueName();
    partner->NotifyBody(hostName, ByteBody(std::string(AboveTheLimit(1), 'n')));
    WaitUntilLost(name);
    Connect();
    ExpectAllIsWell();
}

TEST_F(SizeLimit, APartnerWithAReplyAboveTheLimitOfTheBusIsLostAndAnotherOneBound) {
    Connect();
    const std::string name = partner->UniqueName();
    partner->AnswerWithBody([] { return ByteBody(std::string(AboveTheLimit(1), 'r')); });
    model->SetClicked(&item);
    EXPECT_EQ(CountErrorStarting("Error while sending message"), 1U);
    WaitUntilLost(name);
    Connect();
    ExpectAllIsWell();
}
