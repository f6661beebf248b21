// DES, MD4, MD5 and the password conversion against OpenSSL libcrypto in the same run. Every case
// has a "_Zr" and an "_OpenSSL" row; after the run a table gives both times and the speed ratio
// (OpenSSL time / our time: 1.0 is parity, above 1.0 means ours is faster).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

// The reference side needs the low-level calls that OpenSSL 3 marks deprecated.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>
#include <openssl/md4.h>
#include <openssl/md5.h>

#include "app/credentials.h"
#include "foundation/buildconfig.h"
#include "foundation/crypto/zrchecksum.h"
#include "foundation/crypto/zrdes.h"
#include "foundation/crypto/zrencrypt.h"
#include "foundation/crypto/zrmessagedigest.h"

namespace {

const unsigned char kKey7[7] = {0x4B, 0x9A, 0x13, 0xE7, 0x55, 0x2C, 0xF1};
const unsigned char kBlock[8] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF};

// The 7-to-8 byte key widening on the OpenSSL side, so both rows do the same work.
void WidenKey(const unsigned char* key7, DES_cblock* key8) {
    unsigned char* k = *key8;
    k[0] = key7[0] >> 1;
    k[1] = static_cast<unsigned char>(((key7[0] & 0x01) << 6) | (key7[1] >> 2));
    k[2] = static_cast<unsigned char>(((key7[1] & 0x03) << 5) | (key7[2] >> 3));
    k[3] = static_cast<unsigned char>(((key7[2] & 0x07) << 4) | (key7[3] >> 4));
    k[4] = static_cast<unsigned char>(((key7[3] & 0x0F) << 3) | (key7[4] >> 5));
    k[5] = static_cast<unsigned char>(((key7[4] & 0x1F) << 2) | (key7[5] >> 6));
    k[6] = static_cast<unsigned char>(((key7[5] & 0x3F) << 1) | (key7[6] >> 7));
    k[7] = key7[6] & 0x7F;
    for (int i = 0; i < 8; ++i)
        k[i] = static_cast<unsigned char>(k[i] << 1);
    DES_set_odd_parity(key8);
}

// One block with its key schedule built for it, as the password conversion does, on buffers.
void BM_DesKeyedBlock_Zr(benchmark::State& state) {
    ZrByteBuffer key(kKey7, 7), data(kBlock, 8);
    for (auto _ : state) {
        ZrByteBuffer out = ZrDES::Encrypt_Word(key, data);
        benchmark::DoNotOptimize(out.Data());
    }
}
BENCHMARK(BM_DesKeyedBlock_Zr);

void BM_DesKeyedBlock_OpenSSL(benchmark::State& state) {
    DES_cblock in, out, key8;
    std::memcpy(in, kBlock, 8);
    for (auto _ : state) {
        DES_key_schedule schedule;
        WidenKey(kKey7, &key8);
        DES_set_key_unchecked(&key8, &schedule);
        DES_ecb_encrypt(&in, &out, &schedule, DES_ENCRYPT);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_DesKeyedBlock_OpenSSL);

// The same on raw bytes: the engine without the buffer allocations.
void BM_DesKeyedBlockRaw_Zr(benchmark::State& state) {
    unsigned char out[8];
    for (auto _ : state) {
        ZrDES::Crypt_Block(kKey7, kBlock, out);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(BM_DesKeyedBlockRaw_Zr);

void BM_DesKeyedBlockRaw_OpenSSL(benchmark::State& state) {
    BM_DesKeyedBlock_OpenSSL(state);
}
BENCHMARK(BM_DesKeyedBlockRaw_OpenSSL);

void BM_DesFixedSchedule_Zr(benchmark::State& state) {
    unsigned char key8[8], block[8];
    ZrDES::str_to_key(kKey7, key8);
    kf_struct schedule;
    ZrDES::set_key(key8, schedule);
    std::memcpy(block, kBlock, 8);
    ZrDES::encryptdata = true;
    for (auto _ : state) {
        ZrDES::ecb_encrypt(block, block, schedule);
        benchmark::DoNotOptimize(block);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 8);
}
BENCHMARK(BM_DesFixedSchedule_Zr);

void BM_DesFixedSchedule_OpenSSL(benchmark::State& state) {
    DES_cblock key8, block;
    WidenKey(kKey7, &key8);
    DES_key_schedule schedule;
    DES_set_key_unchecked(&key8, &schedule);
    std::memcpy(block, kBlock, 8);
    for (auto _ : state) {
        DES_ecb_encrypt(&block, &block, &schedule, DES_ENCRYPT);
        benchmark::DoNotOptimize(block);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 8);
}
BENCHMARK(BM_DesFixedSchedule_OpenSSL);

const std::vector<unsigned char>& Input(size_t size) {
    static std::map<size_t, std::vector<unsigned char>> inputs;
    auto& data = inputs[size];
    if (data.size() != size) {
        data.resize(size);
        std::mt19937 rng(static_cast<unsigned>(size));
        for (auto& b : data)
            b = static_cast<unsigned char>(rng());
    }
    return data;
}

template <int Kind> void BM_Digest_Zr(benchmark::State& state) {
    const auto& data = Input(static_cast<size_t>(state.range(0)));
    unsigned char digest[16];
    for (auto _ : state) {
        ZrMessageDigest::Context context;
        if (!ZrMessageDigest::MDInit(context, Kind))
            state.SkipWithError("unknown digest kind");
        ZrMessageDigest::MDUpdate(context, data.data(), data.size());
        ZrMessageDigest::MDFinal(context, digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

template <int Kind> void BM_Digest_OpenSSL(benchmark::State& state) {
    const auto& data = Input(static_cast<size_t>(state.range(0)));
    unsigned char digest[16];
    for (auto _ : state) {
        if (Kind == kZrDigestMD4)
            MD4(data.data(), data.size(), digest);
        else
            MD5(data.data(), data.size(), digest);
        benchmark::DoNotOptimize(digest);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void BM_MD4_Zr(benchmark::State& state) {
    BM_Digest_Zr<kZrDigestMD4>(state);
}
void BM_MD4_OpenSSL(benchmark::State& state) {
    BM_Digest_OpenSSL<kZrDigestMD4>(state);
}
void BM_MD5_Zr(benchmark::State& state) {
    BM_Digest_Zr<kZrDigestMD5>(state);
}
void BM_MD5_OpenSSL(benchmark::State& state) {
    BM_Digest_OpenSSL<kZrDigestMD5>(state);
}
BENCHMARK(BM_MD4_Zr)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_MD4_OpenSSL)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_MD5_Zr)->Arg(64)->Arg(1 << 20);
BENCHMARK(BM_MD5_OpenSSL)->Arg(64)->Arg(1 << 20);

// The whole conversion of an 8-byte password (two blocks) to its hexadecimal text.
void BM_ConvertPassword_Zr(benchmark::State& state) {
    const ZrUniString account("alice");
    for (auto _ : state) {
        ZrCString out;
        credentials::ConvertPassword("secret12", account, out);
        benchmark::DoNotOptimize(out.c_str());
    }
}
BENCHMARK(BM_ConvertPassword_Zr);

// The same framing, key text and digit order written directly over OpenSSL.
void BM_ConvertPassword_OpenSSL(benchmark::State& state) {
    const ZrUniString account("alice");
    const char* password = "secret12";
    static const char digits[] = "0123456789ABCDEF";
    for (auto _ : state) {
        size_t n = std::strlen(password);
        size_t total = (n + 8) / 8 * 8;
        unsigned char plain[64];
        plain[0] = static_cast<unsigned char>(n + 0x41);
        std::memcpy(plain + 1, password, n);
        std::memset(plain + 1 + n, ' ', total - 1 - n);
        char keyText[16];
        std::snprintf(keyText, sizeof(keyText), "%07X", ZrCheckSum::Sum(account) ^ KPATDMCL_PASSWORD_MASK);
        DES_cblock key8;
        WidenKey(reinterpret_cast<const unsigned char*>(keyText), &key8);
        std::string out;
        for (size_t offset = 0; offset < total; offset += 8) {
            DES_key_schedule schedule;
            DES_set_key_unchecked(&key8, &schedule);
            DES_cblock in, cipher;
            std::memcpy(in, plain + offset, 8);
            DES_ecb_encrypt(&in, &cipher, &schedule, DES_ENCRYPT);
            for (unsigned char b : cipher) {
                out += digits[b & 15];
                out += digits[b >> 4];
            }
        }
        benchmark::DoNotOptimize(out.data());
    }
}
BENCHMARK(BM_ConvertPassword_OpenSSL);

// Google Benchmark 1.8 replaced a run's error flag by a skip state; either way the run has no result.
template <typename R> bool RunSkipped(const R& run) {
    if constexpr (requires { run.skipped; })
        return static_cast<bool>(run.skipped);
    else
        return run.error_occurred;
}

// Prints the usual table, then pairs each "_Zr" row with its "_OpenSSL" row.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && !RunSkipped(run))
                m_times[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }

    void PrintRatios() const {
        std::printf("\n%-36s %14s %14s %8s\n", "case", "ours (ns CPU)", "OpenSSL (ns CPU)", "ratio");
        for (const auto& [name, ours] : m_times) {
            size_t at = name.find("_Zr");
            if (at == std::string::npos)
                continue;
            std::string reference = name.substr(0, at) + "_OpenSSL" + name.substr(at + 3);
            auto it = m_times.find(reference);
            if (it == m_times.end() || ours <= 0)
                continue;
            std::printf("%-36s %14.1f %14.1f %8.2f\n", name.substr(3).c_str(), ours, it->second,
                        it->second / ours);
        }
    }

private:
    std::map<std::string, double> m_times;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
