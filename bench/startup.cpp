// SPDX-License-Identifier: Apache-2.0
// One `grexctl access` as a process, and a program that does nothing, linked to the same libraries.
#include "support.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <vector>

extern char** environ; // NOLINT(readability-redundant-declaration): not every libc declares it

namespace {

bool runs(std::vector<std::string> words)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    pid_t child = -1;
    int status = -1;
    const bool isStarted =
        posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return isStarted && waitpid(child, &status, 0) == child && status == 0;
}

void start(benchmark::State& state, const std::vector<std::string>& words)
{
    for ([[maybe_unused]] auto unused : state)
        if (!runs(words))
            return state.SkipWithError("failed");
}

void grexctlAccess(benchmark::State& state)
{
    bench::useFiles(10);
    const std::string& folder = bench::folder();
    bench::writeText(folder + "/users", bench::readText(bench::usersFile(10)));
    start(state, {GREXCTL, "--config-dir", folder, "--var-dir", folder, "access", "--login",
                  bench::loginOf(9), bench::lastModule()});
}
BENCHMARK(grexctlAccess)->UseRealTime();

void nothing(benchmark::State& state)
{
    start(state, {NOTHING});
}
BENCHMARK(nothing)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
