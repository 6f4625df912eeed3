// SPDX-License-Identifier: Apache-2.0
// A file that has changed is read again: the library alone, with the first lookup after it, and
// with as many lookups as make the index; beside it a std::getline loop.
#include "support.h"

#include "grex/grex_db.h"

namespace {

using grex::__private__::GrexDB;

void grexReread(benchmark::State& state, int lookups)
{
    const auto users = static_cast<std::size_t>(state.range(0));
    FileCache file(bench::usersFile(users));
    const GrexDB db;
    const std::string login = bench::loginOf(users - 1);
    for ([[maybe_unused]] auto unused : state) {
        file.modifTime = 0;
        if (!file.update() || file.lines.size() != users)
            return state.SkipWithError("not read");
        for (int i = 0; i < lookups; ++i)
            benchmark::DoNotOptimize(db.findUserLine(file, login));
    }
}

void getlineLoop(benchmark::State& state)
{
    const std::string& path = bench::usersFile(static_cast<std::size_t>(state.range(0)));
    std::deque<std::string> lines;
    bench::readWithGetline(path, lines); // there are always old lines to free
    for ([[maybe_unused]] auto unused : state)
        bench::readWithGetline(path, lines);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    for (const int users : {10, 1000, 100000, 1000000})
        benchmark->Arg(users);
}

BENCHMARK_CAPTURE(grexReread, alone, 0)->Apply(sizes);
BENCHMARK_CAPTURE(grexReread, lookup, 1)->Apply(sizes);
BENCHMARK_CAPTURE(grexReread, lookups, 5)->Apply(sizes);
BENCHMARK(getlineLoop)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
