#include "foundation/file/zrfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "foundation/codeset/zrcodesetconverter.h"

ZrByteBuffer ZrFile::SystemPath(const ZrUniString& path) {
    ZrByteBuffer bytes = path.AsEncoding(ZrSysEncoding::filesystem, ZrSysEncoding::filesystemOptions);
    bytes.AppendByte(0);
    return bytes;
}

namespace {
const char* CPath(const ZrByteBuffer& bytes) {
    return reinterpret_cast<const char*>(bytes.Data());
}
} // namespace

bool ZrFile::ReadFile(const ZrUniString& path, ZrByteBuffer& out, uid_t* owner) {
    out.Clear();
    ZrByteBuffer name = SystemPath(path);
    int fd = open(CPath(name), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    struct stat st;
    bool ok = !owner || fstat(fd, &st) == 0;
    if (ok && owner)
        *owner = st.st_uid;
    unsigned char chunk[16384];
    while (ok) {
        ssize_t n = read(fd, chunk, sizeof chunk);
        if (n > 0) {
            out.Append(chunk, static_cast<uint64_t>(n));
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            ok = false;
            break;
        }
    }
    close(fd);
    return ok;
}

bool ZrFile::Mode(const ZrUniString& path, mode_t& mode) {
    struct stat st;
    if (stat(CPath(SystemPath(path)), &st) != 0)
        return false;
    mode = st.st_mode;
    return true;
}

bool ZrFile::OthersMayRead(const ZrUniString& path) {
    mode_t mode = 0;
    return Mode(path, mode) && (mode & (S_IRGRP | S_IROTH)) != 0;
}

bool ZrFile::Exists(const ZrUniString& path) {
    struct stat st;
    return lstat(CPath(SystemPath(path)), &st) == 0;
}

bool ZrFile::IsSymlink(const ZrUniString& path) {
    struct stat st;
    return lstat(CPath(SystemPath(path)), &st) == 0 && S_ISLNK(st.st_mode);
}

bool ZrFile::Symlink(const ZrUniString& target, const ZrUniString& path) {
    return symlink(CPath(SystemPath(target)), CPath(SystemPath(path))) == 0;
}

bool ZrFile::Unlink(const ZrUniString& path) {
    return unlink(CPath(SystemPath(path))) == 0;
}

bool ZrEnvironment::Get(const ZrUniString& name, ZrUniString& value) {
    const char* text = std::getenv(CPath(ZrFile::SystemPath(name)));
    ZrUniString converted;
    // A value that does not convert in full counts as unset rather than being used cut short.
    if (!text || !converted.CreateFrom(text, std::strlen(text), ZrSysEncoding::filesystem,
                                       ZrSysEncoding::filesystemOptions))
        return false;
    value = converted;
    return true;
}
