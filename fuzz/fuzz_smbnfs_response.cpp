// Any bytes read as a file-server control response: no crash, no read past the data.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "rpc/zrsmbnfsresponse.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<unsigned char> bytes(data, data + size);
    const unsigned char* p = bytes.data();
    unsigned long remaining = bytes.size();
    ZrSMBNFSResponse response;
    if (response.Read(p, remaining)) {
        // A response that reads packs to the bytes it consumed.
        unsigned long used = static_cast<unsigned long>(bytes.size()) - remaining;
        if (response.HowBig() != used)
            __builtin_trap();
        ZrSMBNFSResponse again(response);
        if (!(again == response))
            __builtin_trap();
    }
    return 0;
}
