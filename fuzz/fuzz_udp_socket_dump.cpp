// Any bytes read as one datagram of the kernel's reply to a UDP socket dump: no crash, no read past
// them, a reading that succeeds finds no more sockets than whole messages fit, and one that fails
// says why.
#include <linux/inet_diag.h>
#include <linux/netlink.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "net/zrudpportholders.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A private copy, so the sanitizer catches any byte read beyond the datagram.
    std::vector<unsigned char> bytes(data, data + size);
    ZrInetAddr server(0x7F000001);
    if (!server.Port(7000))
        __builtin_trap();
    ZrUdpPortHolders holders;
    bool done = false;
    // The sequence number the first messages of the corpus carry.
    if (holders.ReadReply(bytes.data(), bytes.size(), 1, server, done)
            ? holders.Owners().size() > size / NLMSG_LENGTH(sizeof(inet_diag_msg))
            : holders.LastError().Length() == 0 || done)
        __builtin_trap();
    return 0;
}
