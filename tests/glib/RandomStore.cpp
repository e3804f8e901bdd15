// Random edits of a store and its partner; the partner is stopped, killed and replaced. Each signal
// is checked, and at each quiet point the list and the selection of both sides are equal.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "RandomEdits.h"
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

class RandomStore : public RandomEdits<StoreHost> {
public:
    explicit RandomStore(std::uint64_t seed) : RandomEdits(seed, Fail) {}

private:
    void Edit() override;
    void EndStep() override;

    std::string AnyId() { return std::string(1, AnyLetter()); }
    std::string AnyName() { return std::to_string(Pick(3)); }
    StoreCalls::Items AnyItems();
    void CountError(const char* change, const std::string& error) { Count(change, error.empty()); }

    AppListStore* const m_store = m_host.Store();
};

void RandomStore::EndStep() {
    while (Pick(3) == 0 && g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    m_host.Strict().Check("the next step");
    m_done["signals items-changed"] += m_host.Strict().TakeRanges().size();
}

void RandomStore::Edit() {
    const StoreCalls::Items items = AnyItems();
    switch (Pick(9)) {
    case 0:
    case 1:
        return CountError("set items", StoreCalls::Set(m_store, items));
    case 2:
        return CountError("append items", StoreCalls::Append(m_store, items));
    case 3:
        return CountError("remove", StoreCalls::Remove(m_store, AnyId()));
    case 4:
        return CountError("replace", StoreCalls::Replace(m_store, AnyId(), AnyId(), AnyName()));
    case 5:
        return CountError("select", StoreCalls::Select(m_store, AnyId()));
    case 6:
        return CountError("click", StoreCalls::Click(m_store, AnyId()));
    case 7:
        if (Pick(10) == 0) {
            CountError("remove all", StoreCalls::RemoveAll(m_store));
        }
        return;
    default:
        return CountError("append", StoreCalls::Append(m_store, {{AnyId(), AnyName()}}));
    }
}

StoreCalls::Items RandomStore::AnyItems() {
    StoreCalls::Items items = StoreCalls::Letters(AnyLetters());
    for (auto& [id, name] : items) {
        name = AnyName();
    }
    return items;
}

} // namespace

int main(int argc, char** argv) {
    return RunRandomEdits<RandomStore>(argc, argv, SUMMARY);
}
