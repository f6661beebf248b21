// ZrDictionary against std::unordered_map<std::u16string, int> on 100,000 share-shaped keys, and the
// ZrUniString patterns the configuration parser leans on. Each dictionary benchmark times both tables in
// the same iteration and reports ns per operation for each and their ratio (ours / std).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/container/zrdictionary.h"
#include "foundation/string/zrunistring.h"

namespace {

// The machine is shared: time is this thread's CPU time, so a side that was descheduled does not look
// slower than the other. Page faults still count (they are system time of this thread).
struct Clock {
    using time_point = std::chrono::nanoseconds;
    static time_point now() {
        timespec ts;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
        return std::chrono::seconds(ts.tv_sec) + std::chrono::nanoseconds(ts.tv_nsec);
    }
};
using Pair = ZrDDAssoc<ZrUniString, int>;
using Dict = ZrDictionary<Pair>;
using StdMap = std::unordered_map<std::u16string, int>;

constexpr int kKeys = 100000;

std::string KeyText(int i) {
    return "nfsserver/shares/smb/user" + std::to_string(i / 100) + "/host" +
           std::to_string(i / 10 % 10 + 40) + "/share" + std::to_string(i % 10) + "/winname";
}

struct KeySet {
    std::vector<ZrUniString> keys, queries;
    std::vector<std::u16string> stdKeys, stdQueries;

    KeySet() {
        std::vector<int> order(kKeys);
        for (int i = 0; i < kKeys; ++i)
            order[i] = i;
        for (int i = 0; i < kKeys; ++i) {
            keys.emplace_back(KeyText(i).c_str());
            stdKeys.emplace_back(keys.back().View());
        }
        // Lookups use separately built strings in another order, so every hit compares real text.
        std::shuffle(order.begin(), order.end(), std::mt19937(1));
        for (int i : order) {
            queries.emplace_back(KeyText(i).c_str());
            stdQueries.emplace_back(queries.back().View());
        }
    }
};

const KeySet& Keys() {
    static const KeySet set;
    return set;
}

double Seconds(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
}

void Report(benchmark::State& state, double zr, double ref, int64_t ops) {
    state.counters["zr_ns_per_op"] = zr * 1e9 / double(ops);
    state.counters["std_ns_per_op"] = ref * 1e9 / double(ops);
    state.counters["ratio"] = ref > 0 ? zr / ref : 0;
}

void BM_Insert100k(benchmark::State& state) {
    const KeySet& k = Keys();
    double zr = 0, ref = 0;
    for (auto _ : state) {
        auto t0 = Clock::now();
        {
            Dict dict;
            for (int i = 0; i < kKeys; ++i)
                (void)dict.Insert(new Pair(k.keys[i], i)); // the key set holds no repeats
            benchmark::DoNotOptimize(dict.Count());
            state.PauseTiming(); // destruction is not part of the insert cost
            auto t1 = Clock::now();
            zr += Seconds(t0, t1);
        }
        state.ResumeTiming();
        t0 = Clock::now();
        {
            StdMap map;
            for (int i = 0; i < kKeys; ++i)
                map.emplace(k.stdKeys[i], i);
            benchmark::DoNotOptimize(map.size());
            state.PauseTiming();
            auto t1 = Clock::now();
            ref += Seconds(t0, t1);
        }
        state.ResumeTiming();
    }
    Report(state, zr, ref, int64_t(state.iterations()) * kKeys);
}
BENCHMARK(BM_Insert100k)->Unit(benchmark::kMillisecond);

void BM_Find100k(benchmark::State& state) {
    const KeySet& k = Keys();
    Dict dict;
    StdMap map;
    for (int i = 0; i < kKeys; ++i) {
        (void)dict.Insert(new Pair(k.keys[i], i)); // the key set holds no repeats
        map.emplace(k.stdKeys[i], i);
    }
    double zr = 0, ref = 0;
    for (auto _ : state) {
        int64_t sum = 0;
        auto t0 = Clock::now();
        for (const ZrUniString& q : k.queries)
            sum += dict.Find(q)->Value();
        auto t1 = Clock::now();
        for (const std::u16string& q : k.stdQueries)
            sum -= map.find(q)->second;
        auto t2 = Clock::now();
        if (sum != 0)
            state.SkipWithError("lookups disagree");
        zr += Seconds(t0, t1);
        ref += Seconds(t1, t2);
    }
    Report(state, zr, ref, int64_t(state.iterations()) * kKeys);
}
BENCHMARK(BM_Find100k)->Unit(benchmark::kMillisecond);

void BM_Find100kMisses(benchmark::State& state) {
    const KeySet& k = Keys();
    Dict dict;
    StdMap map;
    for (int i = 0; i < kKeys; i += 2) {
        (void)dict.Insert(new Pair(k.keys[i], i)); // the key set holds no repeats
        map.emplace(k.stdKeys[i], i);
    }
    double zr = 0, ref = 0;
    for (auto _ : state) {
        int64_t found = 0;
        auto t0 = Clock::now();
        for (const ZrUniString& q : k.queries)
            found += dict.Find(q) != nullptr;
        auto t1 = Clock::now();
        for (const std::u16string& q : k.stdQueries)
            found -= map.find(q) != map.end();
        auto t2 = Clock::now();
        if (found != 0)
            state.SkipWithError("lookups disagree");
        zr += Seconds(t0, t1);
        ref += Seconds(t1, t2);
    }
    Report(state, zr, ref, int64_t(state.iterations()) * kKeys);
}
BENCHMARK(BM_Find100kMisses)->Unit(benchmark::kMillisecond);

void BM_UniStringFromShortUtf8(benchmark::State& state) {
    for (auto _ : state) {
        ZrUniString s("share6");
        benchmark::DoNotOptimize(s.Data());
    }
}
BENCHMARK(BM_UniStringFromShortUtf8);

void BM_StdU16StringFromShortLiteral(benchmark::State& state) {
    for (auto _ : state) {
        std::u16string s(u"share6");
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_StdU16StringFromShortLiteral);

// One unit at a time into a fresh string, as the parser fills keys and values; reported per unit.
void BM_UniStringAppendUnit(benchmark::State& state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        ZrUniString s;
        for (uint32_t i = 0; i < n; ++i)
            s.Append(ZrUniChar(u'a' + i % 26));
        benchmark::DoNotOptimize(s.Data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * n);
    state.counters["ns_per_unit"] = benchmark::Counter(
        double(state.iterations()) * n, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_UniStringAppendUnit)->Arg(64)->Arg(4096);

void BM_StdU16StringPushBack(benchmark::State& state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    for (auto _ : state) {
        std::u16string s;
        for (uint32_t i = 0; i < n; ++i)
            s.push_back(char16_t(u'a' + i % 26));
        benchmark::DoNotOptimize(s.data());
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * n);
    state.counters["ns_per_unit"] = benchmark::Counter(
        double(state.iterations()) * n, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_StdU16StringPushBack)->Arg(64)->Arg(4096);

} // namespace

BENCHMARK_MAIN();
