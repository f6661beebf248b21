// Facts about the machine the program runs on. Never fails: an unreadable host name is empty.
#pragma once

#include "foundation/string/zrunistring.h"

// This host's name as the system reports it (gethostname), read from UTF-8.
ZrUniString ZrSysInfoHostName();
