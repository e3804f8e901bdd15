// Listeners: their registration, the order of their calls, and changes of the list during an event.
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ListTest.h"
#include "NamedRow.h"
#include "TestListener.h"

using LogLines::Model;
using testing::ElementsAre, testing::IsEmpty;

namespace {

/** One kind of listener: its operations and its event, in a common form. */
struct Kind : NamedRow {
    std::function<void(AppListModel&, TestListener*)> add;
    std::function<void(AppListModel&, TestListener*)> remove;
    std::string addOperation;
    int id;
    std::string eventText; ///< the log's, without the number of listeners
};

const Kind KINDS[] = {
    {"Selection", [](auto& model, auto* listener) { model.AddItemSelectionListener(listener); },
     [](auto& model, auto* listener) { model.RemoveItemSelectionListener(listener); },
     "AddItemSelectionListener", 2, "ItemSelectionEvent from local model. Listeners :"},
    {"Change", [](auto& model, auto* listener) { model.AddItemChangeListener(listener); },
     [](auto& model, auto* listener) { model.RemoveItemChangeListener(listener); },
     "AddItemChangeListener", 1, "ItemChageEvent from local model. Listeners :"},
    {"Click", [](auto& model, auto* listener) { model.AddItemClickedListener(listener); },
     [](auto& model, auto* listener) { model.RemoveItemClickedListener(listener); },
     "AddItemClickedListener", 3, "ItemClickedEvent from local model. Listeners :"},
};

/** Three listeners, A, B and C, of one kind, which write their names into the calls. */
class Listeners : public ListTest, public testing::WithParamInterface<Kind> {
protected:
    Listeners() { CapturedLog::Clear(); }

    void Add(TestListener& listener) { GetParam().add(*model, &listener); }
    void Remove(TestListener& listener) { GetParam().remove(*model, &listener); }

    /** @return the names of the called listeners, in order. */
    std::vector<std::string> CallsOfAnEvent() {
        calls.clear();
        model->OnNotificationReceive(GetParam().id, {});
        return calls;
    }

    /** The number of log lines of an event with this number of listeners. */
    std::size_t EventsLoggedWith(const std::string& listeners) {
        return CountDebug(GetParam().eventText + listeners);
    }

    TestListener::Event Calls(const std::string& name) {
        return [this, name](AppListModel*) { calls.push_back(name); };
    }

    /** The event of a listener that first writes its name and then does @p more. */
    void Replace(TestListener& listener, const TestListener::Event& event) {
        listener.onSelection = listener.onChange = listener.onClicked = event;
    }

    std::vector<std::string> calls;
    TestListener a{Calls("A")};
    TestListener b{Calls("B")};
    TestListener c{Calls("C")};
};

INSTANTIATE_TEST_SUITE_P(OfKind, Listeners, testing::ValuesIn(KINDS), RowName<Kind>);

} // namespace

TEST_P(Listeners, AreCalledOncePerEventInTheOrderOfRegistration) {
    Add(b);
    Add(c);
    Add(a);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("B", "C", "A"));
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("B", "C", "A"));
    EXPECT_EQ(EventsLoggedWith("3"), 2U);
}

TEST_P(Listeners, ReceiveTheModelThatHoldsTheRegistration) {
    AppListModel* received = nullptr;
    Replace(a, [&](AppListModel* with) { received = with; });
    Add(a);
    CallsOfAnEvent();
    EXPECT_EQ(received, model.get());
}

TEST_P(Listeners, AreAddedWithALogLineThatNamesTheOperation) {
    Add(a);
    EXPECT_THAT(LogLines::All(),
                ElementsAre(Model(GetParam().addOperation, GetParam().addOperation)));
}

TEST_P(Listeners, AddedTwiceKeepTheirFirstPlaceAndAreLoggedTwice) {
    Add(a);
    Add(b);
    Add(a);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "B"));
    EXPECT_EQ(CountDebug(GetParam().addOperation), 3U);
}

TEST_P(Listeners, AddedTwiceAreRemovedByOneRemoval) {
    Add(a);
    Add(a);
    Remove(a);
    EXPECT_THAT(CallsOfAnEvent(), IsEmpty());
}

TEST_P(Listeners, AddedAgainAfterARemovalAreCalledLast) {
    Add(a);
    Add(b);
    Add(c);
    Remove(b);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "C"));
    Add(b);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "C", "B"));
}

TEST_P(Listeners, AreRemovedWithoutALogLine) {
    Add(a);
    CapturedLog::Clear();
    Remove(a);
    EXPECT_THAT(LogLines::All(), IsEmpty());
}

TEST_P(Listeners, NeverAddedAreRemovedWithoutEffectAndWithoutALogLine) {
    Add(a);
    CapturedLog::Clear();
    Remove(b);
    EXPECT_THAT(LogLines::All(), IsEmpty());
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A"));
}

TEST_P(Listeners, OfAKindWithoutARegistrationAreCountedAsZero) {
    EXPECT_THAT(CallsOfAnEvent(), IsEmpty());
    EXPECT_EQ(EventsLoggedWith("0"), 1U);
}

TEST_P(Listeners, RegisteredAfterAnEventDoNotReceiveIt) {
    CallsOfAnEvent();
    Add(a);
    EXPECT_THAT(calls, IsEmpty());
}

TEST_P(Listeners, OfOneKindReceiveOnlyTheEventsOfThatKind) {
    Add(a);
    for (const int id : {1, 2, 3, 4, 5}) {
        if (id != GetParam().id) {
            model->OnNotificationReceive(id, {});
        }
    }
    EXPECT_THAT(calls, IsEmpty());
}

TEST_P(Listeners, RemovedFromOneKindStayRegisteredForTheOthers) {
    for (const Kind& kind : KINDS) {
        kind.add(*model, &a);
    }
    Remove(a);
    for (const int id : {1, 2, 3}) {
        model->OnNotificationReceive(id, {});
    }
    EXPECT_THAT(calls, ElementsAre("A", "A"));
    EXPECT_THAT(CallsOfAnEvent(), IsEmpty());
}

TEST_P(Listeners, RegisteredAsNullAreCountedAndSkipped) {
    GetParam().add(*model, nullptr);
    Add(a);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A"));
    EXPECT_EQ(EventsLoggedWith("2"), 1U);
    GetParam().remove(*model, nullptr);
    CallsOfAnEvent();
    EXPECT_EQ(EventsLoggedWith("1"), 1U);
}

// Listeners that break their contract

TEST_P(Listeners, RemovedByAnotherListenerBeforeTheirTurnAreNotCalled) {
    Replace(a, [this](AppListModel*) {
        calls.emplace_back("A");
        Remove(c);
    });
    Add(a);
    Add(b);
    Add(c);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "B"));
}

TEST_P(Listeners, RemovedByTheFirstListenerAreNotCalled) {
    Replace(a, [this](AppListModel*) {
        calls.emplace_back("A");
        Remove(a);
        Remove(b);
        Remove(c);
    });
    Add(a);
    Add(b);
    Add(c);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A"));
    EXPECT_THAT(CallsOfAnEvent(), IsEmpty());
}

TEST_P(Listeners, ThatRemoveThemselvesAreNotCalledAgainUnlikeTheOthers) {
    Replace(b, [this](AppListModel*) {
        calls.emplace_back("B");
        Remove(b);
    });
    Add(a);
    Add(b);
    Add(c);
    // A call of C for this event is optional, because C has moved to the place of the called
    // listener.
    EXPECT_THAT(CallsOfAnEvent(),
                testing::AnyOf(ElementsAre("A", "B"), ElementsAre("A", "B", "C")));
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "C"));
}

TEST_P(Listeners, ThatRemoveThemselvesInLastPlaceAreNotCalledAgain) {
    Replace(b, [this](AppListModel*) {
        calls.emplace_back("B");
        Remove(b);
    });
    Add(a);
    Add(b);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "B"));
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A"));
}

TEST_P(Listeners, AddedDuringAnEventReceiveTheNextEventOnly) {
    Replace(a, [this](AppListModel*) {
        calls.emplace_back("A");
        Add(b);
    });
    Add(a);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A"));
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "B"));
}

TEST_P(Listeners, AddedInNumbersDuringAnEventLeaveTheOrderOfCallsIntact) {
    std::vector<std::unique_ptr<TestListener>> many;
    for (int i = 0; i < 1000; ++i) {
        many.push_back(std::make_unique<TestListener>());
    }
    Replace(a, [&](AppListModel*) {
        calls.emplace_back("A");
        for (const auto& listener : many) {
            Add(*listener);
        }
    });
    Add(a);
    Add(b);
    EXPECT_THAT(CallsOfAnEvent(), ElementsAre("A", "B"));
}

// One object of several kinds

TEST_F(ListTest, OneObjectOfTwoKindsIsCalledOncePerEventOfEachKind) {
    int selections = 0;
    int clicks = 0;
    TestListener listener;
    listener.onSelection = [&](AppListModel*) { ++selections; };
    listener.onClicked = [&](AppListModel*) { ++clicks; };
    model->AddItemSelectionListener(&listener);
    model->AddItemClickedListener(&listener);
    model->OnNotificationReceive(2, {});
    EXPECT_EQ(selections, 1);
    EXPECT_EQ(clicks, 0);
    model->OnNotificationReceive(3, {});
    EXPECT_EQ(selections, 1);
    EXPECT_EQ(clicks, 1);
}
