// A host's own test: the launcher against a partner on a private bus.
#include "Launcher.h"
#include "TestBench.h"

#include <memory>

#include <gtest/gtest.h>

class LauncherTest : public testing::Test {
protected:
    LauncherTest() { TestBus::KeepTheProcessAlive(); }

    TestBus bus; // declared before its users
    Launcher launcher;
};

TEST_F(LauncherTest, FillsAPartnerThatStartsLater) {
    launcher.Install("clock.01", "Clock");
    launcher.Install("music.02", "Music Player");
    Partner partner;
    EXPECT_TRUE(partner.Prints("my list has 2 items now")) << partner.Output();
}

TEST_F(LauncherTest, SendsEachChangeToThePartner) {
    launcher.Install("clock.01", "Clock");
    Partner partner;
    ASSERT_TRUE(partner.Prints("my list has 1 item")) << partner.Output();
    launcher.Install("radio.03", "Car Radio");
    EXPECT_TRUE(partner.Prints("APPLIST_ADD_ITEM_AT_END_FNC (2005): Car Radio"))
        << partner.Output();
    launcher.Uninstall("clock.01");
    EXPECT_TRUE(partner.Prints("APPLIST_REMOVE_ITEM_FNC (2007): Clock")) << partner.Output();
}

TEST_F(LauncherTest, FollowsThePartnersSelection) {
    launcher.Install("clock.01", "Clock");
    launcher.Install("music.02", "Music Player");
    Partner partner;
    ASSERT_TRUE(partner.Prints("my list has 2 items now")) << partner.Output();
    partner.Enter("select 2");
    EXPECT_TRUE(WaitUntil([&] { return launcher.Selected() == "Music Player"; }));
    partner.Enter("select none");
    EXPECT_TRUE(WaitUntil([&] { return launcher.Selected().empty(); }));
}

TEST_F(LauncherTest, FillsThePartnerAgainAfterItsRestart) {
    launcher.Install("clock.01", "Clock");
    auto partner = std::make_unique<Partner>();
    ASSERT_TRUE(partner->Prints("my list has 1 item")) << partner->Output();
    partner.reset();
    launcher.Install("music.02", "Music Player"); // without a partner: the request is lost
    partner = std::make_unique<Partner>();
    EXPECT_TRUE(partner->Prints("my list has 2 items now")) << partner->Output();
}
