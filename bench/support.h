// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_BENCH_SUPPORT_H
#define GREX_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>

/// What the benchmarks share: generated files in a folder that is removed at exit, and the costs
/// that nothing can go below.
namespace bench {

constexpr char password[] = "correct horse";

/// A folder of this process, with a modacc file of 100 modules, "module00" to "module99".
const std::string& folder();
/// The last of the modules.
std::string lastModule();

/// A file of `count` users, all with `password`, 120 bytes a record; made once.
const std::string& usersFile(std::size_t count);
std::string loginOf(std::size_t number);
/// The hash of `password` that all users have.
const std::string& hash();

/// Makes the library use our folder and the file of `count` users.
void useFiles(std::size_t count);

/// open, fstat, close: the least that a look at the time of a file takes.
void checkFile(const std::string& path);
/// A std::getline loop over the file into `lines`.
void readWithGetline(const std::string& path, std::deque<std::string>& lines);

std::string readText(const std::string& path);
void writeText(const std::string& path, const std::string& text);

/// Runs `action` and tells the benchmark the time on the wall that it took.
template <class Action> void timeOnTheWall(benchmark::State& state, Action action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    state.SetIterationTime(elapsed.count());
}

} // namespace bench

#endif
