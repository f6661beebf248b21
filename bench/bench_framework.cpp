// The framework's hot paths next to plain references from the same run: little-endian encoding of a
// message-sized record against hand-written byte shifting, and one polling wait over 64 readable
// pipes against a bare pselect over the same descriptors. Each pair prints its ratio.
#include "framework/encoding/encodingstream.h"
#include "framework/kiv/kivwaitset.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <sys/select.h>
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
    KivWaitSetInit(&set);
    std::vector<KivPosixFdWait> waits(pipes.readEnds.size());
    std::vector<KivWaitSetEntry> entries(pipes.readEnds.size());
    for (size_t i = 0; i < waits.size(); ++i) {
        KivPosixFdWaitInit(&waits[i], KIV_WAIT_FD_READ, pipes.readEnds[i]);
        KivWaitSetAdd(&set, &waits[i], &entries[i]);
    }
    std::vector<KivWaitSetEntry*> ready(entries.size());
    for (auto _ : state) {
        uint64_t count = ready.size();
        KivWaitSetWait(&set, ready.data(), &count, 0);
        benchmark::DoNotOptimize(count);
    }
    KivWaitSetTerminate(&set);
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

// Prints each project row's CPU time over its reference row's, from this run's results.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            Timings()[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        Ratio("BM_LEEncoder", "BM_ReferenceByteShifting");
        Ratio("BM_KivWaitSetPoll", "BM_ReferencePselect");
    }

private:
    static void Ratio(const std::string& ours, const std::string& reference) {
        auto& t = Timings();
        if (t.count(ours) && t.count(reference) && t[reference] > 0)
            std::printf("ratio %s / %s = %.2f\n", ours.c_str(), reference.c_str(), t[ours] / t[reference]);
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
