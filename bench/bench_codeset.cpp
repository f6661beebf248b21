// Decode and encode throughput of our converters against glibc iconv in the same run, for UTF-8,
// WINDOWS-1252, SHIFT_JIS, GB18030, BIG5 and EUC-JP, both directions, on short strings (16 to 64
// encoded bytes, each converted on its own into or out of a ZrUniString, as the string constructors do
// everywhere) and on 1 MiB texts. glibc uses one descriptor per row, opened once and reset before each
// conversion. Throughput counts the bytes of the encoded form; every row of ours carries glibc's rate
// and the ratio as counters, and a summary table is printed after the runs.
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

struct Encoding {
    const char* label;
    unsigned id;
    const char* glibcName;
};

const Encoding kEncodings[] = {
    {"UTF-8", 42, "UTF-8"},     {"WINDOWS-1252", 9, "CP1252"}, {"SHIFT_JIS", 34, "SHIFT_JIS"},
    {"GB18030", 31, "GB18030"}, {"BIG5", 0, "BIG5"},           {"EUC-JP", 35, "EUC-JP"},
};

// A text in both forms, cut into pieces (whole characters) whose encoded form is 16 to 64 bytes.
struct Sample {
    ZrUniString text;
    ZrByteBuffer bytes;
    std::vector<ZrUniString> shortTexts;
    std::vector<ZrByteBuffer> shortBytes;
    uint64_t shortTotal = 0; // encoded bytes over all pieces
};

struct Rng {
    uint32_t state;
    uint32_t Next() {
        state = state * 1103515245 + 12345;
        return state >> 8;
    }
};

// The characters of [lo, hi] the encoding has, from its own converter.
void Accept(unsigned id, uint32_t lo, uint32_t hi, std::vector<ZrUniChar>& pool) {
    const ZrConverter& conv = ZrCodesetConverter::GetConverter(id);
    for (uint32_t cp = lo; cp <= hi; ++cp) {
        ZrUniChar u = static_cast<ZrUniChar>(cp);
        if (conv.validateTo(&u, 1, nullptr, 0))
            pool.push_back(u);
    }
}

// Text as people write it in the encoding: for the CJK encodings mostly ideographs (and kana for the
// Japanese ones) with some ASCII words, spaces and digits; for WINDOWS-1252 Western text with accented
// letters; for UTF-8 a mix of ASCII, Latin/Cyrillic letters and ideographs.
std::vector<ZrUniChar> MakeText(unsigned id, size_t units, uint32_t seed) {
    std::vector<ZrUniChar> native, extra;
    unsigned asciiPercent;
    if (id == 9) {
        Accept(id, 0xC0, 0xFF, native);
        asciiPercent = 90;
    } else if (id == 42) {
        Accept(id, 0xC0, 0x17F, native), Accept(id, 0x410, 0x44F, native);
        Accept(id, 0x4E00, 0x9FA5, extra);
        asciiPercent = 60;
    } else {
        if (id == 34 || id == 35)
            Accept(id, 0x3041, 0x30FF, extra);
        Accept(id, 0x4E00, 0x9FA5, native);
        asciiPercent = 25;
    }
    std::vector<ZrUniChar> text(units);
    Rng rng{seed};
    for (size_t i = 0; i < units; ++i) {
        unsigned pick = rng.Next() % 100;
        if (pick < asciiPercent)
            text[i] = pick % 6 == 0 ? u' ' : static_cast<ZrUniChar>('a' + rng.Next() % 26);
        else if (!extra.empty() && pick % 3 == 0)
            text[i] = extra[rng.Next() % extra.size()];
        else
            text[i] = native[rng.Next() % native.size()];
    }
    return text;
}

Sample MakeSample(const Encoding& e) {
    Sample s;
    const ZrConverter& conv = ZrCodesetConverter::GetConverter(e.id);
    // 1 MiB of encoded bytes: grow the text until it gets there, then cut it to exactly 1 MiB of whole
    // characters.
    constexpr size_t kBig = 1 << 20;
    std::vector<ZrUniChar> units = MakeText(e.id, kBig, 12345);
    size_t bytes = 0, used = 0;
    std::vector<unsigned> unitLength(units.size());
    for (size_t i = 0; i < units.size(); ++i) {
        ZrByteBuffer one;
        conv.to(&units[i], 1, one, nullptr, 0);
        unitLength[i] = static_cast<unsigned>(one.Length());
    }
    while (used < units.size() && bytes + unitLength[used] <= kBig)
        bytes += unitLength[used++];
    s.text = ZrUniString(units.data(), static_cast<uint32_t>(used));
    // The sample is drawn from units this codeset encodes, so the conversion succeeds.
    (void)s.text.AsEncoding(e.id, 0, s.bytes);

    // 4096 pieces of another text, each 16 to 64 bytes long when encoded.
    Rng rng{777};
    size_t at = 0;
    for (int k = 0; k < 4096; ++k) {
        size_t target = 16 + rng.Next() % 49, start = at, length = 0;
        while (length < target && at < units.size() && length + unitLength[at] <= 64)
            length += unitLength[at++];
        if (length < 16) {
            at = 0;
            --k;
            continue;
        }
        ZrUniString piece(units.data() + start, static_cast<uint32_t>(at - start));
        s.shortBytes.push_back(piece.AsEncoding(e.id, 0));
        s.shortTexts.push_back(piece);
        s.shortTotal += length;
    }
    return s;
}

std::vector<Sample>& Samples() {
    static std::vector<Sample> samples = [] {
        std::vector<Sample> s;
        for (const Encoding& e : kEncodings)
            s.push_back(MakeSample(e));
        return s;
    }();
    return samples;
}

enum Direction { kDecode, kEncode };
enum Size { kShort, kMiB };

void Ours(benchmark::State& state, size_t index, Direction dir, Size size) {
    const Encoding& e = kEncodings[index];
    const Sample& s = Samples()[index];
    uint64_t processed = 0;
    if (size == kShort) {
        size_t n = s.shortBytes.size(), k = 0;
        for (auto _ : state) {
            if (dir == kDecode) {
                ZrUniString text;
                bool ok = text.CreateFrom(s.shortBytes[k].Data(), s.shortBytes[k].Length(), e.id, 0);
                benchmark::DoNotOptimize(ok);
                benchmark::DoNotOptimize(text.Data());
            } else {
                ZrByteBuffer bytes = s.shortTexts[k].AsEncoding(e.id, 0);
                benchmark::DoNotOptimize(bytes.Data());
            }
            processed += s.shortBytes[k].Length();
            k = k + 1 == n ? 0 : k + 1;
        }
    } else {
        for (auto _ : state) {
            if (dir == kDecode) {
                ZrUniString text;
                bool ok = text.CreateFrom(s.bytes.Data(), s.bytes.Length(), e.id, 0);
                benchmark::DoNotOptimize(ok);
                benchmark::DoNotOptimize(text.Data());
            } else {
                ZrByteBuffer bytes = s.text.AsEncoding(e.id, 0);
                benchmark::DoNotOptimize(bytes.Data());
            }
            processed += s.bytes.Length();
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(processed));
}

// glibc into a buffer large enough for any result, as a caller that sizes its output would.
void Glibc(benchmark::State& state, size_t index, Direction dir, Size size) {
    const Encoding& e = kEncodings[index];
    const Sample& s = Samples()[index];
    iconv_t cd =
        dir == kDecode ? iconv_open(kMachineUtf16, e.glibcName) : iconv_open(e.glibcName, kMachineUtf16);
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        state.SkipWithError("iconv_open failed");
        return;
    }
    std::vector<char> out(s.bytes.Length() * 3 + 64);
    auto convert = [&](const void* in, size_t inLength) {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* src = static_cast<char*>(const_cast<void*>(in));
        char* dst = out.data();
        size_t dstLeft = out.size();
        size_t r = iconv(cd, &src, &inLength, &dst, &dstLeft);
        benchmark::DoNotOptimize(r);
        benchmark::DoNotOptimize(out.data());
    };
    uint64_t processed = 0;
    if (size == kShort) {
        size_t n = s.shortBytes.size(), k = 0;
        for (auto _ : state) {
            if (dir == kDecode)
                convert(s.shortBytes[k].Data(), s.shortBytes[k].Length());
            else
                convert(s.shortTexts[k].Data(), s.shortTexts[k].ZrByteBuffer::Length());
            processed += s.shortBytes[k].Length();
            k = k + 1 == n ? 0 : k + 1;
        }
    } else {
        for (auto _ : state) {
            if (dir == kDecode)
                convert(s.bytes.Data(), s.bytes.Length());
            else
                convert(s.text.Data(), s.text.ZrByteBuffer::Length());
            processed += s.bytes.Length();
        }
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(processed));
}

std::string RowName(size_t index, Direction dir, Size size) {
    return std::string(dir == kDecode ? "Decode" : "Encode") + (size == kShort ? "Short/" : "1MiB/") +
           kEncodings[index].label;
}

// Google Benchmark 1.8 replaced a run's error flag by a skip state; either way the run has no result.
template <typename R> bool RunSkipped(const R& run) {
    if constexpr (requires { run.skipped; })
        return static_cast<bool>(run.skipped);
    else
        return run.error_occurred;
}

// Console output as usual; glibc's rows run first, so each row of ours gets glibc's rate and the
// ratio as counters. The pairs are kept for the summary.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        std::vector<Run> rows = runs;
        for (Run& run : rows) {
            std::string name = run.benchmark_name();
            auto rate = run.counters.find("bytes_per_second");
            if (rate == run.counters.end() || RunSkipped(run))
                continue;
            if (name.rfind("Glibc/", 0) == 0) {
                m_glibc[name.substr(6)] = rate->second.value;
            } else if (name.rfind("Ours/", 0) == 0) {
                std::string row = name.substr(5);
                m_ours[row] = rate->second.value;
                auto ref = m_glibc.find(row);
                if (ref != m_glibc.end() && ref->second > 0) {
                    run.counters["glibc_MB/s"] = ref->second / 1e6;
                    run.counters["ratio"] = rate->second.value / ref->second;
                }
            }
        }
        ConsoleReporter::ReportRuns(rows);
    }
    void PrintSummary(const std::vector<std::string>& order) const {
        std::printf("\n%-26s %10s %10s %7s  goal\n", "row", "ours MB/s", "glibc MB/s", "ratio");
        for (const std::string& row : order) {
            auto a = m_ours.find(row), b = m_glibc.find(row);
            if (a == m_ours.end() || b == m_glibc.end() || b->second == 0)
                continue;
            double ratio = a->second / b->second, goal = row.find("Short") != std::string::npos ? 3.0 : 1.0;
            std::printf("%-26s %10.1f %10.1f %7.2f  %s %.0fx\n", row.c_str(), a->second / 1e6,
                        b->second / 1e6, ratio, ratio >= goal ? "meets" : "UNDER", goal);
        }
    }

private:
    std::map<std::string, double> m_glibc, m_ours;
};

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> order;
    for (size_t i = 0; i < std::size(kEncodings); ++i) {
        for (Direction dir : {kDecode, kEncode}) {
            for (Size size : {kShort, kMiB}) {
                std::string row = RowName(i, dir, size);
                order.push_back(row);
                benchmark::RegisterBenchmark(("Glibc/" + row).c_str(), Glibc, i, dir, size);
                benchmark::RegisterBenchmark(("Ours/" + row).c_str(), Ours, i, dir, size);
            }
        }
    }
    benchmark::Initialize(&argc, argv);
    Samples();
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintSummary(order);
    benchmark::Shutdown();
    return 0;
}
