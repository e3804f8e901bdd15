// Bytes to and from the bus's type, and the message frame.
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <gio/gio.h>

#include <ipc/ByteArray.h>
#include <ipc/MessageFraming.h>

namespace {

void ToVariant(benchmark::State& state) {
    const std::vector<char> data(static_cast<std::size_t>(state.range(0)), 'd');
    for (auto _ : state) {
        GVariant* const body = g_variant_ref_sink(ByteArray::ToVariant(data));
        benchmark::DoNotOptimize(body);
        g_variant_unref(body);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void FromVariant(benchmark::State& state) {
    const std::vector<char> data(static_cast<std::size_t>(state.range(0)), 'd');
    GVariant* const body = g_variant_ref_sink(ByteArray::ToVariant(data));
    std::vector<char> bytes;
    for (auto _ : state) {
        std::vector<char> fresh;
        ByteArray::FromVariant(body, fresh);
        benchmark::DoNotOptimize(fresh.data());
    }
    g_variant_unref(body);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// As a request is framed: payload, then the id.
void FrameMessage(benchmark::State& state) {
    const std::string payload(static_cast<std::size_t>(state.range(0)), 'p');
    for (auto _ : state) {
        std::vector<char> message;
        message.reserve(payload.size() + MessageFraming::ID_SIZE);
        message.assign(payload.begin(), payload.end());
        MessageFraming::AppendId(message, 2005);
        benchmark::DoNotOptimize(message.data());
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void RemoveId(benchmark::State& state) {
    std::vector<char> message(static_cast<std::size_t>(state.range(0)), 'm');
    for (auto _ : state) {
        std::int32_t id = 0;
        MessageFraming::RemoveId(message, id);
        benchmark::DoNotOptimize(id);
        message.resize(message.size() + MessageFraming::ID_SIZE);
    }
}

constexpr int SMALL = 41;
constexpr int KIB = 1024;

BENCHMARK(ToVariant)->Arg(SMALL)->Arg(4 * KIB)->Arg(64 * KIB)->Arg(KIB* KIB);
BENCHMARK(FromVariant)->Arg(0)->Arg(SMALL)->Arg(4 * KIB)->Arg(64 * KIB)->Arg(KIB* KIB);
BENCHMARK(FrameMessage)->Arg(SMALL)->Arg(4 * KIB)->Arg(64 * KIB)->Arg(KIB* KIB);
BENCHMARK(RemoveId)->Arg(SMALL);

} // namespace
