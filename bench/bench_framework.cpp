// The framework's hot paths next to plain references from the same run: little-endian encoding of a
// message-sized record against hand-written byte shifting, one polling wait over 64 readable pipes
// against a bare pselect over the same descriptors, and the wake-up latency of a safe event set from
// another thread against a hand-written pselect loop on a pipe. Each pair prints its ratio.
#include "framework/dispatch/dispatch.h"
#include "framework/encoding/encodingstream.h"
#include "framework/kiv/kivwaitset.h"
#include "framework/platform/dispatcher.h"
#include "framework/waitable/event.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <sys/select.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

std::map<std::string, double>& Timings() {
    static std::map<std::string, double> timings;
    return timings;
}

constexpr int kFields = 32;

void BM_LEEncoder(benchmark::State& state) {
    uint8_t out[kFields * 4];
    for (auto _ : state) {
        encoding::LEEncodingBufferStream stream{buffer::Buffer(out, sizeof out)};
        for (unsigned int i = 0; i < kFields; ++i)
            stream.Write(i * 0x01010101u);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_LEEncoder);

void BM_ReferenceByteShifting(benchmark::State& state) {
    uint8_t out[kFields * 4];
    for (auto _ : state) {
        uint8_t* p = out;
        for (unsigned int i = 0; i < kFields; ++i) {
            const uint32_t v = i * 0x01010101u;
            *p++ = uint8_t(v);
            *p++ = uint8_t(v >> 8);
            *p++ = uint8_t(v >> 16);
            *p++ = uint8_t(v >> 24);
        }
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_ReferenceByteShifting);

struct Pipes {
    std::vector<int> readEnds;
    std::vector<int> writeEnds;
    explicit Pipes(int n) {
        for (int i = 0; i < n; ++i) {
            int fds[2];
            if (pipe(fds) != 0)
                break;
            readEnds.push_back(fds[0]);
            writeEnds.push_back(fds[1]);
            if (write(fds[1], "x", 1) != 1)
                break;
        }
    }
    ~Pipes() {
        for (int fd : readEnds)
            close(fd);
        for (int fd : writeEnds)
            close(fd);
    }
};

constexpr int kPipes = 64;

void BM_KivWaitSetPoll(benchmark::State& state) {
    Pipes pipes(kPipes);
    KivWaitSet set;
    KivStatus setUp = KivWaitSetInit(&set);
    std::vector<KivPosixFdWait> waits(pipes.readEnds.size());
    std::vector<KivWaitSetEntry> entries(pipes.readEnds.size());
    for (size_t i = 0; i < waits.size() && setUp == KIV_OK; ++i) {
        setUp = KivPosixFdWaitInit(&waits[i], KIV_WAIT_FD_READ, pipes.readEnds[i]);
        if (setUp == KIV_OK)
            setUp = KivWaitSetAdd(&set, &waits[i], &entries[i]);
    }
    if (setUp != KIV_OK)
        state.SkipWithError("the wait set could not be set up");
    std::vector<KivWaitSetEntry*> ready(entries.size());
    for (auto _ : state) {
        uint64_t count = ready.size();
        KivStatus status = KivWaitSetWait(&set, ready.data(), &count, 0);
        benchmark::DoNotOptimize(status);
        benchmark::DoNotOptimize(count);
    }
    (void)KivWaitSetTerminate(&set); // the set is going away either way
}
BENCHMARK(BM_KivWaitSetPoll);

void BM_ReferencePselect(benchmark::State& state) {
    Pipes pipes(kPipes);
    fd_set watched;
    FD_ZERO(&watched);
    int highest = -1;
    for (int fd : pipes.readEnds) {
        FD_SET(fd, &watched);
        highest = std::max(highest, fd);
    }
    std::vector<int> ready(pipes.readEnds.size());
    for (auto _ : state) {
        fd_set copy = watched;
        const timespec zero{};
        pselect(highest + 1, &copy, nullptr, nullptr, &zero, nullptr);
        size_t n = 0;
        for (int fd : pipes.readEnds)
            if (FD_ISSET(fd, &copy))
                ready[n++] = fd;
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_ReferencePselect);

// Wake-up latency: the benchmark thread stamps the time and wakes the loop thread, whose handler
// stamps the time again and publishes it; the thread then sleeps until that acknowledgement, so
// exactly one wake-up is in flight. Both sides stamp at the start of the handler and drain the pipe
// after, and both wait for the acknowledgement the same way (a futex through std::atomic::wait).
int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

struct Handshake {
    std::atomic<int64_t> wokeAt{0};
    std::atomic<uint64_t> acks{0};
    std::atomic<bool> stop{false};

    void Acknowledge(int64_t at) {
        wokeAt.store(at, std::memory_order_relaxed);
        acks.fetch_add(1, std::memory_order_release);
        acks.notify_one();
    }
    void AwaitAck(uint64_t previous) {
        uint64_t now;
        while ((now = acks.load(std::memory_order_acquire)) == previous)
            acks.wait(previous, std::memory_order_acquire);
    }
};

// Sets the sample percentiles (in ns) as counters; kept for the ratio lines as well.
void ReportLatency(benchmark::State& state, std::vector<int64_t>& samples) {
    if (samples.empty())
        return;
    std::sort(samples.begin(), samples.end());
    const auto at = [&](double q) { return double(samples[size_t(q * double(samples.size() - 1))]); };
    state.counters["median_ns"] = at(0.5);
    state.counters["p99_ns"] = at(0.99);
}

constexpr int kWakeRounds = 20000;

// Drives `rounds` wake-ups through `wake` (called on this thread) and collects the latencies.
template <typename Wake> void MeasureWakeUps(benchmark::State& state, Handshake& handshake, Wake&& wake) {
    std::vector<int64_t> samples;
    samples.reserve(kWakeRounds);
    uint64_t acks = handshake.acks.load();
    for (auto _ : state) {
        const int64_t setAt = NowNs();
        wake();
        handshake.AwaitAck(acks);
        ++acks;
        samples.push_back(handshake.wokeAt.load(std::memory_order_relaxed) - setAt);
    }
    ReportLatency(state, samples);
}

void BM_SafeEventWakeUp(benchmark::State& state) {
    Handshake handshake;
    waitable::SafeEvent event;
    std::atomic<bool> ready{false};
    std::thread loop([&] {
        dispatch::Loop([&] {
            platform::Dispatcher dispatcher;
            dispatch::Dispatch(event, [&] {
                const int64_t at = NowNs();
                event.Unset();
                handshake.Acknowledge(at);
            });
            ready.store(true);
            ready.notify_one();
            while (!handshake.stop.load() && dispatcher.Dispatch() > 0) {
            }
            dispatch::Undispatch(event);
        });
    });
    ready.wait(false);
    MeasureWakeUps(state, handshake, [&] { event.Set(); });
    handshake.stop.store(true);
    event.Set();
    loop.join();
}
BENCHMARK(BM_SafeEventWakeUp)->Iterations(kWakeRounds)->UseRealTime();

void BM_ReferencePselectWakeUp(benchmark::State& state) {
    Handshake handshake;
    int fds[2];
    if (pipe(fds) != 0) {
        state.SkipWithError("pipe failed");
        return;
    }
    std::thread loop([&] {
        while (!handshake.stop.load()) {
            fd_set readable;
            FD_ZERO(&readable);
            FD_SET(fds[0], &readable);
            if (pselect(fds[0] + 1, &readable, nullptr, nullptr, nullptr, nullptr) <= 0)
                continue;
            const int64_t at = NowNs();
            char byte;
            if (read(fds[0], &byte, 1) == 1)
                handshake.Acknowledge(at);
        }
    });
    const char byte = 0;
    MeasureWakeUps(state, handshake, [&] { benchmark::DoNotOptimize(write(fds[1], &byte, 1)); });
    handshake.stop.store(true);
    benchmark::DoNotOptimize(write(fds[1], &byte, 1));
    loop.join();
    close(fds[0]);
    close(fds[1]);
}
BENCHMARK(BM_ReferencePselectWakeUp)->Iterations(kWakeRounds)->UseRealTime();

// Prints each project row's CPU time over its reference row's, from this run's results.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            Timings()[run.benchmark_name()] = run.GetAdjustedCPUTime();
            for (const char* counter : {"median_ns", "p99_ns"}) {
                auto it = run.counters.find(counter);
                if (it != run.counters.end())
                    Timings()[run.benchmark_name() + " " + counter] = it->second.value;
            }
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        Ratio("BM_LEEncoder", "BM_ReferenceByteShifting");
        Ratio("BM_KivWaitSetPoll", "BM_ReferencePselect");
        for (const char* counter : {" median_ns", " p99_ns"})
            Ratio("BM_SafeEventWakeUp/iterations:20000/real_time",
                  "BM_ReferencePselectWakeUp/iterations:20000/real_time", counter);
    }

private:
    // With --benchmark_repetitions the median over the repetitions is used.
    static void Ratio(const std::string& ours, const std::string& reference, const std::string& what = "") {
        auto& t = Timings();
        const auto pick = [&](const std::string& name) {
            return t.count(name + "_median" + what) ? name + "_median" + what : name + what;
        };
        const std::string o = pick(ours), r = pick(reference);
        if (t.count(o) && t.count(r) && t[r] > 0)
            std::printf("ratio %s / %s = %.2f\n", o.c_str(), r.c_str(), t[o] / t[r]);
    }
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
