// Resident memory of a process that links the codeset converters: VmRSS and VmHWM after start-up,
// after converting an ASCII string (no table), and after converting one Shift-JIS string each way
// (which pages in part of that table). The tables are read-only data, so only what a conversion
// touches becomes resident.
#include <cstdio>
#include <cstring>
#include <string>

#include "foundation/codeset/zrcodesetconverter.h"

namespace {

void Report(const char* when) {
    std::FILE* f = std::fopen("/proc/self/status", "r");
    if (!f)
        return;
    char line[256];
    std::string rss, hwm;
    while (std::fgets(line, sizeof line, f)) {
        line[std::strcspn(line, "\n")] = 0;
        const char* value = line + 6 + std::strspn(line + 6, " \t");
        if (std::strncmp(line, "VmRSS:", 6) == 0)
            rss = value;
        else if (std::strncmp(line, "VmHWM:", 6) == 0)
            hwm = value;
    }
    std::fclose(f);
    std::printf("%-34s VmRSS %9s  VmHWM %9s\n", when, rss.c_str(), hwm.c_str());
}

} // namespace

int main() {
    Report("start-up");
    ZrUniString ascii("plain ASCII text, no table needed");
    Report("after a UTF-8 string");
    // "日本語のテキスト" in Shift-JIS.
    static const unsigned char kSjis[] = {0x93, 0xFA, 0x96, 0x7B, 0x8C, 0xEA, 0x82, 0xCC,
                                          0x83, 0x65, 0x83, 0x4C, 0x83, 0x58, 0x83, 0x67};
    ZrUniString text;
    bool decoded = text.CreateFrom(kSjis, sizeof kSjis, 34, 0);
    ZrByteBuffer back;
    bool encoded = text.AsEncoding(34, 0, back);
    Report("after one Shift-JIS string");
    return decoded && encoded && back.Length() == sizeof kSjis ? 0 : 1;
}
