// Items and item streams.
#include <benchmark/benchmark.h>

#include "LocalModel.h"

namespace {

void SerializeItem(benchmark::State& state) {
    const LocalItems items(1);
    RemoteAppListModel& model = LocalModel();
    for (auto _ : state) {
        benchmark::DoNotOptimize(model.Serialize(items.Pointers().front()));
    }
}

void SerializeList(benchmark::State& state) {
    const LocalItems items(state.range(0));
    RemoteAppListModel& model = LocalModel();
    for (auto _ : state) {
        benchmark::DoNotOptimize(model.Serialize(items.Pointers()));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void DeserializeList(benchmark::State& state) {
    const LocalItems items(state.range(0));
    RemoteAppListModel& model = LocalModel();
    const std::string stream = model.Serialize(items.Pointers());
    const std::vector<char> bytes(stream.begin(), stream.end());
    for (auto _ : state) {
        benchmark::DoNotOptimize(model.Deserialize(bytes));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(SerializeItem);
BENCHMARK(SerializeList)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(DeserializeList)->Arg(1)->Arg(10)->Arg(100)->Arg(1000);

} // namespace
