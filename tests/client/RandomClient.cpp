// Random edits of a host and its partner; the partner is stopped, killed and replaced. At each
// quiet point the lists of the client, the partner and a plain vector are equal, and both
// selections.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ClientHost.h"
#include "DisturbedPartner.h"
#include "ExpectedItems.h"
#include "Hex.h"
#include "Options.h"
#include "PrivateBus.h"
#include "QuietHost.h"
#include "RandomSteps.h"
#include "Records.h"
#include "SharedBus.h"

namespace {

constexpr const char* SUMMARY =
    "Makes random edits by a client and random selections by its partner, a process that\n"
    "is stopped and continued, killed and replaced. Every 20 steps both sides become\n"
    "quiet, and their lists and selections are compared. The list of a plain vector with\n"
    "the same edits is compared as well. A new partner has the list of the library's model.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

class RandomClient {
public:
    explicit RandomClient(std::uint64_t seed) : m_random(seed) {}

    void Step();
    void Compare();
    std::map<std::string, unsigned long> Done() const;

private:
    std::size_t Pick(std::size_t count) { return m_random() % count; }
    std::string AnyId() { return std::string(1, "abcdefghijklmnopqrst"[Pick(20)]); }
    AppListClient::Item AnyItem() { return {AnyId(), std::to_string(Pick(1000))}; }
    std::vector<AppListClient::Item> AnyItems();

    void Edit();
    void SetItems(const std::vector<AppListClient::Item>& items);
    void AddItems(const std::vector<AppListClient::Item>& items);
    void AddItemAtEnd(const AppListClient::Item& item);
    void RemoveItem(const std::string& uniqueId);
    void ModifyItem(const std::string& uniqueId, const AppListClient::Item& item);
    void RemoveAllItems();
    void OverflowQueue();

    std::mt19937_64 m_random;
    ClientHost m_host;
    ExpectedItems m_expected;
    DisturbedPartner m_partner{m_random};
    std::map<std::string, unsigned long> m_done;
};

void RandomClient::Step() {
    const std::size_t kind = Pick(100);
    if (kind < 85) {
        Edit();
    } else if (kind < 95) {
        m_partner.Select(100);
    } else {
        m_partner.Disturb();
    }
}

void RandomClient::Edit() {
    switch (Pick(9)) {
    case 0:
        SetItems(AnyItems());
        return;
    case 1:
        AddItems(AnyItems());
        return;
    case 2:
        RemoveItem(AnyId());
        return;
    case 3:
        ++m_done["modify item"];
        ModifyItem(AnyId(), AnyItem());
        return;
    case 4:
        ++m_done["set selection"];
        m_host.Client().SetSelection(AnyId());
        return;
    case 5:
        ++m_done["set clicked"];
        m_host.Client().SetClicked(AnyId());
        return;
    case 6:
        if (Pick(10) == 0) {
            RemoveAllItems();
        }
        return;
    case 7:
        if (Pick(20) == 0) {
            OverflowQueue();
        }
        return;
    default:
        ++m_done["add item at end"];
        AddItemAtEnd(AnyItem());
        return;
    }
}

void RandomClient::SetItems(const std::vector<AppListClient::Item>& items) {
    ++m_done["set items"];
    m_host.Client().SetItems(items);
    m_expected.Set(items);
}

void RandomClient::AddItems(const std::vector<AppListClient::Item>& items) {
    ++m_done["add items"];
    m_host.Client().AddItems(items);
    m_expected.Add(items);
}

void RandomClient::AddItemAtEnd(const AppListClient::Item& item) {
    m_host.Client().AddItemAtEnd(item);
    m_expected.Add({item});
}

void RandomClient::RemoveItem(const std::string& uniqueId) {
    ++m_done["remove item"];
    m_host.Client().RemoveItem(uniqueId);
    m_expected.Remove(uniqueId);
}

void RandomClient::ModifyItem(const std::string& uniqueId, const AppListClient::Item& item) {
    m_host.Client().ModifyItem(uniqueId, item);
    m_expected.Modify(uniqueId, item);
}

void RandomClient::RemoveAllItems() {
    ++m_done["remove all items"];
    m_host.Client().RemoveAllItems();
    m_expected.Clear();
}

void RandomClient::OverflowQueue() {
    ++m_done["more changes than the queue holds"];
    for (std::size_t i = 0; i < AppListClient::QUEUE_LENGTH + 50; ++i) {
        ModifyItem(AnyId(), AnyItem());
        m_host.Client().SetSelection(AnyId());
    }
}

std::vector<AppListClient::Item> RandomClient::AnyItems() {
    std::map<std::string, AppListClient::Item> items;
    for (std::size_t count = Pick(12); count > 0; --count) {
        const AppListClient::Item item = AnyItem();
        items[std::to_string(Pick(100))] = item;
    }
    std::vector<AppListClient::Item> list;
    std::map<std::string, bool> ids;
    for (const auto& [key, item] : items) {
        if (!std::exchange(ids[item.uniqueId], true)) {
            list.push_back(item);
        }
    }
    return list;
}

void RandomClient::Compare() {
    m_partner.Continue();
    std::pair<std::string, std::string> partner;
    const bool equal = m_host.WaitUntil([&] {
        partner = m_partner.List();
        return partner == m_host.Records();
    });
    if (m_host.Records().first != m_expected.Stream()) {
        throw std::runtime_error("host " + Hex::Of(m_host.Records().first) + ", expected " +
                                 Hex::Of(m_expected.Stream()));
    }
    if (!equal) {
        const auto [list, selection] = m_host.Records();
        throw std::runtime_error("host " + Hex::Of(list) + " selection " + Hex::Of(selection) +
                                 ", partner " + Hex::Of(partner.first) + " selection " +
                                 Hex::Of(partner.second));
    }
    ++m_done["comparisons"];
}

std::map<std::string, unsigned long> RandomClient::Done() const {
    std::map<std::string, unsigned long> done = m_partner.Done();
    done.insert(m_done.begin(), m_done.end());
    return done;
}

} // namespace

int main(int argc, char** argv) {
    gint64 steps = 100000;
    gint64 seed = std::random_device()();
    ParseOptions(argc, argv, SUMMARY,
                 {NumberOption("steps", steps, "Make so many steps (100000)"),
                  NumberOption("seed", seed, "Repeat the choices of this seed")});
    QuietHost quiet;
    const PrivateBus bus;
    std::printf("seed %" PRId64 "\n", seed);
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    RandomClient run(static_cast<std::uint64_t>(seed));
    MakeRandomSteps(run, steps);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%" PRId64 " steps in %.1f s, all equal\n", steps, took.count());
    SharedBus::WaitUntilReleased();
    return quiet.Criticals() == 0 ? 0 : 1;
}
