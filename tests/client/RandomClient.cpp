// Random edits of a host and its partner; the partner is stopped, killed and replaced. At each
// quiet point the lists of the client, the partner and a plain vector are equal, and both
// selections.
#include <stdexcept>
#include <string>
#include <vector>

#include "ClientHost.h"
#include "ExpectedItems.h"
#include "Hex.h"
#include "RandomEdits.h"

namespace {

constexpr const char* SUMMARY =
    "Makes random edits by a client and random selections by its partner, a process that\n"
    "is stopped and continued, killed and replaced. Every 20 steps both sides become\n"
    "quiet, and their lists and selections are compared. The list of a plain vector with\n"
    "the same edits is compared as well. A new partner has the list of the library's model.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

class RandomClient : public RandomEdits<ClientHost> {
public:
    using RandomEdits::RandomEdits;

private:
    void Edit() override;
    void CheckHost() override;

    std::string AnyId() { return std::string(1, AnyLetter()); }
    std::string AnyName() { return std::to_string(Pick(1000)); }
    AppListClient::Item AnyItem() { return {AnyId(), AnyName()}; }
    std::vector<AppListClient::Item> AnyItems();
    void OverflowQueue();

    ExpectedItems m_expected;
};

void RandomClient::Edit() {
    AppListClient& client = m_host.Client();
    const std::string id = AnyId();
    const AppListClient::Item item = AnyItem();
    const std::vector<AppListClient::Item> items = AnyItems();
    switch (Pick(9)) {
    case 0:
        client.SetItems(items);
        m_expected.Set(items);
        return Count("set items");
    case 1:
        client.AddItems(items);
        m_expected.Add(items);
        return Count("add items");
    case 2:
        client.RemoveItem(id);
        m_expected.Remove(id);
        return Count("remove item");
    case 3:
        client.ModifyItem(id, item);
        m_expected.Modify(id, item);
        return Count("modify item");
    case 4:
        client.SetSelection(id);
        return Count("set selection");
    case 5:
        client.SetClicked(id);
        return Count("set clicked");
    case 6:
        if (Pick(10) == 0) {
            client.RemoveAllItems();
            m_expected.Clear();
            Count("remove all items");
        }
        return;
    case 7:
        if (Pick(20) == 0) {
            OverflowQueue();
            Count("more changes than the queue holds");
        }
        return;
    default:
        client.AddItemAtEnd(item);
        m_expected.Add({item});
        return Count("add item at end");
    }
}

void RandomClient::OverflowQueue() {
    for (std::size_t i = 0; i < AppListClient::QUEUE_LENGTH + 50; ++i) {
        const std::string id = AnyId();
        const AppListClient::Item item = AnyItem();
        m_host.Client().ModifyItem(id, item);
        m_expected.Modify(id, item);
        m_host.Client().SetSelection(AnyId());
    }
}

std::vector<AppListClient::Item> RandomClient::AnyItems() {
    std::vector<AppListClient::Item> items = LetterItems(AnyLetters());
    for (AppListClient::Item& item : items) {
        item.visibleName = AnyName();
    }
    return items;
}

void RandomClient::CheckHost() {
    const std::string list = m_host.Records().first;
    if (list != m_expected.Stream()) {
        throw std::runtime_error("host " + Hex::Of(list) + ", expected " +
                                 Hex::Of(m_expected.Stream()));
    }
}

} // namespace

int main(int argc, char** argv) {
    return RunRandomEdits<RandomClient>(argc, argv, SUMMARY);
}
