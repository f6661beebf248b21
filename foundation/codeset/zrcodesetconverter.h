// ZrCodesetConverter: converts between ZrUniString and byte strings in the 43 known encodings, known by
// identifier (0-42; 43 means none) or by name. The converter table is constant data; registries of
// names are built on first use. Nothing here throws; failed conversions return false.
#pragma once

#include "foundation/codeset/zrconverter.h"

class ZrCodesetConverter {
public:
    // The table entry for `id`; identifiers above 42 reach slot 43, whose operations fail.
    static const ZrConverter& GetConverter(unsigned id);
};

// The codeset used for file-system paths and its option word.
struct ZrSysEncoding {
    static unsigned filesystem;
    static unsigned filesystemOptions;
};
