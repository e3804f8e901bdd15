// The messages from the start of an endpoint to its readiness.
#include "ChannelTest.h"

#include "BusMonitor.h"

namespace {

using testing::ElementsAre;

class StartUp : public ChannelTest {};

TEST_F(StartUp, IsElevenMessages) {
    TestPartner partner(bus);
    BusMonitor monitor(bus);
    RecordingEndpoint endpoint;
    ASSERT_TRUE(IterateUntilReady(endpoint));
    std::vector<std::string> sent;
    for (const BusMonitor::Message& message : monitor.SentBy(SharedBus::CurrentUniqueName())) {
        sent.push_back(message.member);
    }
    EXPECT_THAT(sent, ElementsAre("Hello", "AddMatch", "AddMatch", "AddMatch", "RequestName",
                                  "ReleaseName", "AddMatch", "GetNameOwner", "AddMatch",
                                  "RequestName", "ReleaseName"));
}

} // namespace
