// Round trip of one SetConfig call (200-character configuration text) through ZrSMBNFSClient,
// side by side with a bare UDP ping-pong of the same datagram sizes and with libtirpc's clnt_call,
// all against one minimal responder thread that answers every datagram with a canned valid reply.
//
// Run pinned to one CPU, both sides together:  taskset -c 0 build/bin/bench_rpc
// (a round trip that crosses CPUs costs several times more and unpinned runs jump between the two).
// Each benchmark reports the median and the 99th percentile of its round trips; the ratios to the
// bare UDP round trip are printed at the end.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <rpc/rpc.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "rpc/zrsmbnfsclient.h"

namespace {

// A SetConfig reply: xid (copied from the call), reply, accepted, null verifier, success, then the
// control response: command 102 and an empty error text.
const unsigned char kReply[] = {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0,    0, 0,
                                0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x66, 0, 0};

class Responder {
public:
    Responder() {
        m_fd = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(m_fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        socklen_t length = sizeof addr;
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&addr), &length);
        m_port = ntohs(addr.sin_port);
        m_thread = std::thread([this] { Run(); });
    }
    ~Responder() {
        m_stop = true;
        int fd = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in addr = Address();
        sendto(fd, "", 0, 0, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        close(fd);
        m_thread.join();
        close(m_fd);
    }
    sockaddr_in Address() const {
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(m_port);
        return addr;
    }
    unsigned Port() const { return m_port; }

private:
    void Run() {
        unsigned char in[65536];
        unsigned char out[sizeof kReply];
        std::memcpy(out, kReply, sizeof kReply);
        while (!m_stop) {
            sockaddr_in from{};
            socklen_t length = sizeof from;
            ssize_t got = recvfrom(m_fd, in, sizeof in, 0, reinterpret_cast<sockaddr*>(&from), &length);
            if (got < 4)
                continue;
            std::memcpy(out, in, 4);
            sendto(m_fd, out, sizeof out, 0, reinterpret_cast<sockaddr*>(&from), length);
        }
    }

    int m_fd;
    unsigned m_port;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

Responder& TheResponder() {
    static Responder responder;
    return responder;
}

const ZrUniString& ConfigText() {
    static ZrUniString text = [] {
        std::string config = "[nfsserver/shares/smb/alice/pc1/C/winname={(alice)}]\n";
        while (config.size() < 200)
            config += "[nfsserver/shares/smb/alice/pc1/C/password={(0123456789abcdef)}]\n";
        config.resize(199);
        config += "\n";
        return ZrUniString(config.c_str());
    }();
    return text;
}

// The call datagram our client sends, for the bare ping-pong of the same size.
std::vector<unsigned char> CallBytes() {
    ZrSMBNFSRequest request(kSMBNFSSetConfig);
    request.user("alice");
    request.config(ConfigText());
    ZrRPCCallBody body;
    body.prog(100003);
    body.vers(2);
    body.proc(102);
    body.rpc_data(request);
    ZrRPCMessageFromClient call;
    call.xid(1);
    call.call_body(body);
    return std::vector<unsigned char>(call.Where(), call.Where() + call.HowBig());
}

std::map<std::string, double> g_medians;

template <class RoundTrip> void Measure(benchmark::State& state, const char* name, RoundTrip roundTrip) {
    std::vector<double> samples;
    samples.reserve(1 << 16);
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        bool ok = roundTrip();
        auto end = std::chrono::steady_clock::now();
        if (!ok) {
            state.SkipWithError("round trip failed");
            return;
        }
        samples.push_back(std::chrono::duration<double, std::nano>(end - start).count());
    }
    std::sort(samples.begin(), samples.end());
    double median = samples[samples.size() / 2];
    double p99 = samples[std::min(samples.size() - 1, samples.size() * 99 / 100)];
    state.counters["median_ns"] = median;
    state.counters["p99_ns"] = p99;
    g_medians[name] = median;
}

void BM_SMBNFSClientSetConfig(benchmark::State& state) {
    ZrInetAddr server = ZrInetAddr::AddressLoopback();
    server.Port(TheResponder().Port());
    ZrSMBNFSClient client(server, 5);
    const ZrUniString user("alice");
    Measure(state, "ZrSMBNFSClient", [&] { return client.SetConfig(user, ConfigText()).Length() == 0; });
}

void BM_BareUdpPingPong(benchmark::State& state) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in server = TheResponder().Address();
    std::vector<unsigned char> call = CallBytes();
    unsigned char reply[8192];
    Measure(state, "bare UDP", [&] {
        if (sendto(fd, call.data(), call.size(), 0, reinterpret_cast<sockaddr*>(&server), sizeof server) < 0)
            return false;
        return recv(fd, reply, sizeof reply, 0) == static_cast<ssize_t>(sizeof kReply);
    });
    close(fd);
}

// The control request's bytes written as they are (libtirpc pads them to four bytes).
bool_t PutRequest(XDR* xdrs, void* request, ...) {
    auto* bytes = static_cast<std::vector<char>*>(request);
    return xdr_opaque(xdrs, bytes->data(), static_cast<u_int>(bytes->size()));
}

// The result is not examined, like the other two round trips do not decode theirs further.
bool_t IgnoreResult(XDR*, void*, ...) {
    return TRUE;
}

void BM_TirpcClntCall(benchmark::State& state) {
    sockaddr_in server = TheResponder().Address();
    int sock = RPC_ANYSOCK;
    CLIENT* client = clntudp_create(&server, 100003, 2, timeval{5, 0}, &sock);
    if (!client) {
        state.SkipWithError("clntudp_create failed");
        return;
    }
    ZrSMBNFSRequest request(kSMBNFSSetConfig);
    request.user("alice");
    request.config(ConfigText());
    std::vector<char> args(request.Where(), request.Where() + request.HowBig());
    const timeval timeout{5, 0};
    Measure(state, "libtirpc clnt_call", [&] {
        return clnt_call(client, 102, reinterpret_cast<xdrproc_t>(PutRequest), reinterpret_cast<char*>(&args),
                         reinterpret_cast<xdrproc_t>(IgnoreResult), nullptr, timeout) == RPC_SUCCESS;
    });
    clnt_destroy(client);
}

} // namespace

BENCHMARK(BM_BareUdpPingPong)->UseRealTime();
BENCHMARK(BM_SMBNFSClientSetConfig)->UseRealTime();
BENCHMARK(BM_TirpcClntCall)->UseRealTime();

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    auto bare = g_medians.find("bare UDP");
    if (bare != g_medians.end() && bare->second > 0)
        for (const auto& [name, median] : g_medians)
            std::printf("%-20s median %9.0f ns  ratio to bare UDP %.3f\n", name.c_str(), median,
                        median / bare->second);
    return 0;
}
