// Configuration database text: parse and write throughput on a file-server-sized configuration
// (1,000 users x 10 shares x 2 keys = 20,000 entries, and ten times that), side by side with RapidJSON
// reading and writing the same content as a JSON object of key -> array of strings, both as UTF-16.
// Counters: MB/s of UTF-16 text and entries/s for each, ratio = ours / RapidJSON in entries/s, and for
// the larger file growth = its time per run over the smaller file's (json_growth: the same for RapidJSON).
#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <malloc.h>
#include <map>
#include <memory>
#include <string>

#include <rapidjson/document.h>
#include <rapidjson/encodings.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "foundation/database/zrdatabase.h"

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
using Utf16 = rapidjson::UTF16<char16_t>;
using JsonDocument = rapidjson::GenericDocument<Utf16>;
using JsonBuffer = rapidjson::GenericStringBuffer<Utf16>;
using JsonWriter = rapidjson::Writer<JsonBuffer, Utf16, Utf16>;

struct Corpus {
    ZrUniString text;
    std::u16string json;
    uint32_t entries = 0;
};

// `scale` thousand users, each with ten shares of two keys: a path and an option list (whose "="
// signs are escaped in our text).
const Corpus& Get(int scale) {
    static std::map<int, std::unique_ptr<Corpus>> cache;
    std::unique_ptr<Corpus>& slot = cache[scale];
    if (slot)
        return *slot;
    slot = std::make_unique<Corpus>();
    ZrDatabase db;
    for (int u = 0; u < 1000 * scale; ++u) {
        std::string user = "user" + std::to_string(u);
        for (int s = 0; s < 10; ++s) {
            std::string base = "nfsserver/shares/smb/" + user + "/host" + std::to_string(u % 97) + "/share" +
                               std::to_string(s);
            ZrUniString path((base + "/path").c_str());
            db.AppendValue(path, ("/srv/quillafs/" + user + "/share" + std::to_string(s)).c_str());
            ZrUniString options((base + "/options").c_str());
            db.AppendValue(options, "rw");
            db.AppendValue(options, ("uid=" + std::to_string(10000 + u)).c_str());
        }
    }
    slot->text = db.ToString(-1);
    slot->entries = db.Count();
    JsonBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    ZrDictionaryIterator<ZrDatabase::Pair> it(db.Entries());
    while (ZrDatabase::Pair* pair = it.Next()) {
        writer.Key(pair->Key().Units(), pair->Key().Length());
        writer.StartArray();
        for (const ZrUniString& value : pair->Value().ValueList())
            writer.String(value.Units(), value.Length());
        writer.EndArray();
    }
    writer.EndObject();
    slot->json.assign(buffer.GetString(), buffer.GetSize() / sizeof(char16_t));
    return *slot;
}

double Seconds(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
}

// Time per run of each side, by scale, so that the larger run can report its growth.
std::map<std::string, double> g_perRun;

void Report(benchmark::State& state, const char* what, const Corpus& c, double zr, double json) {
    double runs = double(state.iterations());
    double mb = double(c.text.Length()) * 2 / 1e6, jsonMb = double(c.json.size()) * 2 / 1e6;
    state.counters["zr_MB_per_s"] = mb * runs / zr;
    state.counters["zr_entries_per_s"] = c.entries * runs / zr;
    state.counters["json_MB_per_s"] = jsonMb * runs / json;
    state.counters["json_entries_per_s"] = c.entries * runs / json;
    state.counters["ratio"] = json / zr;
    int scale = int(state.range(0));
    g_perRun[std::string(what) + std::to_string(scale)] = zr / runs;
    g_perRun[std::string("json_") + what + std::to_string(scale)] = json / runs;
    if (scale == 10 && g_perRun.count(std::string(what) + "1")) {
        state.counters["growth"] = (zr / runs) / g_perRun[std::string(what) + "1"];
        state.counters["json_growth"] = (json / runs) / g_perRun[std::string("json_") + what + "1"];
    }
}

void BM_Parse(benchmark::State& state) {
    const Corpus& c = Get(int(state.range(0)));
    // Building the corpus freed a whole database; without this the first timed run would pay for
    // sorting those chunks back into the heap (on whichever side allocates a large block first).
    malloc_trim(0);
    double zr = 0, json = 0;
    for (auto _ : state) {
        auto db = std::make_unique<ZrDatabase>();
        auto doc = std::make_unique<JsonDocument>();
        auto t0 = Clock::now();
        bool ok = db->FromString(c.text, 0);
        auto t1 = Clock::now();
        doc->Parse(c.json.c_str());
        auto t2 = Clock::now();
        if (!ok || doc->HasParseError() || db->Count() != c.entries || doc->MemberCount() != c.entries)
            state.SkipWithError("parse failed");
        zr += Seconds(t0, t1);
        json += Seconds(t1, t2);
        state.PauseTiming(); // tearing the trees down is not parsing
        db.reset();
        doc.reset();
        // Hand freed chunks back now, so neither side pays for the other's teardown on its next run.
        malloc_trim(0);
        state.ResumeTiming();
    }
    Report(state, "parse", c, zr, json);
}
BENCHMARK(BM_Parse)->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

void BM_Write(benchmark::State& state) {
    const Corpus& c = Get(int(state.range(0)));
    ZrDatabase db;
    JsonDocument doc;
    if (!db.FromString(c.text, 0))
        state.SkipWithError("the corpus does not parse");
    doc.Parse(c.json.c_str());
    double zr = 0, json = 0;
    for (auto _ : state) {
        auto t0 = Clock::now();
        ZrUniString text = db.ToString(-1);
        auto t1 = Clock::now();
        JsonBuffer buffer;
        JsonWriter writer(buffer);
        doc.Accept(writer);
        auto t2 = Clock::now();
        if (text.Length() != c.text.Length() || buffer.GetSize() / sizeof(char16_t) != c.json.size())
            state.SkipWithError("write differs");
        zr += Seconds(t0, t1);
        json += Seconds(t1, t2);
    }
    Report(state, "write", c, zr, json);
}
BENCHMARK(BM_Write)->Arg(1)->Arg(10)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
