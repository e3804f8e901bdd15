// The local part of AddItems with items that are all new: each is looked for among all before it,
// so the work grows with the square of their number.
#include <benchmark/benchmark.h>

#include "LocalModel.h"

namespace {

void AddItems(benchmark::State& state) {
    const LocalItems items(state.range(0));
    RemoteAppListModel& model = LocalModel();
    for (auto _ : state) {
        model.AddItems(items.Pointers());
        // This time is negligible; a pause of the clock would cost more.
        model.RemoveAllItems();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

BENCHMARK(AddItems)->Arg(10)->Arg(100)->Arg(1000)->Arg(3000)->Unit(benchmark::kMicrosecond);

} // namespace
