// The calls that an endpoint sends without waiting for their replies.
#include <chrono>

#include "FaultTest.h"

namespace {

using Reply = BusDouble::Reply;

class MissingReplyToAMatchOrAQuery : public FaultTest {};

TEST_F(MissingReplyToAMatchOrAQuery, DelaysNoConnection) {
    Bus().Script("AddMatch", Reply::Missing());
    Bus().Script("GetNameOwner", Reply::Missing());
    const auto start = std::chrono::steady_clock::now();
    MakeEndpoint();
    ConnectTo(PARTNER);
    // A call without a reply would last 25 s.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(Bus().CountCalls(std::string("GetNameOwner ") + PARTNER), 1u);
    DestroyEndpoint();
    Bus().Disconnect(); // ends the query without a reply
}

} // namespace
