// Any datagram read as an RPC reply: no crash, no read past the data.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "rpc/zrrpcmessage.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A private copy, so the sanitizer catches any byte read beyond the datagram.
    std::vector<unsigned char> bytes(data, data + size);
    const unsigned char* p = bytes.data();
    unsigned long remaining = bytes.size();
    ZrRPCMessageFromServer reply;
    if (reply.Read(p, remaining) && reply.IsValid()) {
        // What decodes must pack again, and the copy must compare equal.
        ZrRPCMessageFromServer again(reply);
        if (!(again == reply) || reply.HowBig() == 0)
            __builtin_trap();
        (void)reply.DebugString(0);
    }
    return 0;
}
