// Arbitrary sequences of the host's operations and the partner's events, against the plain model:
// list, selection and every request to the partner are the same after each.
#include <array>
#include <memory>

#include <applist/RemoteAppListModel.h>

#include "ExpectedList.h"
#include "Target.h"

namespace {

constexpr std::size_t ITEMS = 16;

class Operations {
public:
    explicit Operations(Choices& choices) : m_choices(choices) {
        // Few ids, so that many items share one; one of them empty.
        for (std::size_t i = 0; i < ITEMS; ++i) {
            const std::string id(i / 4, static_cast<char>('a' + i % 3));
            m_items[i] = std::make_unique<PlainItem>(choices.Text(), i == 15 ? choices.Text() : id);
        }
    }

    void Step() {
        const int operation = m_choices.Byte() % 10;
        PlainItem* const item = Item();
        switch (operation) {
        case 0:
            m_plain.Expect(m_plain.AddItemAtEnd(item));
            m_model.AddItemAtEnd(item);
            break;
        case 1:
            AddBatch(item);
            break;
        case 2:
            m_plain.Expect(m_plain.RemoveItem(item));
            m_model.RemoveItem(item);
            break;
        case 3:
            Modify(item, Item());
            break;
        case 4:
            m_plain.Expect(m_plain.SetSelection(item));
            m_model.SetSelection(item);
            break;
        case 5:
            m_plain.Expect(m_plain.SetClicked(item));
            m_model.SetClicked(item);
            break;
        case 6:
            m_plain.Expect(m_plain.RemoveAllItems());
            m_model.RemoveAllItems();
            break;
        case 7:
            SelectionEvent(item == nullptr ? m_choices.Text() : item->Bytes());
            break;
        case 8:
            m_plain.CreatedEvent();
            m_model.OnNotificationReceive(4, {});
            break;
        default:
            m_model.OnNotificationReceive(m_choices.Byte() % 2 == 0 ? 1 : 3, {});
            break;
        }
        ExpectTheSame();
    }

private:
    /** One of the items, or null. */
    PlainItem* Item() {
        const std::size_t choice = m_choices.Byte() % (ITEMS + 1);
        return choice == ITEMS ? nullptr : m_items[choice].get();
    }

    void AddBatch(PlainItem* first) {
        std::vector<PlainItem*> batch = {first};
        for (int more = m_choices.Byte() % 6; more > 0; --more) {
            batch.push_back(Item());
        }
        m_plain.Expect(m_plain.AddItems(batch));
        m_model.AddItems({batch.begin(), batch.end()});
    }

    void Modify(PlainItem* oldItem, PlainItem* newItem) {
        m_plain.Expect(m_plain.ModifyItem(oldItem, newItem));
        m_model.ModifyItem(oldItem, newItem);
    }

    void SelectionEvent(const std::string& answer) {
        JavaMWDbusRemote::Current()->reply = BytesOf(answer);
        m_plain.SelectionEvent(answer);
        m_model.OnNotificationReceive(2, {});
    }

    void ExpectTheSame() {
        const std::vector<AppListItem*> expected(m_plain.items.begin(), m_plain.items.end());
        FUZZ_EXPECT(m_model.GetAllItems() == expected);
        FUZZ_EXPECT(m_model.GetItemsCount() == static_cast<int>(expected.size()));
        FUZZ_EXPECT(m_model.GetSelection() == m_plain.selection);
        FUZZ_EXPECT(JavaMWDbusRemote::Current()->requests == m_plain.requests);
        JavaMWDbusRemote::Current()->requests.clear();
        m_plain.requests.clear();
    }

    Choices& m_choices;
    std::array<std::unique_ptr<PlainItem>, ITEMS> m_items;
    ExpectedList m_plain;
    RemoteAppListModel m_model;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    Operations operations(choices);
    while (choices.AreLeft()) {
        operations.Step();
    }
    return 0;
}
