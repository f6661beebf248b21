// Feeds arbitrary text to the configuration database reader. Each input byte becomes one 16-bit unit,
// except that 0xFF followed by two bytes gives the unit (first << 8 | second), so any unit can appear
// while the structural characters stay one byte each. Whenever a text parses, writing the database and
// reading that text back must give the same keys and values, and writing settles on one text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "foundation/database/zrdatabase.h"

namespace {

ZrUniString Units(const uint8_t* data, size_t size) {
    std::vector<ZrUniChar> units;
    units.reserve(size);
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0xFF && i + 2 < size) {
            units.push_back(ZrUniChar(data[i + 1] << 8 | data[i + 2]));
            i += 2;
        } else {
            units.push_back(data[i]);
        }
    }
    return ZrUniString(units.data(), static_cast<uint32_t>(units.size()));
}

bool SameValues(const ZrDBEntry& a, const ZrDBEntry& b) {
    if (a.ValueList().Count() != b.ValueList().Count())
        return false;
    auto ib = b.ValueList().begin();
    for (const ZrUniString& value : a.ValueList()) {
        if (!(value == *ib))
            return false;
        ++ib;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZrDatabase db;
    bool ok = db.FromString(Units(data, size), 0);
    (void)db.ErrorString();
    if (!ok)
        return 0;
    ZrUniString text = db.ToString(-1);
    ZrDatabase back;
    if (!back.FromString(text, 0) || back.Count() != db.Count())
        abort();
    ZrDictionaryIterator<ZrDatabase::Pair> it(db.Entries());
    while (ZrDatabase::Pair* pair = it.Next()) {
        const ZrDBEntry* entry = back.Entry(pair->Key());
        if (!entry || !SameValues(pair->Value(), *entry))
            abort();
    }
    // The first written entry can lose a comment that begins with "##" (it reads as a header), so the
    // text itself is compared from the second writing on.
    ZrUniString second = back.ToString(-1);
    ZrDatabase third;
    if (!third.FromString(second, 0) || !(third.ToString(-1) == second))
        abort();
    return 0;
}
