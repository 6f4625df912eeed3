// SPDX-License-Identifier: Apache-2.0
// The MD5 of a file of 12 MB: the library, and libcrypto over the same kind of mapping.
#include "mapped_md5.h"
#include "support.h"

#include "common/stl/crypt++.h"

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
    for ([[maybe_unused]] auto unused : state)
        if (bench::mappedMd5(path).size() != 16)
            return state.SkipWithError("no digest");
}
BENCHMARK(libcryptoChecksum);

} // namespace

BENCHMARK_MAIN();
