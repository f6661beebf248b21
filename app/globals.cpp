#include "app/globals.h"

#include <unistd.h>

#include "foundation/codeset/zrconverter.h"

ZrOFStream cerr(STDERR_FILENO, kZrEncodingUtf8, 0);
ZrOFStream cout(STDOUT_FILENO, kZrEncodingUtf8, 0);
ZrUniString g_strConfigFile("/opt/kpa_tem/etc/client.prf");
