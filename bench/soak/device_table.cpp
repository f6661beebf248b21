// The agent's device table alone, for bench_soak.py: the same list type and records, one kept
// record, then `cycles` appends and removals, as the agent does for each drive added and removed.
// Prints the anonymous resident memory (RssAnon, KiB) after the warm-up and at the end, so that
// the agent's growth can be set beside what the table itself costs with this allocator.
//
//   soak_device_table <cycles> <warm-up cycles>
#include "app/clientwrapper.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

long AnonKiB() {
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f)
        return -1;
    char line[256];
    long kib = -1;
    while (std::fgets(line, sizeof line, f))
        if (std::strncmp(line, "RssAnon:", 8) == 0)
            kib = std::atol(line + 8);
    std::fclose(f);
    return kib;
}

using Record = ClientWrapper::DeviceRecord;

void Cycle(ZrDList<Record*>& table, int i) {
    auto record = std::make_unique<Record>(Record{ZrUniString("pc1"), ZrUniString(std::to_string(i).c_str()),
                                                  ZrUniString("user"), ZrUniString("password")});
    const uint32_t slot = table.Insert(record.release());
    delete table[slot];
    table.RemoveAt(slot);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: soak_device_table <cycles> <warm-up cycles>\n");
        return 2;
    }
    const int cycles = std::atoi(argv[1]);
    const int warmup = std::atoi(argv[2]);
    ZrDList<Record*> table{10}; // the agent's step
    table.Insert(
        new Record{ZrUniString("pc1"), ZrUniString("KEEP"), ZrUniString("user"), ZrUniString("password")});
    for (int i = 0; i < warmup; ++i)
        Cycle(table, i);
    const long before = AnonKiB();
    for (int i = 0; i < cycles; ++i)
        Cycle(table, warmup + i);
    std::printf("%ld %ld\n", before, AnonKiB());
    for (uint32_t i = 0; i < table.EndIndex(); ++i)
        if (table.IsOccupied(i))
            delete table[i];
    return 0;
}
