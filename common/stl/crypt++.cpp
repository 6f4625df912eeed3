// SPDX-License-Identifier: Apache-2.0
#include "common/stl/crypt++.h"

#include "common/stl/descriptor.h"
#include "common/stl/md5.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <crypt.h>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace crpt {

namespace {

constexpr std::string::size_type DIG_SIZE = 16;
constexpr std::string::size_type methodLength = 3; // "$6$"
constexpr useconds_t saltPause = 350000;           // microseconds

std::string md5Digest(const char* data, std::size_t len)
{
    md5_state_t state;
    md5_init(&state);
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    while (len > 0) { // md5_append() counts in int
        const int piece = static_cast<int>(std::min<std::size_t>(len, INT_MAX));
        md5_append(&state, bytes, piece);
        bytes += piece;
        len -= static_cast<std::size_t>(piece);
    }
    unsigned char digest[DIG_SIZE];
    md5_finish(&state, digest);
    return {reinterpret_cast<const char*>(digest), DIG_SIZE};
}

std::string hex(const std::string& bytes)
{
    std::string text;
    text.reserve(2 * bytes.size());
    for (const char byte : bytes)
        for (const int shift : {4, 0})
            text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> shift & 0xf];
    return text;
}

// crypt(3) tells a failure by null or by a text that begins with '*', which no hash does. It would
// take a text only up to a NUL, and so the first half of a password for the whole.
std::string cryptOrEmpty(const std::string& text, const std::string& setting)
{
    if (text.find('\0') != std::string::npos)
        return {};
    const char* const hash = crypt(text.c_str(), setting.c_str());
    return hash && hash[0] != '*' ? hash : std::string();
}

// Turns the MD5 crypt of an empty salt ("$1$$" and 22 characters) into a SHA-512 setting: "$6$" and
// 16 of the 22, six being left out at a random place. Empty stays empty.
std::string toSetting(std::string md5Hash)
{
    if (md5Hash.size() <= methodLength)
        return {};
    md5Hash[1] = '6';
    md5Hash.erase(methodLength, 1);
    const std::string::size_type place =
        methodLength + static_cast<std::string::size_type>(random()) % 16;
    md5Hash.erase(place, std::min<std::string::size_type>(6, md5Hash.size() - place));
    return md5Hash;
}

class SharedLock {
public:
    explicit SharedLock(int fd) : fd_(fd), taken_(flock(fd, LOCK_SH) == 0) {}
    ~SharedLock()
    {
        if (taken_)
            flock(fd_, LOCK_UN);
    }
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

private:
    int fd_;
    bool taken_;
};

class Mapping {
public:
    Mapping(int fd, std::size_t size)
        : data_(mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0)), size_(size)
    {
    }
    ~Mapping()
    {
        if (isMapped())
            munmap(data_, size_);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    bool isMapped() const { return data_ != MAP_FAILED; }
    void synchronise() { msync(data_, size_, MS_SYNC); }
    const char* data() const { return static_cast<const char*>(data_); }

private:
    void* data_;
    std::size_t size_;
};

} // namespace

std::string md5EncryptHex(const char* data, unsigned len)
{
    return hex(md5Digest(data, len));
}

void md5EncryptHex(const std::string& in, std::string& out)
{
    out = hex(md5Digest(in.data(), in.size()));
}

void md5Encrypt(const std::string& in, std::string& out)
{
    const std::string md5sum = md5Digest(in.data(), in.size());
    assert(md5sum.size() == DIG_SIZE);
    out = md5sum;
}

std::string md5Encrypt(const std::string& in)
{
    return cryptOrEmpty(in, "$1$");
}

std::string makeSalt()
{
    char buffer[32] = {};
    const long first = random();
    std::snprintf(buffer, sizeof(buffer), "%li%li", static_cast<long>(std::time(nullptr)), first);
    const std::string setting = toSetting(md5Encrypt(buffer));
    usleep(saltPause); // the second round sees a later time
    const long second = static_cast<long>(std::time(nullptr)) ^ random();
    std::snprintf(buffer, sizeof(buffer), "%li", second);
    return toSetting(md5Encrypt(cryptOrEmpty(buffer, setting)));
}

void makeHash(const std::string& password, std::string& hash)
{
    const std::string salt = makeSalt();
    hash = salt.empty() ? std::string() : cryptOrEmpty(password, salt);
}

bool compare(const std::string& password, const std::string& hash)
{
    const std::string candidate = cryptOrEmpty(password, hash);
    return !candidate.empty() && candidate == hash;
}

long fileSize(int fd)
{
    struct stat status = {};
    return fstat(fd, &status) == 0 ? static_cast<long>(status.st_size) : 0;
}

std::string fileMD5Checksum(int fd)
{
    const SharedLock lock(fd);
    const long size = fileSize(fd);
    if (size <= 0)
        return {};
    Mapping file(fd, static_cast<std::size_t>(size));
    if (!file.isMapped())
        return {};
    file.synchronise();
    return hex(md5Digest(file.data(), static_cast<std::size_t>(size)));
}

std::string fileMD5Checksum(const std::string& path)
{
    const sx::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file.isOpen() ? fileMD5Checksum(file.get()) : std::string();
}

} // namespace crpt
