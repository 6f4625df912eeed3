// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_CRYPTPP_H
#define GREX_COMMON_STL_CRYPTPP_H

#include "common/stl/export.h"

#include <string>

/// Checksums (MD5, RFC 1321) and password hashes (crypt(5)). crypt(3) works in one static area: not
/// for several threads at once.
namespace crpt {

/// The MD5 of `len` bytes, as 32 lower-case hexadecimal digits.
GREX_API std::string md5EncryptHex(const char* data, unsigned len);
GREX_API void md5EncryptHex(const std::string& in, std::string& out);
/// The MD5 of `in`, as 16 raw bytes.
GREX_API void md5Encrypt(const std::string& in, std::string& out);
/// crypt(3) of `in` by the MD5 method with an empty salt: "$1$$" and 22 characters. Empty when
/// crypt refuses.
GREX_API std::string md5Encrypt(const std::string& in);

/// A fresh setting for the SHA-512 method: "$6$" and 16 characters. Takes at least 0.35 s. The
/// randomness is random(3)'s, which nobody seeds here: a program seeds it from getrandom(2), first
/// thing in main, or gets the salts of every other program that does not. A shared object without a
/// main, such as a PAM module, brings a state of its own for the call (initstate(3)). Empty when
/// crypt lacks one of the methods.
GREX_API std::string makeSalt();

/// `hash` becomes the SHA-512 crypt of `password` under a fresh salt (0.35 s and the hash's own
/// time); empty for a password that cannot be hashed: one that holds a NUL, or that crypt refuses.
GREX_API void makeHash(const std::string& password, std::string& hash);

/// True when `hash`, of any method that crypt(3) knows, is that of `password`. Never for a password
/// with a NUL nor for a hash that crypt refuses.
GREX_API bool compare(const std::string& password, const std::string& hash);

/// Bytes, from fstat(2); 0 when it fails.
GREX_API long fileSize(int fd);

/// The MD5 of a whole file, as 32 lower-case hexadecimal digits, under a shared flock(2) where one
/// can be had. Empty for a file that is empty or cannot be read. The descriptor stays the caller's.
GREX_API std::string fileMD5Checksum(int fd);
GREX_API std::string fileMD5Checksum(const std::string& path);

} // namespace crpt

#endif
