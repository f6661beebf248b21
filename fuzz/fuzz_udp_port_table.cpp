// Any text read as a kernel UDP socket table, in both layouts: no crash, no read past the text, and a
// text that reads finds no more sockets than it has lines.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "net/zrudpportholders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A private copy, so the sanitizer catches any byte read beyond the text.
    std::vector<char> bytes(data, data + size);
    std::string_view text(bytes.data(), bytes.size());
    size_t lines = 0;
    for (char c : text)
        lines += c == '\n';
    ZrInetAddr server(0x7F000001);
    if (!server.Port(7000))
        __builtin_trap();
    for (bool ipv6 : {false, true}) {
        ZrUdpPortHolders holders;
        if (holders.ReadTable(text, ipv6, server) ? holders.Owners().size() >= lines && lines > 0
                                                  : holders.LastError().Length() == 0)
            __builtin_trap();
    }
    return 0;
}
