// Random edits of a store and its partner; the partner is stopped, killed and replaced. Each signal
// is checked, and at each quiet point the list and the selection of both sides are equal.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "DisturbedPartner.h"
#include "Hex.h"
#include "Options.h"
#include "PrivateBus.h"
#include "QuietHost.h"
#include "RandomSteps.h"
#include "SharedBus.h"
#include "StoreHost.h"

namespace {

constexpr const char* SUMMARY =
    "Makes random edits of a store and random selections by its partner, a process that\n"
    "is stopped and continued, killed and replaced. Every signal items-changed is compared\n"
    "with a copy of the list. Every 20 steps both sides become quiet, and their lists and\n"
    "selections are compared.\n"
    "\n"
    "Exit status: 0 all equal, 1 a difference, 2 bad arguments.";

[[noreturn]] void Fail(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::exit(1);
}

class RandomStore {
public:
    explicit RandomStore(std::uint64_t seed) : m_random(seed), m_host(Fail) {}

    void Step();
    void Compare();
    std::map<std::string, unsigned long> Done() const;

private:
    std::size_t Pick(std::size_t count) { return m_random() % count; }
    std::string AnyId() { return std::string(1, "abcdefghijklmnopqrst"[Pick(20)]); }
    std::string AnyName() { return std::to_string(Pick(3)); }
    StoreCalls::Items AnyItems();

    void Edit();
    void Count(const char* change, const std::string& error);

    std::mt19937_64 m_random;
    StoreHost m_host;
    AppListStore* const m_store = m_host.Store();
    DisturbedPartner m_partner{m_random};
    std::map<std::string, unsigned long> m_done;
};

void RandomStore::Step() {
    const std::size_t kind = Pick(100);
    if (kind < 85) {
        Edit();
    } else if (kind < 95) {
        m_partner.Select(20);
    } else {
        m_partner.Disturb();
    }
    while (Pick(3) == 0 && g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    m_host.Strict().Check("the next step");
    m_done["signals items-changed"] += m_host.Strict().TakeRanges().size();
}

void RandomStore::Count(const char* change, const std::string& error) {
    ++m_done[change + std::string(error.empty() ? "" : ", rejected")];
}

void RandomStore::Edit() {
    const StoreCalls::Items items = AnyItems();
    switch (Pick(9)) {
    case 0:
    case 1:
        return Count("set items", StoreCalls::Set(m_store, items));
    case 2:
        return Count("append items", StoreCalls::Append(m_store, items));
    case 3:
        return Count("remove", StoreCalls::Remove(m_store, AnyId()));
    case 4:
        return Count("replace", StoreCalls::Replace(m_store, AnyId(), AnyId(), AnyName()));
    case 5:
        return Count("select", StoreCalls::Select(m_store, AnyId()));
    case 6:
        return Count("click", StoreCalls::Click(m_store, AnyId()));
    case 7:
        if (Pick(10) == 0) {
            Count("remove all", StoreCalls::RemoveAll(m_store));
        }
        return;
    default:
        return Count("append", StoreCalls::Append(m_store, {{AnyId(), AnyName()}}));
    }
}

// Every other time the ids are in order, so that items stay.
StoreCalls::Items RandomStore::AnyItems() {
    std::string ids = "abcdefghijklmnopqrst";
    std::shuffle(ids.begin(), ids.end(), m_random);
    ids.resize(Pick(15));
    if (Pick(2) == 0) {
        std::sort(ids.begin(), ids.end());
    }
    StoreCalls::Items items = StoreCalls::Letters(ids);
    for (auto& [id, name] : items) {
        name = AnyName();
    }
    return items;
}

void RandomStore::Compare() {
    m_partner.Continue();
    std::pair<std::string, std::string> partner;
    const bool equal = m_host.WaitUntil([&] {
        partner = m_partner.List();
        return partner == m_host.Records();
    });
    if (!equal) {
        const auto [list, selection] = m_host.Records();
        Fail("host " + Hex::Of(list) + " selection " + Hex::Of(selection) + ", partner " +
             Hex::Of(partner.first) + " selection " + Hex::Of(partner.second));
    }
    ++m_done["comparisons"];
}

std::map<std::string, unsigned long> RandomStore::Done() const {
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
    RandomStore run(static_cast<std::uint64_t>(seed));
    MakeRandomSteps(run, steps);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%" PRId64 " steps in %.1f s, all equal\n", steps, took.count());
    SharedBus::WaitUntilReleased();
    return quiet.Criticals() == 0 ? 0 : 1;
}
