// Reading the server configuration and forwarding personal configuration files.
#include "app/clientwrapper.h"

#include "foundation/codeset/zrconverter.h"
#include "foundation/database/zrdatabase.h"
#include "foundation/file/zrfile.h"
#include "foundation/system/zruserdatabase.h"

namespace {

ZrDList<ZrUniString> Values(ZrDatabase& db, const char* key) {
    ZrDList<ZrUniString> values;
    db.ListValues(ZrUniString(key), values);
    return values;
}

// The list a database fills has no holes: its first value is its first slot.
const ZrUniString& First(const ZrDList<ZrUniString>& values) {
    static const ZrUniString none;
    return values.IsEmpty() ? none : values[0];
}

} // namespace

void ClientWrapper::ReadFromFile(const ZrUniString& path, ZrByteBuffer& out, bool check) {
    if (check) {
        // Only the read bits of group and others matter; a failed status query is left to the read.
        if (ZrFile::OthersMayRead(path))
            ExitBadMode(path);
    }
    if (!ZrFile::ReadFile(path, out))
        ExitBadOpen(path);
}

void ClientWrapper::LoadConfigFromFile(const ZrUniString& path) {
    ZrByteBuffer bytes;
    if (!ZrFile::ReadFile(path, bytes, &m_configOwner))
        ExitBadOpen(path);
    ZrUniString text;
    // Bytes that are not UTF-8 give the text that decoded; the parser then judges it.
    (void)text.CreateFrom(bytes.Data(), bytes.Length(), kZrEncodingUtf8, 0);
    LoadConfig(text);
}

// Not called by the agent; sends a personal configuration file; the agent sends only drive entries.
void ClientWrapper::SendSetConfigFromFile(const ZrUniString& path) {
    ZrByteBuffer bytes;
    ReadFromFile(path, bytes, true);
    ZrUniString text;
    // Forwarded as far as it decodes; the file server judges the text.
    (void)text.CreateFrom(bytes.Data(), bytes.Length(), kZrEncodingUtf8, 0);
    bytes.Clear(); // personal configuration may hold passwords: its last reference goes (and wipes it) now
    SendSetConfig(text);
}

void ClientWrapper::LoadConfig(const ZrUniString& text) {
    ZrDatabase db;
    if (!db.FromString(text, 0))
        ExitBadServerConfig(db.ErrorString());

    struct Required {
        const char* key;
        const char* missing;
        ZrUniString& target;
    } required[] = {
        {"nfsserver/mount/port", "No port number defined: nfsserver/mount/port", m_serverConfig.port},
        {"nfsserver/mount/realserver", "No server name defined: nfsserver/mount/realserver",
         m_serverConfig.realServer},
        {"nfsserver/client/timeout", "No client timeout defined: nfsserver/client/timeout",
         m_serverConfig.clientTimeout},
        {"nfsserver/mount/mountpoint", "No server mountpoint defined: nfsserver/mount/mountpoint",
         m_serverConfig.mountPoint},
    };
    for (Required& r : required) {
        ZrDList<ZrUniString> values = Values(db, r.key);
        if (values.Count() != 1)
            ExitBadServerConfig(ZrUniString(r.missing));
        r.target = First(values);
    }

    ZrDList<ZrUniString> names = Values(db, "nfsserver/user/symlinkname");
    if (names.Count() > 1)
        ExitBadServerConfig(ZrUniString("Invalid symlink name: nfsserver/user/symlinkname"));
    m_symlinkName = names.Count() == 1 ? First(names) : ZrUniString(WEX_CDM_SYMLINK_NAME);

    ZrDList<ZrUniString> dirs = Values(db, "nfsserver/user/symlinkdir");
    if (dirs.Count() > 1)
        ExitBadServerConfig(ZrUniString("Invalid symlink dir: nfsserver/user/symlinkdir"));
    if (dirs.Count() == 1) {
        m_symlinkDir = First(dirs);
    } else {
        ZrUserEntry entry;
        m_symlinkDir =
            ZrUserDatabaseIterator::Find(UserName(), entry) ? entry.home : ZrUniString("/tmp/$USER");
    }
    PerformSubstitutions(m_symlinkDir, &db);
}

void ClientWrapper::PerformSubstitutions(ZrUniString& text, ZrDatabase* db) {
    ZrDList<ZrUniString> names;
    names.Insert(ZrUniString("USER"));
    names.Insert(ZrUniString("HOME"));
    names.Insert(ZrUniString("LOGNAME"));
    if (db)
        db->ListValues(ZrUniString("nfsserver/user/envvars"), names);
    for (const ZrUniString& name : names) {
        ZrUniString value;
        if (ZrEnvironment::Get(name, value))
            text.Substitute(ZrUniString("$") + name, value);
    }
}
