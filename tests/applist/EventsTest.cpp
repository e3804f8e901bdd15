// The partner's notifications over the bus: accepted and ignored ones, the effect of each, and
// malformed ones.
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ListTest.h"
#include "MainLoop.h"
#include "NamedRow.h"
#include "TestItem.h"
#include "TestListener.h"

namespace {

using namespace std::string_literals;
using LogLines::Adapter, LogLines::Model;
using testing::Contains, testing::ElementsAre, testing::IsEmpty, testing::Not, testing::StartsWith;

class Events : public ConnectedListTest {
protected:
    Events() {
        model->AddItemAtEnd(&item);
        model->SetSelection(&item);
        listener.AddTo(*model);
        requestsBefore = partner->Requests().size();
        CapturedLog::Clear();
    }

    /** The log without the line about the arrival of the signal, which contains a unique name. */
    std::vector<std::string> LogOfTheEvent() {
        std::vector<std::string> lines = LogLines::All();
        const std::string arrival =
            "3 javamw-dbus-remote.cpp cb_SignalCall > cb_SignalCall sender=";
        if (lines.empty() || lines.front().compare(0, arrival.size(), arrival) != 0) {
            ADD_FAILURE() << "the log does not begin with the signal's arrival";
            return lines;
        }
        lines.erase(lines.begin());
        return lines;
    }

    /** The event calls the listeners once, and changes nothing. */
    void ExpectOnlyACall(const std::string& call, const std::string& logged) {
        EXPECT_THAT(calls, ElementsAre(call));
        EXPECT_EQ(NewRequests(), 0U);
        EXPECT_THAT(model->GetAllItems(), ElementsAre(&item));
        EXPECT_EQ(model->GetSelection(), &item);
        EXPECT_THAT(LogOfTheEvent(),
                    ElementsAre(Adapter("HandleNotification", "IPC HandleNotification"),
                                Model("OnNotificationReceive", logged)));
    }

    std::size_t NewRequests() { return partner->Requests().size() - requestsBefore; }

    TestItem item{"A", "1"};
    std::vector<std::string> calls;
    TestListener listener{calls};
    std::size_t requestsBefore = 0;
};

TEST_F(Events, OfAChangeCallTheListenersAndLeaveTheListUnchanged) {
    Notify("\x01\0\0\0"s);
    ExpectOnlyACall("change", "ItemChageEvent from local model. Listeners :1");
}

TEST_F(Events, OfAClickCallTheListenersAndLeaveTheListUnchanged) {
    Notify("\x03\0\0\0"s);
    ExpectOnlyACall("click", "ItemClickedEvent from local model. Listeners :1");
}

TEST_F(Events, ArriveInTheOrderInWhichThePartnerSentThem) {
    for (const std::string& event : {"\x01\0\0\0"s, "\x03\0\0\0"s, "\x03\0\0\0"s, "\x01\0\0\0"s}) {
        partner->Notify(hostName, ByteVector(event));
    }
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return calls.size() == 4; }));
    EXPECT_THAT(calls, ElementsAre("change", "click", "click", "change"));
}

TEST_F(Events, RunOnTheThreadThatIteratesTheMainContext) {
    std::thread::id thread;
    listener.onChange = [&](AppListModel*) { thread = std::this_thread::get_id(); };
    Notify("\x01\0\0\0"s);
    EXPECT_EQ(thread, std::this_thread::get_id());
}

// Payloads

struct PayloadRow : NamedRow {
    std::string payload;
};

class EventsWithAPayload : public Events, public testing::WithParamInterface<PayloadRow> {};

TEST_P(EventsWithAPayload, AreHandledLikeEventsWithoutAPayload) {
    Notify(GetParam().payload + "\x01\0\0\0"s);
    ExpectOnlyACall("change", "ItemChageEvent from local model. Listeners :1");
}

INSTANTIATE_TEST_SUITE_P(Of, EventsWithAPayload,
                         testing::Values(PayloadRow{"OneByte", "x"}, PayloadRow{"AnItem", "A\n1\n"},
                                         PayloadRow{"AnotherId", "\x03\0\0\0"s},
                                         PayloadRow{"AMegabyte", std::string(1 << 20, 'x')}),
                         RowName<PayloadRow>);

TEST_F(Events, HaveTheirIdInTheLastFourBytes) {
    Notify("\x61\x62\x02\0\0\0"s);
    EXPECT_THAT(calls, ElementsAre("selection"));
}

// Unknown ids

struct UnknownRow : NamedRow {
    std::string bytes;
    std::string shown;
};

class EventsWithAnUnknownId : public Events, public testing::WithParamInterface<UnknownRow> {};

TEST_P(EventsWithAnUnknownId, AreLoggedAndIgnored) {
    Notify(GetParam().bytes);
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(NewRequests(), 0U);
    EXPECT_EQ(model->GetSelection(), &item);
    EXPECT_THAT(LogOfTheEvent(),
                ElementsAre(Adapter("HandleNotification", "IPC HandleNotification"),
                            Model("OnNotificationReceive",
                                  "Message received with unknown id=" + GetParam().shown)));
}

INSTANTIATE_TEST_SUITE_P(
    Of, EventsWithAnUnknownId,
    testing::Values(UnknownRow{"Zero", "\0\0\0\0"s, "0"}, UnknownRow{"Five", "\x05\0\0\0"s, "5"},
                    UnknownRow{"MinusOne", "\xFF\xFF\xFF\xFF"s, "-1"},
                    UnknownRow{"OneInTheHighestByte", "\0\0\0\x01"s, "16777216"},
                    UnknownRow{"TheLowest", "\0\0\0\x80"s, "-2147483648"},
                    UnknownRow{"TheHighest", "\xFF\xFF\xFF\x7F"s, "2147483647"},
                    UnknownRow{"ARequest", "\xD1\x07\0\0"s, "2001"}),
    RowName<UnknownRow>);

// Broken notifications

TEST_F(Events, WithoutAnIdCallNoListener) {
    for (const std::string& bytes : {""s, "\x01"s, "\x01\0\0"s}) {
        Notify(bytes);
    }
    EXPECT_THAT(calls, IsEmpty());
    EXPECT_EQ(CountError("Data corrupted. Does not contain message id."), 3U);
    EXPECT_THAT(LogLines::All(), Not(Contains(StartsWith("3 RemoteAppListModel.cpp"))));
}

TEST_F(Events, OfAnotherTypeCallNoListener) {
    partner->NotifyBody(hostName, g_variant_new("(s)", "text"));
    EXPECT_TRUE(
        MainLoop::IterateUntil([] { return CountError("Notification of type (s) dropped") == 1; }));
    Notify("\x01\0\0\0"s);
    EXPECT_THAT(calls, ElementsAre("change"));
}

TEST_F(Events, SentAsCallsAreAnsweredWithAnEmptyArrayAndCallNoListener) {
    for (const std::string& bytes : {"\x01\0\0\0"s, "x\x02\0\0\0"s, "abc"s}) {
        GVariant* reply = nullptr;
        std::thread caller([&] {
            reply = partner->Call(hostName, ByteVector(bytes), nullptr);
            g_main_context_wakeup(nullptr);
        });
        const auto answered = [] { return CountDebug("IPC HandleMessage") > 0; };
        EXPECT_TRUE(MainLoop::IterateUntil(answered));
        caller.join();
        ASSERT_NE(reply, nullptr);
        EXPECT_STREQ(g_variant_get_type_string(reply), "(ay)");
        g_autoptr(GVariant) array = g_variant_get_child_value(reply, 0);
        EXPECT_EQ(g_variant_n_children(array), 0U);
        g_variant_unref(reply);
        const bool hasId = bytes.size() >= 4;
        EXPECT_EQ(CountInfo("callbackMessageObject object is NULL"), hasId ? 1U : 0U);
        EXPECT_EQ(CountError("Data corrupted. Does not contain message id."), hasId ? 0U : 1U);
        CapturedLog::Clear();
    }
    EXPECT_THAT(calls, IsEmpty());
}

// A listener that throws

struct ThrowingRow : NamedRow {
    std::string event;
};

class EventsOfAThrowingListener : public Events, public testing::WithParamInterface<ThrowingRow> {};

TEST_P(EventsOfAThrowingListener, AreLoggedAsErrorsAndTheNextEventArrives) {
    TestListener thrower([](AppListModel*) { throw std::runtime_error("listener failed"); });
    model->RemoveItemChangeListener(&listener);
    model->RemoveItemSelectionListener(&listener);
    model->RemoveItemClickedListener(&listener);
    thrower.AddTo(*model);
    listener.AddTo(*model);
    Notify(GetParam().event);
    EXPECT_EQ(CountError("Exception in cb_SignalCall: listener failed"), 1U);
    EXPECT_THAT(calls, IsEmpty());
    thrower.onChange = thrower.onSelection = thrower.onClicked = nullptr;
    Notify(GetParam().event);
    EXPECT_EQ(calls.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Of, EventsOfAThrowingListener,
                         testing::Values(ThrowingRow{"Change", "\x01\0\0\0"s},
                                         ThrowingRow{"Selection", "\x02\0\0\0"s},
                                         ThrowingRow{"Click", "\x03\0\0\0"s}),
                         RowName<ThrowingRow>);

} // namespace
