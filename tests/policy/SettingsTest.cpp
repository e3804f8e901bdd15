// The build settings that assign users to the roles.
#include <gmock/gmock.h>

#include "NamedRow.h"
#include "Policy.h"

using testing::HasSubstr, testing::IsEmpty, testing::Not;

namespace {

struct Settings : NamedRow {
    std::vector<std::string> settings;
    std::vector<const char*> expected; // in the policy
};

const Settings ACCEPTED[] = {
    {"NoneMeanRoot", {}, {"<policy user=\"root\">"}},
    {"Users",
     {"APPLIST_BUS_HOST_USER=launcher", "APPLIST_BUS_PARTNER_USER=java-mw"},
     {"<policy user=\"launcher\">", "<policy user=\"java-mw\">"}},
    {"AGroupTakesThePlaceOfTheHostUser",
     {"APPLIST_BUS_HOST_USER=launcher", "APPLIST_BUS_HOST_GROUP=ui"},
     {"<policy group=\"ui\">", "<policy user=\"root\">"}},
    {"AGroupAndAUserOfOneNameAreTwo",
     {"APPLIST_BUS_HOST_GROUP=app", "APPLIST_BUS_PARTNER_USER=app"},
     {"<policy group=\"app\">", "<policy user=\"app\">"}},
    {"OneUser",
     {"APPLIST_BUS_HOST_USER=app", "APPLIST_BUS_PARTNER_USER=app"},
     {"<policy user=\"app\">"}},
    {"Numbers",
     {"APPLIST_BUS_HOST_USER=1001", "APPLIST_BUS_PARTNER_USER=1002"},
     {"<policy user=\"1001\">", "<policy user=\"1002\">"}},
};

class AcceptedSettings : public testing::TestWithParam<Settings> {};

TEST_P(AcceptedSettings, MakeABlockForEachRole) {
    const std::string policy = Policy::Make(GetParam().settings);
    for (const char* block : GetParam().expected) {
        EXPECT_THAT(policy, HasSubstr(block));
    }
    // And one block for all users.
    std::size_t blocks = 0;
    for (std::size_t at = 0; (at = policy.find("<policy ", at)) != std::string::npos; ++at) {
        ++blocks;
    }
    EXPECT_EQ(blocks, GetParam().expected.size() + 1);
    EXPECT_THAT(policy, Not(HasSubstr("@APPLIST")));
}

INSTANTIATE_TEST_SUITE_P(Rows, AcceptedSettings, testing::ValuesIn(ACCEPTED), RowName<Settings>);

// Each of these values would grant more rights than intended, or leave out a role.
TEST(RefusedSettings, StopTheBuild) {
    for (const char* setting :
         {"APPLIST_BUS_HOST_USER=", "APPLIST_BUS_PARTNER_USER=", "APPLIST_BUS_HOST_USER=*",
          "APPLIST_BUS_HOST_GROUP=*", "APPLIST_BUS_PARTNER_USER=two users",
          "APPLIST_BUS_PARTNER_USER=a\"/><allow own=\"*"}) {
        EXPECT_THAT(Policy::Make({setting}), IsEmpty()) << setting;
    }
}

} // namespace
