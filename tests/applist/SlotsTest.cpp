// The virtual tables that installed hosts were compiled against: the position of each operation,
// and calls by the position alone.
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <applist/AppListModel.h>
#include <applist/ItemChangeListener.h>
#include <applist/ItemClickListener.h>
#include <applist/ItemSelectionListener.h>
#include <applist/RemoteAppListModel.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestItem.h"
#include "TestListener.h"
#include "VirtualSlot.h"

namespace {

static_assert(std::has_virtual_destructor<AppListModel>::value, "the proxy deletes through it");
static_assert(std::has_virtual_destructor<ItemSelectionListener>::value, "");
static_assert(std::has_virtual_destructor<ItemChangeListener>::value, "");
static_assert(std::has_virtual_destructor<ItemClickListener>::value, "");
static_assert(std::is_abstract<AppListModel>::value, "");
static_assert(std::is_abstract<ItemSelectionListener>::value, "");
static_assert(std::is_abstract<ItemChangeListener>::value, "");
static_assert(std::is_abstract<ItemClickListener>::value, "");
static_assert(sizeof(AppListModel) == sizeof(void*), "no data");
static_assert(sizeof(AppListItem) == sizeof(void*), "no data");

using ItemPointer = AppListItem*;
using Items = std::vector<AppListItem*>;

/** Records the called operation and its arguments. */
class RecordingModel : public AppListModel {
public:
    explicit RecordingModel(std::string& call) : m_call(call) {}

    void SetSelection(AppListItem* item) override { Record("SetSelection", item); }
    AppListItem* GetSelection() override {
        Record("GetSelection");
        return SELECTION;
    }
    Items GetAllItems() override {
        Record("GetAllItems");
        return {SELECTION, SELECTION};
    }
    void SetClicked(AppListItem* item) override { Record("SetClicked", item); }
    void RemoveAllItems() override { Record("RemoveAllItems"); }
    void AddItems(const Items& items) override { Record("AddItems", &items); }
    void AddItemAtEnd(AppListItem* item) override { Record("AddItemAtEnd", item); }
    void RemoveItem(AppListItem* item) override { Record("RemoveItem", item); }
    void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override {
        Record("ModifyItem", oldItem, newItem);
    }
    int GetItemsCount() override {
        Record("GetItemsCount");
        return 42;
    }
    void AddItemSelectionListener(ItemSelectionListener* listener) override {
        Record("AddItemSelectionListener", listener);
    }
    void RemoveItemSelectionListener(ItemSelectionListener* listener) override {
        Record("RemoveItemSelectionListener", listener);
    }
    void AddItemChangeListener(ItemChangeListener* listener) override {
        Record("AddItemChangeListener", listener);
    }
    void RemoveItemChangeListener(ItemChangeListener* listener) override {
        Record("RemoveItemChangeListener", listener);
    }
    void AddItemClickedListener(ItemClickListener* listener) override {
        Record("AddItemClickedListener", listener);
    }
    void RemoveItemClickedListener(ItemClickListener* listener) override {
        Record("RemoveItemClickedListener", listener);
    }
    ~RecordingModel() override { Record("destructor"); }

    static AppListItem* const SELECTION;

private:
    void Record(const std::string& name, const void* first = nullptr,
                const void* second = nullptr) {
        m_call = name;
        m_first = first;
        m_second = second;
    }

    std::string& m_call;

public:
    const void* m_first = nullptr;
    const void* m_second = nullptr;
};

TestItem theSelection("S", "s");
AppListItem* const RecordingModel::SELECTION = &theSelection;

class ModelSlots : public testing::Test {
protected:
    /** Calls the operation at the index with a pointer, and checks that it arrived. */
    std::string CalledWith(int index) {
        const char argument = 0;
        VirtualSlot::At<void(AppListModel*, const void*)>(base, index)(base, &argument);
        EXPECT_EQ(model->m_first, &argument);
        return call;
    }

    std::string call;
    RecordingModel* model = new RecordingModel(call);
    AppListModel* base = model;
    ~ModelSlots() override { delete model; }
};

} // namespace

TEST(ItemSlots, AreNameThenIdThenTheDestructor) {
    EXPECT_EQ(VirtualSlot::Of(&AppListItem::GetVisibleName), 0);
    EXPECT_EQ(VirtualSlot::Of(&AppListItem::GetUnigueId), 1);
    bool deleted = false;
    auto* const item = new TestItem("A", "1");
    item->onDeleted = [&] { deleted = true; };
    AppListItem* const base = item;
    EXPECT_EQ(VirtualSlot::At<std::string(AppListItem*)>(base, 0)(base), "A");
    EXPECT_EQ(VirtualSlot::At<std::string(AppListItem*)>(base, 1)(base), "1");
    // The destructor's second entry deletes.
    VirtualSlot::At<void(AppListItem*)>(base, 3)(base);
    EXPECT_TRUE(deleted);
}

TEST_F(ModelSlots, PassTheirArgumentsToTheOperations) {
    EXPECT_EQ(CalledWith(0), "SetSelection");
    EXPECT_EQ(VirtualSlot::At<AppListItem*(AppListModel*)>(base, 1)(base),
              RecordingModel::SELECTION);
    EXPECT_EQ(call, "GetSelection");
    EXPECT_EQ(VirtualSlot::At<Items(AppListModel*)>(base, 2)(base).size(), 2U);
    EXPECT_EQ(call, "GetAllItems");
    EXPECT_EQ(CalledWith(3), "SetClicked");
    VirtualSlot::At<void(AppListModel*)>(base, 4)(base);
    EXPECT_EQ(call, "RemoveAllItems");
    EXPECT_EQ(CalledWith(5), "AddItems");
    EXPECT_EQ(CalledWith(6), "AddItemAtEnd");
    EXPECT_EQ(CalledWith(7), "RemoveItem");
    VirtualSlot::At<void(AppListModel*, const void*, const void*)>(base, 8)(base, &call, this);
    EXPECT_EQ(call, "ModifyItem");
    EXPECT_EQ(model->m_first, &call);
    EXPECT_EQ(model->m_second, this);
    EXPECT_EQ(VirtualSlot::At<int(AppListModel*)>(base, 9)(base), 42);
    EXPECT_EQ(call, "GetItemsCount");
    EXPECT_EQ(CalledWith(10), "AddItemSelectionListener");
    EXPECT_EQ(CalledWith(11), "RemoveItemSelectionListener");
    EXPECT_EQ(CalledWith(12), "AddItemChangeListener");
    EXPECT_EQ(CalledWith(13), "RemoveItemChangeListener");
    EXPECT_EQ(CalledWith(14), "AddItemClickedListener");
    EXPECT_EQ(CalledWith(15), "RemoveItemClickedListener");
}

TEST_F(ModelSlots, EndWithTheDestructor) {
    VirtualSlot::At<void(AppListModel*)>(base, 17)(base);
    model = nullptr;
    EXPECT_EQ(call, "destructor");
}

TEST(ModelSlotNumbers, FollowTheDeclaration) {
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::SetSelection), 0);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::GetSelection), 1);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::GetAllItems), 2);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::SetClicked), 3);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::RemoveAllItems), 4);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::AddItems), 5);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::AddItemAtEnd), 6);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::RemoveItem), 7);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::ModifyItem), 8);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::GetItemsCount), 9);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::AddItemSelectionListener), 10);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::RemoveItemSelectionListener), 11);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::AddItemChangeListener), 12);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::RemoveItemChangeListener), 13);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::AddItemClickedListener), 14);
    EXPECT_EQ(VirtualSlot::Of(&AppListModel::RemoveItemClickedListener), 15);
}

TEST(ModelSlotNumbers, ExcludeTheModelsOwnMembers) {
    EXPECT_EQ(VirtualSlot::Of(&RemoteAppListModel::RemoveRemoteAllItems), -1);
    using SendCopy = void (RemoteAppListModel::*)(int, const std::string&);
    using SendAndFree = void (RemoteAppListModel::*)(int, std::string&&);
    EXPECT_EQ(VirtualSlot::Of<SendCopy>(&RemoteAppListModel::SendMessageToRemote), -1);
    EXPECT_EQ(VirtualSlot::Of<SendAndFree>(&RemoteAppListModel::SendMessageToRemote), -1);
    EXPECT_EQ(VirtualSlot::Of(&RemoteAppListModel::GetRemoteSelectionData), -1);
    EXPECT_EQ(VirtualSlot::Of(&RemoteAppListModel::OnNotificationReceive), -1);
    using Records = std::vector<RemoteAppListItem>;
    EXPECT_EQ(VirtualSlot::Of<Records (RemoteAppListModel::*)(const std::vector<char>&)>(
                  &RemoteAppListModel::Deserialize),
              -1);
}

TEST(ListenerSlots, StartWithTheEvent) {
    EXPECT_EQ(VirtualSlot::Of(&ItemSelectionListener::OnItemSelectionEvent), 0);
    EXPECT_EQ(VirtualSlot::Of(&ItemChangeListener::OnItemChangeEvent), 0);
    EXPECT_EQ(VirtualSlot::Of(&ItemClickListener::OnItemClickedEvent), 0);
}

TEST(ListenerSlots, AcceptACallBySlotNumberThroughEachBaseOfAnObject) {
    std::vector<std::string> calls;
    TestListener listener(calls);
    ItemSelectionListener* const selection = &listener;
    ItemChangeListener* const change = &listener;
    ItemClickListener* const click = &listener;
    VirtualSlot::At<void(void*, AppListModel*)>(selection, 0)(selection, nullptr);
    VirtualSlot::At<void(void*, AppListModel*)>(change, 0)(change, nullptr);
    VirtualSlot::At<void(void*, AppListModel*)>(click, 0)(click, nullptr);
    EXPECT_THAT(calls, testing::ElementsAre("selection", "change", "click"));
}
