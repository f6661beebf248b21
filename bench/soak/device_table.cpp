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
#include <string>

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

void Cycle(ClientWrapper::DeviceTable& table, int i) {
    const uint32_t slot = table.InsertNonConst(
        std::make_unique<Record>(Record{ZrUniString("pc1"), ZrUniString(std::to_string(i).c_str()),
                                        ZrUniString("user"), ZrUniString("password")}));
    (void)table.RemoveAt(slot); // the slot was just filled
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: soak_device_table <cycles> <warm-up cycles>\n");
        return 2;
    }
    const int cycles = std::atoi(argv[1]);
    const int warmup = std::atoi(argv[2]);
    ClientWrapper::DeviceTable table{10}; // the agent's step
    (void)table.InsertNonConst(std::make_unique<Record>(
        Record{ZrUniString("pc1"), ZrUniString("KEEP"), ZrUniString("user"), ZrUniString("password")}));
    for (int i = 0; i < warmup; ++i)
        Cycle(table, i);
    const long before = AnonKiB();
    for (int i = 0; i < cycles; ++i)
        Cycle(table, warmup + i);
    std::printf("%ld %ld\n", before, AnonKiB());
    return 0;
}
