#include "net/zrinetaddrstream.h"

// Not called by the agent; prints an address; the agent's messages print none.
ZrOStream& operator<<(ZrOStream& out, const ZrInetAddr& address) {
    out.WriteString(address.AsString(true));
    return out;
}
