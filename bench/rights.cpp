// SPDX-License-Identifier: Apache-2.0
// The right of a group on the last of 100 modules, and the check of the file's time alone.
#include "support.h"

#include "grex/module_access.h"

namespace {

void grexRight(benchmark::State& state)
{
    bench::useFiles(10);
    const std::string module = bench::lastModule();
    const grex::ModuleAccess access;
    for ([[maybe_unused]] auto unused : state)
        if (access.moduleAccess(2, module) != 3)
            return state.SkipWithError("wrong level");
}
BENCHMARK(grexRight);

void floorOfRight(benchmark::State& state)
{
    const std::string path = bench::folder() + "/modacc";
    for ([[maybe_unused]] auto unused : state)
        bench::checkFile(path);
}
BENCHMARK(floorOfRight);

} // namespace

BENCHMARK_MAIN();
