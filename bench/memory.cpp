// SPDX-License-Identifier: Apache-2.0
// Resident memory over the bytes of the file, each size in a process of its own: after the lookups
// that make the index, after the file was read again, and at the highest.
#include "support.h"

#include "grex/grex_db.h"

#include <cstdio>
#include <filesystem>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Usage {
    double held = 0;
    double reread = 0;
    double highest = 0;
};

double residentBytes()
{
    long total = 0;
    long resident = 0;
    std::FILE* const file = std::fopen("/proc/self/statm", "r");
    const bool isRead = file && std::fscanf(file, "%ld %ld", &total, &resident) == 2;
    if (file)
        std::fclose(file);
    return isRead ? static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) : 0;
}

double highestBytes()
{
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024;
}

Usage measure(const std::string& path)
{
    const grex::__private__::GrexDB db;
    const double before = residentBytes();
    FileCache file(path);
    for (int i = 0; i < 8; ++i)
        db.findUserLine(file, bench::loginOf(0));
    Usage usage;
    usage.held = residentBytes() - before;
    file.modifTime = 0;
    for (int i = 0; i < 8; ++i)
        db.findUserLine(file, bench::loginOf(0));
    usage.reread = residentBytes() - before;
    usage.highest = highestBytes() - before;
    return usage;
}

// The child is forked before anything large was allocated here.
bool measureInChild(const std::string& path, Usage& usage)
{
    int ends[2];
    if (pipe(ends) != 0)
        return false;
    const pid_t child = fork();
    if (child == 0) {
        const Usage measured = measure(path);
        const bool isTold = write(ends[1], &measured, sizeof(measured)) == sizeof(measured);
        _exit(isTold ? 0 : 1);
    }
    close(ends[1]);
    const bool isHeard = read(ends[0], &usage, sizeof(usage)) == sizeof(usage);
    close(ends[0]);
    int status = 0;
    return waitpid(child, &status, 0) == child && isHeard && status == 0;
}

void grexMemory(benchmark::State& state)
{
    const auto users = static_cast<std::size_t>(state.range(0));
    const std::string& path = bench::usersFile(users);
    const double bytes = static_cast<double>(std::filesystem::file_size(path));
    Usage usage;
    for ([[maybe_unused]] auto unused : state)
        if (!measureInChild(path, usage))
            return state.SkipWithError("not measured");
    state.counters["held"] = usage.held / bytes;
    state.counters["reread"] = usage.reread / bytes;
    state.counters["highest"] = usage.highest / bytes;
}
BENCHMARK(grexMemory)->Arg(100000)->Arg(1000000)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
