// SPDX-License-Identifier: Apache-2.0
// The MD5 of a file of 12 MB: the library, and libcrypto over the same kind of mapping.
#include "support.h"

#include "common/stl/crypt++.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t users = 100000;

void grexChecksum(benchmark::State& state)
{
    const std::string& path = bench::usersFile(users);
    for ([[maybe_unused]] auto unused : state)
        if (crpt::fileMD5Checksum(path).size() != 32)
            return state.SkipWithError("no checksum");
}
BENCHMARK(grexChecksum);

void libcryptoChecksum(benchmark::State& state)
{
    const std::string& path = bench::usersFile(users);
    for ([[maybe_unused]] auto unused : state) {
        struct stat status = {};
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        fstat(fd, &status);
        const auto size = static_cast<std::size_t>(status.st_size);
        void* const data = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
        unsigned char digest[EVP_MAX_MD_SIZE];
        if (EVP_Digest(data, size, digest, nullptr, EVP_md5(), nullptr) != 1)
            return state.SkipWithError("no digest");
        benchmark::DoNotOptimize(digest);
        munmap(data, size);
        close(fd);
    }
}
BENCHMARK(libcryptoChecksum);

} // namespace

BENCHMARK_MAIN();
