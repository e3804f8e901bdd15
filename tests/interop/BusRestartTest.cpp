// A partner that outlives its bus: it connects to the next bus at the same address, and finds a
// host there. "applistctl partner" exits with its bus, so this test is for other partners.
#include <memory>
#include <string>

#include <gmock/gmock.h>

#include "PrivateBus.h"
#include "ToolProcess.h"

namespace {

using Tool = std::unique_ptr<ToolProcess>;

Tool StartHost() {
    return std::make_unique<ToolProcess>(std::vector<std::string>{"host", SAMPLE_APPLICATIONS});
}

void ExpectEqualLists(ToolProcess& host, ToolProcess& partner) {
    ASSERT_TRUE(partner.WaitFor("my list has 5 items now")) << partner.Output();
    partner.Send("select 2");
    ASSERT_TRUE(host.WaitFor("OnItemSelectionEvent: the partner has selected Clock"))
        << host.Output();
    EXPECT_EQ(host.List(), partner.List());
}

TEST(BusRestart, LeadsToANewHandshakeWithTheNextHost) {
    PrivateBus bus;
    ToolProcess partner({"partner"});
    Tool host = StartHost();
    ExpectEqualLists(*host, partner);
    for (int i = 0; i < 2; ++i) {
        host.reset();
        bus.Restart();
        ASSERT_TRUE(partner.WaitForError("the bus is gone")) << partner.Errors();
        ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN: a partner has started")) << partner.Output();
        host = StartHost();
        ExpectEqualLists(*host, partner);
    }
}

TEST(BusRestart, LeavesAPartnerThatQuits) {
    PrivateBus bus;
    ToolProcess partner({"partner"});
    ASSERT_TRUE(partner.WaitFor("_SERVICE_SYN: a partner has started"));
    bus.Kill();
    ASSERT_TRUE(partner.WaitForError("the bus is gone")) << partner.Errors();
    partner.Send("quit");
    EXPECT_EQ(partner.WaitForExit(), 0);
}

} // namespace
