#include "net/zrinetaddrstream.h"

ZrOStream& operator<<(ZrOStream& out, const ZrInetAddr& address) {
    out.WriteString(address.AsString(true));
    return out;
}
