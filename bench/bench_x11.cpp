// Latency of a device request through the X transport: from the moment the test display server
// writes the extension event until the controller's callback runs, for an inline message (a
// remove-device request) and a fetched one (an add-device request: one extra request and reply),
// next to a bare Xlib round trip (XSync) to the same server in the same run. Both sides are pinned
// to CPU 0 (the server inherits the affinity): a round trip across CPUs costs several times more.
#include "dmp/dmpmanager.h"
#include "framework/dispatch/qexecutordispatcher.h"
#include "framework/platform/dispatcher.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <sched.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

uint64_t NowNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

// The test display server as a child process, spoken to over its control socket.
class Server {
public:
    Server() {
        std::string script = __FILE__;
        script = script.substr(0, script.rfind('/')) + "/../tools/xtestserver/xtestserver.py";
        m_control = "/tmp/kp-bench-x11-" + std::to_string(getpid()) + ".sock";
        int out[2];
        if (pipe(out) != 0)
            return;
        m_pid = fork();
        if (m_pid == 0) {
            dup2(out[1], 1);
            close(out[0]);
            execlp("python3", "python3", script.c_str(), "--watch-parent", "--control", m_control.c_str(),
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        close(out[1]);
        std::string line;
        char c;
        while (read(out[0], &c, 1) == 1 && c != '\n')
            line += c;
        close(out[0]);
        const auto colon = line.find(':');
        if (colon == std::string::npos)
            return;
        m_display = line.substr(colon, line.find(' ', colon) - colon);
        m_fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        std::strncpy(addr.sun_path, m_control.c_str(), sizeof(addr.sun_path) - 1);
        if (connect(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0)
            m_fd = -1;
    }
    ~Server() {
        if (m_fd >= 0) {
            Send(R"({"cmd": "shutdown"})");
            Reply();
            close(m_fd);
        }
        if (m_pid > 0)
            waitpid(m_pid, nullptr, 0);
    }
    bool Ok() const { return m_fd >= 0; }
    const std::string& Display() const { return m_display; }

    void Send(const std::string& json) {
        const std::string line = json + "\n";
        if (write(m_fd, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            std::perror("control write");
    }
    std::string Reply() {
        for (;;) {
            const auto nl = m_pending.find('\n');
            if (nl != std::string::npos) {
                std::string line = m_pending.substr(0, nl);
                m_pending.erase(0, nl + 1);
                return line;
            }
            char chunk[4096];
            const ssize_t n = read(m_fd, chunk, sizeof(chunk));
            if (n <= 0)
                return "";
            m_pending.append(chunk, static_cast<size_t>(n));
        }
    }
    // The server's CLOCK_MONOTONIC time of sending, from a reply's "sent_ns".
    static uint64_t SentNs(const std::string& reply) {
        const auto at = reply.find("\"sent_ns\": ");
        return at == std::string::npos ? 0 : std::stoull(reply.substr(at + 11));
    }

private:
    pid_t m_pid = -1;
    int m_fd = -1;
    std::string m_control;
    std::string m_display;
    std::string m_pending;
};

class TimingNotify : public IDMPEnumNotify {
public:
    void OnAddDevice(ZrUniString, ZrUniString, ZrUniString, ZrUniString) override { Hit(); }
    void OnRemoveDevice(ZrUniString, ZrUniString, ZrUniString, ZrUniString) override { Hit(); }
    uint64_t calls = 0;
    uint64_t lastNs = 0;

private:
    void Hit() {
        lastNs = NowNs();
        ++calls;
    }
};

// One manager on one display of the server for the whole run.
struct Rig {
    Server server;
    dispatch::QExecutorDispatcher base;
    platform::Dispatcher* dispatcher = nullptr;
    DMPManager* manager = nullptr;
    TimingNotify notify;
};
Rig* g_rig = nullptr;

// Median and 99th percentile of each series, by name, for the summary.
std::map<std::string, std::pair<double, double>> g_results;

void Report(benchmark::State& state, std::vector<double> samples, const char* name) {
    if (samples.empty())
        return;
    std::sort(samples.begin(), samples.end());
    const double median = samples[samples.size() / 2];
    const double p99 = samples[std::min(samples.size() - 1, samples.size() * 99 / 100)];
    state.counters["median_us"] = median / 1000.0;
    state.counters["p99_us"] = p99 / 1000.0;
    g_results[name] = {median, p99};
}

// Main-loop iterations until the controller has been called `calls` times.
// A lost event ends the run instead of hanging it.
void WaitCalls(uint64_t calls) {
    const uint64_t deadline = NowNs() + 10000000000u;
    const common::Duration step(1, 0);
    while (g_rig->notify.calls < calls) {
        g_rig->manager->Process();
        g_rig->dispatcher->Dispatch(&step);
        if (NowNs() > deadline) {
            std::fprintf(stderr, "bench_x11: no callback within 10 s\n");
            std::exit(2);
        }
    }
}

void BM_XSyncRoundTrip(benchmark::State& state) {
    std::vector<double> samples;
    for (auto _ : state) {
        const uint64_t start = NowNs();
        g_rig->manager->ActiveDisplay()->Sync();
        samples.push_back(static_cast<double>(NowNs() - start));
    }
    Report(state, samples, "xsync");
}

// An add-device request fetched by id: event, then one request and its reply.
void BM_AddDeviceById(benchmark::State& state) {
    std::vector<double> samples;
    for (auto _ : state) {
        const uint64_t calls = g_rig->notify.calls;
        g_rig->server.Send(
            R"({"cmd": "add_device", "device_id": 1, "uri": "smb://pc1/C", "user": "u", "password": "p"})");
        WaitCalls(calls + 1);
        const uint64_t sent = Server::SentNs(g_rig->server.Reply());
        samples.push_back(static_cast<double>(g_rig->notify.lastNs - sent));
        state.PauseTiming();
        g_rig->server.Send(R"({"cmd": "remove_device", "device_id": 1})");
        WaitCalls(calls + 2);
        g_rig->server.Reply();
        state.ResumeTiming();
    }
    Report(state, samples, "by_id");
}

// A remove-device request, 13 bytes inside the event itself.
void BM_RemoveDeviceInline(benchmark::State& state) {
    std::vector<double> samples;
    for (auto _ : state) {
        state.PauseTiming();
        const uint64_t calls = g_rig->notify.calls;
        g_rig->server.Send(R"({"cmd": "add_device", "device_id": 2, "uri": "smb://pc1/D"})");
        WaitCalls(calls + 1);
        g_rig->server.Reply();
        state.ResumeTiming();
        g_rig->server.Send(R"({"cmd": "remove_device", "device_id": 2})");
        WaitCalls(calls + 2);
        const uint64_t sent = Server::SentNs(g_rig->server.Reply());
        samples.push_back(static_cast<double>(g_rig->notify.lastNs - sent));
    }
    Report(state, samples, "inline");
}

BENCHMARK(BM_XSyncRoundTrip)->Iterations(1000);
BENCHMARK(BM_AddDeviceById)->Iterations(1000);
BENCHMARK(BM_RemoveDeviceInline)->Iterations(1000);

} // namespace

int main(int argc, char** argv) {
    cpu_set_t cpus;
    CPU_ZERO(&cpus);
    CPU_SET(0, &cpus);
    if (sched_setaffinity(0, sizeof(cpus), &cpus) != 0)
        std::perror("sched_setaffinity");

    benchmark::Initialize(&argc, argv);
    Rig rig;
    if (!rig.server.Ok()) {
        std::fprintf(stderr, "test display server did not start\n");
        return 1;
    }
    g_rig = &rig;
    int status = 0;
    rig.base.RunInContext([&](uint32_t) {
        platform::Dispatcher dispatcher;
        DMPManager manager(dispatcher, rig.notify);
        rig.dispatcher = &dispatcher;
        rig.manager = &manager;
        if (!manager.AddDisplay(rig.server.Display().c_str())) {
            status = 1;
            return;
        }
        rig.server.Send(R"({"cmd": "wait_init"})");
        rig.server.Reply();
        rig.server.Send(R"({"cmd": "send_init"})");
        rig.server.Reply();
        DMPEnum* endpoint = manager.Displays().begin()->second.endpoint.get();
        const common::Duration step(0, 100000);
        for (int i = 0; i < 100; ++i) {
            manager.Process();
            if (endpoint->IsInitialised())
                break;
            dispatcher.Dispatch(&step);
        }
        benchmark::RunSpecifiedBenchmarks();
        rig.manager = nullptr;
    });
    benchmark::Shutdown();
    if (status)
        return status;

    const auto& base = g_results["xsync"];
    std::printf("\n%-28s %12s %12s %10s %10s\n", "latency (us)", "median", "p99", "x median", "x p99");
    for (const char* name : {"xsync", "by_id", "inline"}) {
        if (!g_results.count(name))
            continue;
        const auto& r = g_results[name];
        std::printf("%-28s %12.1f %12.1f %10.2f %10.2f\n",
                    name == std::string("xsync")   ? "XSync round trip (reference)"
                    : name == std::string("by_id") ? "add-device fetched by id"
                                                   : "remove-device inline",
                    r.first / 1000.0, r.second / 1000.0, base.first > 0 ? r.first / base.first : 0.0,
                    base.second > 0 ? r.second / base.second : 0.0);
    }
    return 0;
}
