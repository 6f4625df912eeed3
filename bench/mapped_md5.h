// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_BENCH_MAPPED_MD5_H
#define GREX_BENCH_MAPPED_MD5_H

#include <fcntl.h>
#include <openssl/evp.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

/// libcrypto's MD5 over a mapping of the file, as 16 bytes; empty when it failed.
inline std::string mappedMd5(const std::string& path)
{
    struct stat status = {};
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    fstat(fd, &status);
    const auto size = static_cast<std::size_t>(status.st_size);
    void* const data = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    close(fd);
    if (data == MAP_FAILED)
        return {};
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(data, size, digest, &length, EVP_md5(), nullptr);
    munmap(data, size);
    return {reinterpret_cast<const char*>(digest), length};
}

} // namespace bench

#endif
