// ZrUserDatabaseIterator: lookups in the system's account database (by user ID, by name) and a walk
// over all of its entries. Entries are copied out as ZrUserEntry values the caller owns. Nothing
// throws: a missing entry or a failed lookup returns false, and LastError() tells which it was.
#pragma once

#include <cstdint>

#include "foundation/string/zrunistring.h"

struct ZrUserEntry {
    ZrUniString name;
    uint32_t uid = 0;
    uint32_t gid = 0;
    ZrUniString home;
    ZrUniString shell;
};

class ZrUserDatabaseIterator {
public:
    // The entry of `uid` / of `name`; false when there is none or the lookup failed.
    [[nodiscard]] static bool Find(uint32_t uid, ZrUserEntry& entry);
    [[nodiscard]] static bool Find(const ZrUniString& name, ZrUserEntry& entry);
    // The system error of the last failed lookup on this thread; 0 when the entry simply did not exist.
    static int LastError();
    // The process's effective user ID, the usual key of the lookups above.
    static uint32_t EffectiveUserId();

    // Walking the database rewinds and holds the system's one shared cursor: one walk at a time.
    ZrUserDatabaseIterator();
    ~ZrUserDatabaseIterator();
    ZrUserDatabaseIterator(const ZrUserDatabaseIterator&) = delete;
    ZrUserDatabaseIterator& operator=(const ZrUserDatabaseIterator&) = delete;
    // The next entry; false at the end.
    [[nodiscard]] bool Next(ZrUserEntry& entry);
};
