#include "foundation/system/zruserdatabase.h"

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "foundation/codeset/zrcodesetconverter.h"

namespace {

thread_local int t_lastError = 0;

ZrUniString FromSystem(const char* text) {
    ZrUniString result;
    // An entry's fields are taken as far as they convert; a lookup does not fail over them.
    if (text != nullptr)
        (void)result.CreateFrom(text, std::strlen(text), ZrSysEncoding::filesystem,
                                ZrSysEncoding::filesystemOptions);
    return result;
}

// Copies a passwd record; false when its name or home directory does not convert in full in the
// file-system codeset: a name or a path taken only as far as it converts would be another account's.
bool CopyEntry(const passwd& record, ZrUserEntry& entry) {
    if (record.pw_name == nullptr ||
        !entry.name.CreateFrom(record.pw_name, std::strlen(record.pw_name), ZrSysEncoding::filesystem,
                               ZrSysEncoding::filesystemOptions) ||
        entry.name.IsEmpty())
        return false;
    if (record.pw_dir != nullptr &&
        !entry.home.CreateFrom(record.pw_dir, std::strlen(record.pw_dir), ZrSysEncoding::filesystem,
                               ZrSysEncoding::filesystemOptions))
        return false;
    entry.uid = record.pw_uid;
    entry.gid = record.pw_gid;
    entry.shell = FromSystem(record.pw_shell);
    return true;
}

// Runs one reentrant lookup, growing the scratch buffer while the C library asks for more room.
template <typename Lookup> bool FindWith(Lookup lookup, ZrUserEntry& entry) {
    long hint = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> scratch(hint > 0 ? static_cast<size_t>(hint) : 1024);
    for (;;) {
        passwd record{};
        passwd* found = nullptr;
        int rc = lookup(&record, scratch.data(), scratch.size(), &found);
        if (rc == ERANGE && scratch.size() < (1u << 20)) {
            scratch.resize(scratch.size() * 2);
            continue;
        }
        // Not found is reported as success with no record; some C libraries use ENOENT and the like.
        t_lastError = (rc == 0 || rc == ENOENT || rc == ESRCH || rc == EBADF || rc == EPERM) ? 0 : rc;
        if (rc != 0 || found == nullptr)
            return false;
        return CopyEntry(record, entry);
    }
}

} // namespace

uint32_t ZrUserDatabaseIterator::EffectiveUserId() {
    return static_cast<uint32_t>(geteuid());
}

bool ZrUserDatabaseIterator::Find(uint32_t uid, ZrUserEntry& entry) {
    return FindWith(
        [uid](passwd* record, char* buffer, size_t size, passwd** found) {
            return getpwuid_r(static_cast<uid_t>(uid), record, buffer, size, found);
        },
        entry);
}

bool ZrUserDatabaseIterator::Find(const ZrUniString& name, ZrUserEntry& entry) {
    t_lastError = 0;
    ZrByteBuffer bytes;
    if (name.IsEmpty() ||
        !name.AsEncoding(ZrSysEncoding::filesystem, ZrSysEncoding::filesystemOptions, bytes))
        return false;
    bytes.AppendByte(0);
    const char* text = reinterpret_cast<const char*>(bytes.Data());
    // A name with an embedded zero byte would silently look up a different account.
    if (std::strlen(text) + 1 != bytes.Length())
        return false;
    return FindWith([text](passwd* record, char* buffer, size_t size,
                           passwd** found) { return getpwnam_r(text, record, buffer, size, found); },
                    entry);
}

int ZrUserDatabaseIterator::LastError() {
    return t_lastError;
}

ZrUserDatabaseIterator::ZrUserDatabaseIterator() {
    setpwent();
}

ZrUserDatabaseIterator::~ZrUserDatabaseIterator() {
    endpwent();
}

bool ZrUserDatabaseIterator::Next(ZrUserEntry& entry) {
    std::vector<char> scratch(4096);
    for (;;) {
        passwd record{};
        passwd* found = nullptr;
        int rc = getpwent_r(&record, scratch.data(), scratch.size(), &found);
        if (rc == ERANGE && scratch.size() < (1u << 20)) {
            scratch.resize(scratch.size() * 2);
            continue;
        }
        t_lastError = rc == ENOENT ? 0 : rc;
        if (rc != 0 || found == nullptr)
            return false;
        // Entries whose names do not convert are passed over rather than ending the walk.
        if (CopyEntry(record, entry))
            return true;
    }
}
