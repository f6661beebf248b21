// File-system access for the agent: whole-file reads, entry status and symbolic links. Paths are
// ZrUniStrings converted to the file-system codeset (ZrSysEncoding::filesystem) on the way to the
// system. Nothing here throws; every operation reports failure as false.
#pragma once

#include <sys/types.h>

#include "foundation/string/zrunistring.h"

class ZrFile {
public:
    // Reads the whole file into `out` (replacing its contents); `owner`, when given, receives the
    // uid that owns the very file read.
    [[nodiscard]] static bool ReadFile(const ZrUniString& path, ZrByteBuffer& out, uid_t* owner = nullptr);
    // stat() of the path (links followed): its mode bits.
    [[nodiscard]] static bool Mode(const ZrUniString& path, mode_t& mode);
    // True when stat() succeeds and the mode lets the group or others read (owner, write and execute
    // bits aside); false too when the status cannot be read.
    static bool OthersMayRead(const ZrUniString& path);
    // lstat() succeeds: a dangling link counts as existing.
    static bool Exists(const ZrUniString& path);
    static bool IsSymlink(const ZrUniString& path);
    [[nodiscard]] static bool Symlink(const ZrUniString& target, const ZrUniString& path);
    [[nodiscard]] static bool Unlink(const ZrUniString& path);

    // The path as a zero-terminated byte string in the file-system codeset.
    static ZrByteBuffer SystemPath(const ZrUniString& path);
};

// The process environment, read in the file-system codeset.
class ZrEnvironment {
public:
    // False when the variable is not set or its value does not convert in full (an empty value is set).
    [[nodiscard]] static bool Get(const ZrUniString& name, ZrUniString& value);
};
