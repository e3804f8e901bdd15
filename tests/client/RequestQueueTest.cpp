// The bounded queue: changes merge into one difference, clicks and their order stay.
#include <cstddef>
#include <string>
#include <vector>

#include <client/RequestQueue.h>
#include <gmock/gmock.h>

using namespace applist_internal;

namespace {

constexpr std::size_t LENGTH = AppListClient::QUEUE_LENGTH;

ListChange Change(ListChange::Kind kind, const std::string& uniqueId = "") {
    return {kind, uniqueId, {}, {}};
}

std::size_t Fill(RequestQueue& queue, std::size_t count) {
    std::size_t merged = 0;
    for (std::size_t i = 0; i < count; ++i) {
        merged += queue.Push(Change(ListChange::Kind::REMOVE)).size();
    }
    return merged;
}

TEST(RequestQueue, KeepsChangesInOrderUpToItsLength) {
    RequestQueue queue;
    EXPECT_EQ(Fill(queue, LENGTH), 0U);
    for (std::size_t i = 0; i < LENGTH; ++i) {
        ASSERT_EQ(queue.Pop().kind, ListChange::Kind::REMOVE);
    }
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(RequestQueue, MergesAllChangesWhenItIsFull) {
    RequestQueue queue;
    EXPECT_EQ(Fill(queue, LENGTH + 1), LENGTH + 1);
    EXPECT_EQ(Fill(queue, 3), 3U) << "a waiting difference also stands for later changes";
    EXPECT_EQ(queue.Pop().kind, ListChange::Kind::DIFFERENCE);
    EXPECT_TRUE(queue.IsEmpty());
    EXPECT_EQ(Fill(queue, 3), 3U) << "the difference has not begun";
    queue.BeginDifference();
    EXPECT_EQ(Fill(queue, 1), 0U) << "changes wait behind the difference";
}

TEST(RequestQueue, KeepsClicksBehindTheDifference) {
    RequestQueue queue;
    queue.Push(Change(ListChange::Kind::CLICK, "first"));
    Fill(queue, LENGTH + 1);
    queue.Push(Change(ListChange::Kind::CLICK, "second"));
    EXPECT_EQ(queue.Pop().kind, ListChange::Kind::DIFFERENCE);
    EXPECT_EQ(queue.Pop().uniqueId, "first");
    EXPECT_EQ(queue.Pop().uniqueId, "second");
}

TEST(RequestQueue, MergesChangesOfManyItems) {
    RequestQueue queue;
    const SharedItems items(RequestQueue::MOST_ITEMS / 2 + 1);
    EXPECT_EQ(queue.Push({ListChange::Kind::SET, "", items, {}}).size(), 0U);
    EXPECT_EQ(queue.Push({ListChange::Kind::SET, "", items, {}}).size(), 2U);
}

TEST(RequestQueue, HoldsOneRefillAtATime) {
    RequestQueue queue;
    queue.PushRefill();
    queue.PushRefill();
    EXPECT_EQ(queue.Pop().kind, ListChange::Kind::REFILL);
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(RequestQueue, MergesChangesBehindARefill) {
    RequestQueue queue;
    Fill(queue, LENGTH);
    queue.PushRefill();
    EXPECT_EQ(Fill(queue, 1), LENGTH + 1);
    EXPECT_EQ(queue.Pop().kind, ListChange::Kind::REFILL);
    EXPECT_EQ(queue.Pop().kind, ListChange::Kind::DIFFERENCE);
    EXPECT_TRUE(queue.IsEmpty());
}

TEST(RequestQueue, AcceptsALimitedNumberOfClicks) {
    RequestQueue queue;
    for (std::size_t i = 0; i < LENGTH; ++i) {
        ASSERT_TRUE(queue.AcceptsClick());
        queue.Push(Change(ListChange::Kind::CLICK));
    }
    EXPECT_FALSE(queue.AcceptsClick());
    queue.Pop();
    EXPECT_TRUE(queue.AcceptsClick());
}

TEST(RequestQueue, HoldsASelectionUntilItHasBeenMade) {
    RequestQueue queue;
    queue.Push(Change(ListChange::Kind::SELECT));
    queue.Push(Change(ListChange::Kind::SELECT));
    queue.Pop();
    queue.Done();
    EXPECT_TRUE(queue.HoldsSelection());
    queue.Pop();
    EXPECT_TRUE(queue.HoldsSelection());
    queue.Done();
    EXPECT_FALSE(queue.HoldsSelection());
}

TEST(RequestQueue, HoldsMergedSelectionsUntilTheDifferenceHasBeenMade) {
    RequestQueue queue;
    queue.Push(Change(ListChange::Kind::SELECT));
    Fill(queue, LENGTH);
    queue.Push(Change(ListChange::Kind::SELECT));
    EXPECT_TRUE(queue.HoldsSelection());
    ASSERT_EQ(queue.Pop().kind, ListChange::Kind::DIFFERENCE);
    queue.BeginDifference();
    EXPECT_TRUE(queue.HoldsSelection());
    queue.Done();
    EXPECT_FALSE(queue.HoldsSelection());
}

} // namespace
