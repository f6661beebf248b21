// The process-wide message streams and the default server configuration path, created before main
// runs (in this order: cerr, cout, g_strConfigFile) and destroyed at exit in reverse order.
#pragma once

#include "foundation/string/zrunistring.h"
#include "net/zrostream.h"

extern ZrOFStream cerr; // standard error, UTF-8
extern ZrOFStream cout; // standard output, UTF-8
extern ZrUniString g_strConfigFile;
