// Decode and encode throughput of our converters against glibc iconv on the same text in the same
// run, for UTF-8, a single-byte page (WINDOWS-1252), GB18030 and Shift-JIS. Throughput counts the
// bytes of the encoded form; after the runs, each pair's ratio (ours / glibc) is printed.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <bit>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"

namespace {

const char* const kMachineUtf16 = std::endian::native == std::endian::big ? "UTF-16BE" : "UTF-16LE";

struct Sample {
    const char* label;
    unsigned id;
    const char* glibcName;
    ZrUniString text;
    ZrByteBuffer bytes;
};

// About 256 KiB of text: mostly characters of the script the encoding is for, some ASCII (spaces,
// digits, punctuation) as real text has, from a fixed pseudo-random sequence.
ZrUniString MakeText(unsigned id, size_t units) {
    std::vector<ZrUniChar> pool;
    const ZrConverter& conv = ZrCodesetConverter::GetConverter(id);
    auto accept = [&](uint32_t lo, uint32_t hi) {
        for (uint32_t cp = lo; cp <= hi; ++cp) {
            ZrUniChar u = static_cast<ZrUniChar>(cp);
            if (conv.validateTo(&u, 1, nullptr, 0))
                pool.push_back(u);
        }
    };
    if (id == 9)
        accept(0xA0, 0xFF);
    else if (id == 42)
        accept(0x4E00, 0x9FA5), accept(0xC0, 0x17F);
    else
        accept(0x3041, 0x30FF), accept(0x4E00, 0x9FA5);
    std::vector<ZrUniChar> text(units);
    uint32_t state = 12345;
    for (size_t i = 0; i < units; ++i) {
        state = state * 1103515245 + 12345;
        unsigned pick = (state >> 16) % 100;
        if (pick < 15)
            text[i] = u' ';
        else if (pick < 40)
            text[i] = static_cast<ZrUniChar>('a' + (state >> 8) % 26);
        else
            text[i] = pool[(state >> 4) % pool.size()];
    }
    return ZrUniString(text.data(), static_cast<uint32_t>(units));
}

std::vector<Sample>& Samples() {
    static std::vector<Sample> samples = [] {
        std::vector<Sample> s = {{"UTF-8", 42, "UTF-8", {}, {}},
                                 {"WINDOWS-1252", 9, "CP1252", {}, {}},
                                 {"GB18030", 31, "GB18030", {}, {}},
                                 {"SHIFT_JIS", 34, "SHIFT_JIS", {}, {}}};
        for (Sample& sample : s) {
            sample.text = MakeText(sample.id, 128 * 1024);
            sample.text.AsEncoding(sample.id, 0, sample.bytes);
        }
        return s;
    }();
    return samples;
}

void OursDecode(benchmark::State& state, size_t index) {
    const Sample& s = Samples()[index];
    for (auto _ : state) {
        ZrUniString text;
        bool ok = text.CreateFrom(s.bytes.Data(), s.bytes.Length(), s.id, 0);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(text.Data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.bytes.Length()));
}

void OursEncode(benchmark::State& state, size_t index) {
    const Sample& s = Samples()[index];
    for (auto _ : state) {
        ZrByteBuffer bytes;
        bool ok = s.text.AsEncoding(s.id, 0, bytes);
        benchmark::DoNotOptimize(ok);
        benchmark::DoNotOptimize(bytes.Data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * s.bytes.Length()));
}

// glibc into (and out of) a buffer of the result's size, as a caller that sizes its output would.
void GlibcConvert(benchmark::State& state, const char* to, const char* from, const unsigned char* in,
                  size_t inLength, size_t encodedLength) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        state.SkipWithError("iconv_open failed");
        return;
    }
    std::vector<char> out(inLength * 2 + 16);
    for (auto _ : state) {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* src = reinterpret_cast<char*>(const_cast<unsigned char*>(in));
        size_t srcLeft = inLength;
        char* dst = out.data();
        size_t dstLeft = out.size();
        size_t r = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
        benchmark::DoNotOptimize(r);
        benchmark::DoNotOptimize(out.data());
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * encodedLength));
}

void GlibcDecode(benchmark::State& state, size_t index) {
    const Sample& s = Samples()[index];
    GlibcConvert(state, kMachineUtf16, s.glibcName, s.bytes.Data(), s.bytes.Length(), s.bytes.Length());
}

void GlibcEncode(benchmark::State& state, size_t index) {
    const Sample& s = Samples()[index];
    GlibcConvert(state, s.glibcName, kMachineUtf16, s.text.Data(), s.text.ZrByteBuffer::Length(),
                 s.bytes.Length());
}

// Console output as usual, plus the bytes per second of every run kept for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            auto it = run.counters.find("bytes_per_second");
            if (it != run.counters.end())
                m_rates[run.benchmark_name()] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void PrintRatios() const {
        std::printf("\nratio ours/glibc (throughput; above 1 means faster than glibc)\n");
        for (const Sample& s : Samples()) {
            for (const char* dir : {"Decode", "Encode"}) {
                std::string ours = std::string("Ours") + dir + "/" + s.label;
                std::string ref = std::string("Glibc") + dir + "/" + s.label;
                auto a = m_rates.find(ours), b = m_rates.find(ref);
                if (a == m_rates.end() || b == m_rates.end() || b->second == 0)
                    continue;
                std::printf("%-8s %-13s ours %8.1f MB/s  glibc %8.1f MB/s  ratio %.2f\n", dir, s.label,
                            a->second / 1e6, b->second / 1e6, a->second / b->second);
            }
        }
    }

private:
    std::map<std::string, double> m_rates;
};

} // namespace

int main(int argc, char** argv) {
    for (size_t i = 0; i < Samples().size(); ++i) {
        std::string label = Samples()[i].label;
        benchmark::RegisterBenchmark(("OursDecode/" + label).c_str(), OursDecode, i);
        benchmark::RegisterBenchmark(("GlibcDecode/" + label).c_str(), GlibcDecode, i);
        benchmark::RegisterBenchmark(("OursEncode/" + label).c_str(), OursEncode, i);
        benchmark::RegisterBenchmark(("GlibcEncode/" + label).c_str(), GlibcEncode, i);
    }
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
