// The store on a bus of its own, with a partner process: signals, selection, failures, its end.
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "GLibLog.h"
#include "Hex.h"
#include "MainLoop.h"
#include "NamedRow.h"
#include "PartnerProcess.h"
#include "PrivateBus.h"
#include "Records.h"
#include "SharedBus.h"
#include "StoreHost.h"

namespace {

using StoreCalls::Letters;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class Store : public testing::Test {
protected:
    void StartPartner(const std::vector<std::string>& options = {"--created"}) {
        m_partner = std::make_unique<PartnerProcess>(options);
        ASSERT_TRUE(m_host.WaitForEvent("notify connected"));
    }

    bool IsConnected() {
        gboolean isConnected = FALSE;
        g_object_get(m_store, "connected", &isConnected, nullptr);
        return isConnected != FALSE;
    }

    bool WaitUntilEqual() {
        return m_host.WaitUntil([&] { return m_partner->List() == m_host.Records(); });
    }

    void PartnerSelects(const std::string& id) {
        m_partner->Ask("select " + (id.empty() ? "-" : Hex::Of(Records::Write({id, id}))));
        m_partner->Ask("notify " + Hex::Of(Records::Frame("", Records::SELECTION_EVENT)));
    }

    std::vector<std::string> TakeEvents() { return std::exchange(m_host.events, {}); }

    PrivateBus m_bus;
    StoreHost m_host;
    AppListStore* const m_store = m_host.Store();
    std::unique_ptr<PartnerProcess> m_partner;
};

TEST_F(Store, RefusesAMissingArrayAndAMissingEntry) {
    const GLibLog log;
    AppListEntry* const none = nullptr;
    EXPECT_FALSE(applist_store_set_items(m_store, nullptr, 1, nullptr));
    EXPECT_FALSE(applist_store_append_items(m_store, &none, 1, nullptr));
    EXPECT_THAT(log.Messages(), Contains(testing::HasSubstr("entries != nullptr")));
    EXPECT_THAT(log.Messages(), Contains(testing::HasSubstr("APPLIST_IS_ENTRY")));
    EXPECT_EQ(g_list_model_get_n_items(G_LIST_MODEL(m_store)), 0U);
}

// The last reference to a removed entry is released between two ranges of the same change.
TEST_F(Store, RefusesChangesByTheEndOfARemovedEntry) {
    struct Change {
        AppListStore* store;
        std::string error = "none";
    } change{m_store};
    StoreCalls::Set(m_store, Letters("abcde"));
    auto* const first = G_OBJECT(g_list_model_get_item(G_LIST_MODEL(m_store), 0));
    g_object_weak_ref(
        first,
        [](void* data, GObject* /*entry*/) {
            auto& attempt = *static_cast<Change*>(data);
            attempt.error = StoreCalls::RemoveAll(attempt.store);
        },
        &change);
    g_object_unref(first);
    StoreCalls::Set(m_store, Letters("bce"));
    EXPECT_THAT(change.error, testing::HasSubstr("must not change the list"));
    EXPECT_EQ(m_host.Records().first, "b\nb\nc\nc\ne\ne\n");
}

TEST_F(Store, SendsTheWholeListAndTheSelectionToANewPartner) {
    StoreCalls::Append(m_store, Letters("abc"));
    StoreCalls::Select(m_store, "b");
    StartPartner();
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_partner->List().second, "b\nb\n");
}

TEST_F(Store, SendsEachChange) {
    StartPartner();
    StoreCalls::Set(m_store, Letters("abc"));
    EXPECT_TRUE(WaitUntilEqual());
    StoreCalls::Append(m_store, Letters("d"));
    StoreCalls::Append(m_store, Letters("ef"));
    EXPECT_TRUE(WaitUntilEqual());
    StoreCalls::Replace(m_store, "a", "x", "other");
    StoreCalls::Remove(m_store, "b");
    StoreCalls::Select(m_store, "x");
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_host.Ids(), "xcdef");
    StoreCalls::RemoveAll(m_store);
    EXPECT_TRUE(WaitUntilEqual());
    EXPECT_EQ(m_host.Ids(), "");
}

struct ChangeRow : NamedRow {
    std::function<void(AppListStore*)> change; // of the list a b c d
    std::vector<std::string> ranges;
    const char* ids;
};

class SmallestRange : public Store, public testing::WithParamInterface<ChangeRow> {};

TEST_P(SmallestRange, IsEmitted) {
    StoreCalls::Set(m_store, Letters("abcd"));
    m_host.Strict().TakeRanges();
    GetParam().change(m_store);
    EXPECT_EQ(m_host.Strict().TakeRanges(), GetParam().ranges);
    EXPECT_EQ(m_host.Ids(), GetParam().ids);
}

// clang-format off
const std::vector<ChangeRow> CHANGES{
    {{"Append"}, [](auto* s) { StoreCalls::Append(s, Letters("e")); }, {"4-0+1"}, "abcde"},
    {{"AppendItems"}, [](auto* s) { StoreCalls::Append(s, Letters("efg")); }, {"4-0+3"}, "abcdefg"},
    {{"AppendNothing"}, [](auto* s) { StoreCalls::Append(s, {}); }, {}, "abcd"},
    {{"Remove"}, [](auto* s) { StoreCalls::Remove(s, "b"); }, {"1-1+0"}, "acd"},
    {{"Replace"}, [](auto* s) { StoreCalls::Replace(s, "c", "x", "x"); }, {"2-1+1"}, "abxd"},
    {{"RemoveAll"}, [](auto* s) { StoreCalls::RemoveAll(s); }, {"0-4+0"}, ""},
    {{"SetEqual"}, [](auto* s) { StoreCalls::Set(s, Letters("abcd")); }, {}, "abcd"},
    {{"SetWithNewEnds"}, [](auto* s) { StoreCalls::Set(s, Letters("xabcdy")); },
     {"0-0+1", "5-0+1"}, "xabcdy"},
    {{"SetWithoutTheMiddle"}, [](auto* s) { StoreCalls::Set(s, Letters("ad")); }, {"1-2+0"}, "ad"},
    {{"SetMoved"}, [](auto* s) { StoreCalls::Set(s, Letters("dabc")); }, {"3-1+0", "0-0+1"}, "dabc"},
    {{"SetWithAnotherName"}, [](auto* s) {
         StoreCalls::Set(s, {{"a", "a"}, {"b", "other"}, {"c", "c"}, {"d", "d"}});
     }, {"1-1+1"}, "abcd"},
    {{"SetNothing"}, [](auto* s) { StoreCalls::Set(s, {}); }, {"0-4+0"}, ""},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(, SmallestRange, testing::ValuesIn(CHANGES), RowName<ChangeRow>);

TEST_F(Store, KeepsTheEntriesThatStay) {
    StoreCalls::Set(m_store, Letters("abc"));
    AppListEntry* const entry = applist_store_find(m_store, "c", nullptr);
    StoreCalls::Set(m_store, Letters("cxa"));
    guint position = 7;
    EXPECT_EQ(applist_store_find(m_store, "c", &position), entry);
    EXPECT_EQ(position, 0U);
    EXPECT_EQ(applist_store_find(m_store, "b", &position), nullptr);
    EXPECT_EQ(position, G_MAXUINT);
}

TEST_F(Store, RejectsInvalidChangesAndLeavesTheList) {
    StoreCalls::Set(m_store, Letters("ab"));
    TakeEvents();
    const char* const present = "the unique id 'a' is in the list";
    const char* const unknown = "the list has no item with the unique id 'z'";
    EXPECT_EQ(StoreCalls::Append(m_store, Letters("ca")), present);
    EXPECT_EQ(StoreCalls::Append(m_store, Letters("a")), present);
    EXPECT_EQ(StoreCalls::Set(m_store, Letters("aa")), present);
    EXPECT_EQ(StoreCalls::Append(m_store, {{"", "name"}}), "the unique id is empty");
    EXPECT_EQ(StoreCalls::Append(m_store, {{"c", "two\nlines"}}),
              "a text of the item has a line feed");
    EXPECT_EQ(StoreCalls::Replace(m_store, "b", "a", "a"), present);
    EXPECT_EQ(StoreCalls::Replace(m_store, "z", "c", "c"), unknown);
    EXPECT_EQ(StoreCalls::Remove(m_store, "z"), unknown);
    EXPECT_EQ(StoreCalls::Select(m_store, "z"), unknown);
    EXPECT_EQ(StoreCalls::Click(m_store, "z"), unknown);
    EXPECT_THAT(TakeEvents(), IsEmpty());
    EXPECT_EQ(m_host.Ids(), "ab");
}

TEST_F(Store, RefusesAChangeByAHandlerOfItemsChanged) {
    std::vector<std::string> errors;
    m_host.onEvent = [&](const std::string& event) {
        if (event == "items-changed") {
            errors = {StoreCalls::Append(m_store, Letters("z")),
                      StoreCalls::Remove(m_store, "a"),
                      StoreCalls::Set(m_store, {}),
                      StoreCalls::RemoveAll(m_store),
                      StoreCalls::Replace(m_store, "a", "y", "y"),
                      StoreCalls::Select(m_store, "a")};
        }
    };
    StoreCalls::Append(m_store, Letters("ab"));
    const char* const refusal = "a handler of items-changed must not change the list";
    EXPECT_THAT(errors, ElementsAre(refusal, refusal, refusal, refusal, refusal, ""));
    EXPECT_EQ(m_host.Ids(), "ab");
    EXPECT_EQ(m_host.Selected(), "a");
}

TEST_F(Store, MayChangeInAHandlerOfANotification) {
    m_host.onEvent = [&](const std::string& event) {
        if (event == "notify n-items" && m_host.Ids().size() < 4) {
            StoreCalls::Append(m_store, Letters(m_host.Ids() == "a" ? "b" : "cd"));
        }
    };
    StoreCalls::Append(m_store, Letters("a"));
    EXPECT_EQ(m_host.Ids(), "abcd");
    StartPartner();
    EXPECT_TRUE(WaitUntilEqual());
}

TEST_F(Store, NotifiesTheSelectionOfTheHostOnce) {
    StoreCalls::Set(m_store, Letters("abc"));
    TakeEvents();
    applist_store_set_selected(m_store, 1);
    EXPECT_THAT(TakeEvents(), ElementsAre("notify selected", "notify selected-item"));
    EXPECT_EQ(m_host.Selected(), "b");
    applist_store_set_selected(m_store, 1);
    applist_store_set_selected(m_store, 3);
    applist_store_set_selected(m_store, G_MAXUINT);
    EXPECT_THAT(TakeEvents(), IsEmpty());
    EXPECT_EQ(applist_store_get_selected(m_store), 1U);

    StoreCalls::Remove(m_store, "a");
    EXPECT_THAT(TakeEvents(), ElementsAre("items-changed", "notify n-items", "notify selected"));
    EXPECT_EQ(applist_store_get_selected(m_store), 0U);
    StoreCalls::Remove(m_store, "b");
    EXPECT_THAT(TakeEvents(), ElementsAre("items-changed", "notify n-items", "notify selected",
                                          "notify selected-item"));
    EXPECT_EQ(applist_store_get_selected(m_store), G_MAXUINT);
}

// Another object that lost its selection with the removed entry selects it again.
TEST_F(Store, NotifiesTheSelectionAgainAfterItsEntryWasReplacedOrMoved) {
    StoreCalls::Set(m_store, Letters("abc"));
    StoreCalls::Select(m_store, "b");
    TakeEvents();
    StoreCalls::Replace(m_store, "b", "b", "other");
    EXPECT_THAT(TakeEvents(),
                ElementsAre("items-changed", "notify selected", "notify selected-item"));
    StoreCalls::Set(m_store, {{"c", "c"}, {"b", "other"}, {"a", "a"}});
    EXPECT_THAT(TakeEvents(), Contains("notify selected"));
    EXPECT_EQ(applist_store_get_selected(m_store), 1U);
}

TEST_F(Store, ShowsTheSelectionOfThePartner) {
    StoreCalls::Set(m_store, Letters("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    TakeEvents();
    PartnerSelects("c");
    ASSERT_TRUE(m_host.WaitForEvent("notify selected-item"));
    EXPECT_THAT(TakeEvents(), ElementsAre("notify selected", "notify selected-item"));
    EXPECT_EQ(applist_store_get_selected(m_store), 2U);
    PartnerSelects("");
    ASSERT_TRUE(m_host.WaitForEvent("notify selected-item"));
    EXPECT_EQ(applist_store_get_selected(m_store), G_MAXUINT);
    EXPECT_EQ(m_host.Selected(), "");
}

// The client has the partner's selection before the main context has dispatched the report.
TEST_F(Store, HasThePartnersSelectionInAHandlerOfARange) {
    StoreCalls::Set(m_store, Letters("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    std::string selected;
    m_host.onEvent = [&](const std::string& event) {
        if (event == "items-changed") {
            selected = m_host.Selected();
        }
    };
    m_partner->Ask("choose 2");
    EXPECT_TRUE(MainLoop::WaitWithoutIterating([&] {
        StoreCalls::Append(m_store, Letters("d"));
        StoreCalls::Remove(m_store, "d");
        return selected == "c";
    }));
}

TEST_F(Store, RequestsNoSelectionForThePositionThatAViewWritesBack) {
    StoreCalls::Set(m_store, Letters("abc"));
    StartPartner({"--created", "--keep-requests"});
    ASSERT_TRUE(WaitUntilEqual());
    m_partner->Requests();
    m_host.onEvent = [&](const std::string& event) {
        if (event == "notify selected") {
            applist_store_set_selected(m_store, applist_store_get_selected(m_store));
        }
    };
    m_partner->Ask("choose 1");
    ASSERT_TRUE(m_host.WaitForEvent("notify selected-item"));
    StoreCalls::Click(m_store, "a"); // after each earlier request
    std::vector<int> ids;
    ASSERT_TRUE(m_host.WaitUntil([&] {
        for (const std::string& request : m_partner->Requests()) {
            ids.push_back(Records::IdOf(request));
        }
        return !ids.empty() && ids.back() == Records::SET_CLICKED;
    }));
    EXPECT_THAT(ids, testing::Not(Contains(Records::SET_SELECTION)));
}

TEST_F(Store, NotifiesTheConnection) {
    EXPECT_EQ(applist_store_is_connected(m_store), FALSE);
    StartPartner();
    EXPECT_EQ(applist_store_is_connected(m_store), TRUE);
    TakeEvents();
    m_partner->Kill();
    ASSERT_TRUE(m_host.WaitForEvent("notify connected"));
    EXPECT_EQ(applist_store_is_connected(m_store), FALSE);
}

TEST_F(Store, ReportsClicksAndChangesOfThePartner) {
    StoreCalls::Set(m_store, Letters("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    TakeEvents();
    m_partner->Ask("notify " + Hex::Of(Records::Frame("", Records::CLICKED_EVENT)));
    PartnerSelects("c");
    for (const int id : {Records::CLICKED_EVENT, Records::CHANGE_EVENT}) {
        m_partner->Ask("notify " + Hex::Of(Records::Frame("", id)));
    }
    ASSERT_TRUE(m_host.WaitForEvent("partner-changed"));
    EXPECT_THAT(m_host.events, ElementsAre("clicked nothing", "notify selected",
                                           "notify selected-item", "clicked c", "partner-changed"));
}

TEST_F(Store, ReportsTheOutcomeOfEachCallInOrder) {
    StoreCalls::Set(m_store, Letters("ab"));
    ASSERT_TRUE(m_host.WaitForEvent("outcome no-partner: no partner is connected"));
    m_partner =
        std::make_unique<PartnerProcess>(std::vector<std::string>{"--kill-at", "request-seen"});
    ASSERT_TRUE(m_host.WaitForEvent("notify connected"));
    StoreCalls::Click(m_store, "a");
    ASSERT_TRUE(m_host.WaitUntil([&] {
        return m_host.events.back().rfind("outcome failed: GDBus.Error", 0) == 0 ||
               m_host.events.end()[-2].rfind("outcome failed: GDBus.Error", 0) == 0;
    }));
    m_partner->WaitForExit();
    ASSERT_TRUE(m_host.WaitUntil([&] { return !IsConnected(); }));
    TakeEvents();
    StartPartner();
    StoreCalls::Click(m_store, "a");
    StoreCalls::Remove(m_store, "b");
    ASSERT_TRUE(m_host.WaitForEvent("outcome answered"));
}

// The loop of GTK's applications. The partner reports no new list: the refill after such a report
// could cross its selection.
TEST_F(Store, RunsInTheLoopOfAnApplication) {
    m_partner = std::make_unique<PartnerProcess>();
    const std::unique_ptr<GApplication, void (*)(void*)> application(
        g_application_new(nullptr, G_APPLICATION_NON_UNIQUE), g_object_unref);
    m_host.onEvent = [&](const std::string& event) {
        if (event == "notify connected") {
            StoreCalls::Set(m_store, Letters("abc"));
        } else if (event == "outcome answered") {
            m_partner->SendCommand("choose 1");
        } else if (event == "notify selected-item") {
            g_application_release(application.get());
        }
    };
    const auto hold = [](GApplication* held, void* /*data*/) { g_application_hold(held); };
    g_signal_connect(application.get(), "activate", G_CALLBACK(+hold), nullptr);
    EXPECT_EQ(g_application_run(application.get(), 0, nullptr), 0);
    m_host.onEvent = nullptr;
    EXPECT_EQ(m_host.Selected(), "b");
}

TEST_F(Store, HasThePropertiesOfAListModel) {
    StoreCalls::Set(m_store, Letters("ab"));
    guint count = 0;
    GType type = G_TYPE_INVALID;
    guint selected = 0;
    gboolean isConnected = TRUE;
    g_autoptr(AppListEntry) item = nullptr;
    g_object_get(m_store, "n-items", &count, "item-type", &type, "selected", &selected,
                 "selected-item", &item, "connected", &isConnected, nullptr);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(type, APPLIST_TYPE_ENTRY);
    EXPECT_EQ(selected, G_MAXUINT);
    EXPECT_EQ(item, nullptr);
    EXPECT_EQ(isConnected, FALSE);
    g_object_set(m_store, "selected", 1U, nullptr);
    EXPECT_EQ(m_host.Selected(), "b");
}

TEST(Entry, HasItsIdAndItsName) {
    g_autoptr(AppListEntry) entry = applist_entry_new("clock.01", "Clock");
    EXPECT_STREQ(applist_entry_get_id(entry), "clock.01");
    EXPECT_STREQ(applist_entry_get_name(entry), "Clock");
    g_autofree char* id = nullptr;
    g_autofree char* name = nullptr;
    g_object_get(entry, "id", &id, "name", &name, nullptr);
    EXPECT_STREQ(id, "clock.01");
    EXPECT_STREQ(name, "Clock");
}

// The end of a store

TEST_F(Store, StaysReadableAfterItsDisposal) {
    StoreCalls::Set(m_store, Letters("ab"));
    StartPartner();
    g_object_run_dispose(G_OBJECT(m_store));
    EXPECT_EQ(applist_store_is_connected(m_store), FALSE);
    EXPECT_EQ(g_list_model_get_n_items(G_LIST_MODEL(m_store)), 2U);
    for (const std::string& error :
         {StoreCalls::Append(m_store, Letters("c")), StoreCalls::Remove(m_store, "a"),
          StoreCalls::Set(m_store, {}), StoreCalls::RemoveAll(m_store),
          StoreCalls::Replace(m_store, "a", "b", "c"), StoreCalls::Select(m_store, "a"),
          StoreCalls::Click(m_store, "a")}) {
        EXPECT_EQ(error, "the store has ended");
    }
    applist_store_set_selected(m_store, 0);
    EXPECT_EQ(m_host.Selected(), "");
    StoreHost next; // a process has one store at a time
    EXPECT_TRUE(next.WaitForEvent("notify connected"));
}

struct EndRow : NamedRow {
    const char* event;
};

class EndOfAStore : public Store, public testing::WithParamInterface<EndRow> {};

TEST_P(EndOfAStore, MayComeInAHandler) {
    StoreCalls::Set(m_store, Letters("abc"));
    StartPartner();
    ASSERT_TRUE(WaitUntilEqual());
    GObject* watched = G_OBJECT(m_store);
    g_object_add_weak_pointer(watched, reinterpret_cast<gpointer*>(&watched));
    m_host.onEvent = [&](const std::string& event) {
        if (event == GetParam().event) {
            m_host.onEvent = nullptr;
            m_host.Release();
        }
    };
    PartnerSelects("c");
    m_partner->Ask("notify " + Hex::Of(Records::Frame("", Records::CLICKED_EVENT)));
    m_partner->Ask("notify " + Hex::Of(Records::Frame("", Records::CHANGE_EVENT)));
    const std::string event = GetParam().event;
    if (event == "items-changed" || event == "notify n-items" || event == "outcome answered") {
        StoreCalls::Remove(m_store, "a");
    } else if (event == "notify connected") {
        m_partner->Kill();
    }
    EXPECT_TRUE(MainLoop::IterateUntil([&] { return watched == nullptr; }));
    EXPECT_THAT(m_host.events, Contains(event));
}

const std::vector<EndRow> END_EVENTS{
    {{"ItemsChanged"}, "items-changed"},     {{"Count"}, "notify n-items"},
    {{"Selected"}, "notify selected"},       {{"SelectedItem"}, "notify selected-item"},
    {{"Connected"}, "notify connected"},     {{"Clicked"}, "clicked c"},
    {{"PartnerChanged"}, "partner-changed"}, {{"Outcome"}, "outcome answered"}};

INSTANTIATE_TEST_SUITE_P(, EndOfAStore, testing::ValuesIn(END_EVENTS), RowName<EndRow>);

TEST(StoreLife, MayEndAtAnyMoment) {
    const PrivateBus bus;
    const PartnerProcess partner({"--created"});
    for (int i = 0; i < 30; ++i) {
        StoreHost host;
        StoreCalls::Append(host.Store(), Letters("ab"));
        int iterations = 0;
        host.WaitUntil([&] { return ++iterations > i; });
    }
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

TEST(StoreLife, MayEndOnAnotherThreadDuringEvents) {
    const PrivateBus bus;
    const PartnerProcess partner({"--created"});
    for (int i = 0; i < 20; ++i) {
        AppListStore* const store = applist_store_new();
        for (int change = 0; change < i; ++change) {
            StoreCalls::Set(store, Letters(change % 2 == 0 ? "ab" : "ba"));
        }
        bool hasEnded = false;
        std::thread other([&] { g_object_unref(store); });
        std::thread ending([&] {
            other.join();
            hasEnded = true;
        });
        MainLoop::IterateUntilIdle();
        ending.join();
        EXPECT_TRUE(hasEnded);
    }
    MainLoop::IterateUntilIdle();
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

TEST(StoreLife, EmitsItsSignalsInTheContextOfItsConstructor) {
    const PrivateBus bus;
    const PartnerProcess partner({"--created"});
    std::thread::id thread;
    std::thread other([&] {
        GMainContext* const context = g_main_context_new();
        g_main_context_push_thread_default(context);
        {
            StoreHost host;
            while (host.events.empty()) {
                g_main_context_iteration(context, TRUE);
            }
            thread = std::this_thread::get_id();
            EXPECT_THAT(host.events, ElementsAre("notify connected"));
            host.Release();
        }
        g_main_context_pop_thread_default(context);
        g_main_context_unref(context);
    });
    other.join();
    EXPECT_NE(thread, std::this_thread::get_id());
    EXPECT_TRUE(SharedBus::WaitUntilReleased());
}

// The model of the checks is wrong in each way.

TEST(StrictListModel, ReportsEachWrongSignal) {
    GListStore* const list = g_list_store_new(APPLIST_TYPE_ENTRY);
    GListModel* const model = G_LIST_MODEL(list);
    const auto fill = [&](const std::string& ids) {
        g_signal_handlers_block_matched(list, G_SIGNAL_MATCH_DATA, 0, 0, nullptr, nullptr, list);
        g_list_store_remove_all(list);
        for (const auto& [id, name] : Letters(ids)) {
            g_autoptr(AppListEntry) entry = applist_entry_new(id.c_str(), name.c_str());
            g_list_store_append(list, entry);
        }
    };
    std::vector<std::string> violations;
    const auto report = [&](const std::string& violation) { violations.push_back(violation); };
    const auto after = [&](const std::function<void()>& signal) {
        fill("abc");
        violations.clear();
        StrictListModel strict(model, report);
        signal();
        return violations.empty() ? "" : violations.front();
    };
    EXPECT_EQ(after([&] { g_list_store_remove(list, 1); }), "");
    EXPECT_EQ(after([&] { g_list_model_items_changed(model, 4, 0, 0); }),
              "items-changed: 4-0+0 leaves the list of 3 items");
    EXPECT_EQ(after([&] { g_list_model_items_changed(model, 2, 2, 2); }),
              "items-changed: 2-2+2 leaves the list of 3 items");
    EXPECT_EQ(after([&] { g_list_model_items_changed(model, 1, 0, 0); }),
              "items-changed: 1-0+0 is empty");
    EXPECT_EQ(after([&] { g_list_model_items_changed(model, 1, 0, 1); }),
              "items-changed: 1-0+1 on 3 items leaves 3");
    EXPECT_EQ(after([&] { g_list_model_items_changed(model, 1, 1, 1); }),
              "items-changed: 1-1+1 is not the smallest range");
    g_object_unref(list);
}

} // namespace
