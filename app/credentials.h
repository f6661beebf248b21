// The user's credentials as the agent uses them: the local account name that names the user towards
// the file server, and the client's encoded user name and password turned into the values of the
// share configuration. Decoding never fails (bad input gives shorter or empty text); an unknown
// current user ends the process (ExitBadUser). Clear passwords and keys are wiped after use.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/string/zrbytebuffer.h"
#include "foundation/string/zrcstring.h"
#include "foundation/string/zrunistring.h"

namespace credentials {

// The local account name, worked out on the first call and returned unchanged by every later call.
// A non-empty `nameOverride` is taken as the name when the process runs as the superuser, or when it
// is the effective user's own name; otherwise, and when the effective user has no entry in the
// account database, the process ends through ExitBadUser.
const ZrUniString& UserName(const ZrUniString& nameOverride);

// The rule of UserName for a given effective user ID, without saving or exiting: false where
// UserName would call ExitBadUser.
bool ResolveUserName(const ZrUniString& nameOverride, uint32_t euid, ZrUniString& name);

// Writes "Failed to work out the current user\n" to the error stream and exits with kExitBadSetup.
[[noreturn]] void ExitBadUser();

// The client's user name: the text decoded with the program's Base64 alphabet, read as UTF-8.
ZrUniString DecodeUsername(const ZrUniString& text);

// The client's password in the form the file server keeps: decoded like the user name, then
// ConvertPassword under `accountName` (normally UserName()), returned as text in the file-system codeset.
ZrUniString DecodePassword(const ZrUniString& text, const ZrUniString& accountName);

// Enciphers `password` (up to its terminating zero) under the key of `accountName` and appends
// it to `out` as hexadecimal digits, low nibble first, 16 digits per 8-byte block. The block
// sequence is a length byte ('A' + length, modulo 256), the password, then spaces to a multiple of 8.
void ConvertPassword(const char* password, const ZrUniString& accountName, ZrCString& out);
void ConvertPassword(const unsigned char* password, size_t length, const ZrUniString& accountName,
                     ZrCString& out);

// The 7-byte DES key of a conversion: the first 7 characters of "%07X" of `checksum` exclusive-or
// the build's password mask. The caller wipes the result.
ZrByteBuffer PasswordKey(uint32_t checksum);

} // namespace credentials
