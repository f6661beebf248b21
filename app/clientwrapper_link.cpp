// The link in the user's home directory that leads to the drives under the file server's mount point.
// It is never made over an existing entry and only ever removed when it is a link.
#include "app/clientwrapper.h"

#include "foundation/file/zrfile.h"
#include "net/zrostream.h"

bool ClientWrapper::FileExists(const ZrUniString& path) {
    return ZrFile::Exists(path);
}
bool ClientWrapper::FileIsSymlink(const ZrUniString& path) {
    return ZrFile::IsSymlink(path);
}
bool ClientWrapper::Unlink(const ZrUniString& path) {
    return ZrFile::Unlink(path);
}

ZrUniString ClientWrapper::LinkPath() const {
    return m_symlinkDir + ZrUniString("/") + m_symlinkName;
}

void ClientWrapper::CreateSymlink(const ZrUniString& host) {
    ZrUniString target = m_serverConfig.mountPoint + ZrUniString("/") + UserName() + ZrUniString("/") + host;
    ZrUniString link = LinkPath();
    // An entry already there is kept whatever it is: a link from an earlier run may lead to another
    // host's drives.
    if (FileExists(link))
        return;
    (void)ZrFile::Symlink(target, link); // a link that cannot be made is simply not there
}

bool ClientWrapper::DeleteSymlink() {
    ZrUniString link = LinkPath();
    if (FileIsSymlink(link))
        Unlink(link);
    // Whatever the removal said, what counts is whether the link is still there.
    if (!FileIsSymlink(link))
        return true;
    m_err << "Failed to remove the link: " << link << "\n";
    m_err.Flush();
    return false;
}
