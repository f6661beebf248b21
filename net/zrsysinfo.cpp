#include "net/zrsysinfo.h"

#include <unistd.h>

ZrUniString ZrSysInfoHostName() {
    char name[256];
    if (::gethostname(name, sizeof name) != 0)
        return ZrUniString();
    name[sizeof name - 1] = '\0';
    return ZrUniString(name);
}
