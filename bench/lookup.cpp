// SPDX-License-Identifier: Apache-2.0
// A lookup in a file that has not changed: the library, a constant database and a plain scan after
// the same check of the file's time, and that check alone.
#include "support.h"

#include "grex/grex_db.h"

#include <algorithm>
#include <cdb.h>
#include <fcntl.h>
#include <map>
#include <random>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace {

using grex::__private__::GrexDB;

std::size_t usersOf(const benchmark::State& state)
{
    return static_cast<std::size_t>(state.range(0));
}

// A thousand users, drawn once for each size, so that all are asked for the same.
const std::vector<std::string>& randomLogins(std::size_t users)
{
    static std::map<std::size_t, std::vector<std::string>> drawn;
    std::vector<std::string>& logins = drawn[users];
    std::mt19937 random(1);
    while (logins.size() < 1000)
        logins.push_back(bench::loginOf(random() % users));
    return logins;
}

const std::vector<std::string>& lastLogin(std::size_t users)
{
    static std::map<std::size_t, std::vector<std::string>> made;
    std::vector<std::string>& logins = made[users];
    if (logins.empty())
        logins.push_back(bench::loginOf(users - 1));
    return logins;
}

using Logins = const std::vector<std::string>& (*)(std::size_t);

const FileCache& held(std::size_t users)
{
    static std::map<std::size_t, FileCache> caches;
    FileCache& cache = caches[users];
    cache.setFilename(bench::usersFile(users));
    return cache;
}

class ConstantDatabase {
public:
    explicit ConstantDatabase(std::size_t users)
    {
        const std::string path = bench::usersFile(users) + ".cdb";
        make(path, users);
        fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd_ < 0 || cdb_init(&db_, fd_) != 0)
            throw std::runtime_error(path);
    }
    ~ConstantDatabase()
    {
        cdb_free(&db_);
        close(fd_);
    }
    ConstantDatabase(const ConstantDatabase&) = delete;
    ConstantDatabase& operator=(const ConstantDatabase&) = delete;

    std::string find(const std::string& login)
    {
        if (cdb_find(&db_, login.data(), static_cast<unsigned>(login.size())) <= 0)
            return {};
        std::string value(cdb_datalen(&db_), '\0');
        cdb_read(&db_, value.data(), static_cast<unsigned>(value.size()), cdb_datapos(&db_));
        return value;
    }

private:
    static void make(const std::string& path, std::size_t users)
    {
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        struct cdb_make maker = {};
        cdb_make_start(&maker, fd);
        for (std::size_t i = 0; i < users; ++i) {
            const std::string login = bench::loginOf(i);
            const std::string line = login + ":2:" + bench::hash();
            cdb_make_add(&maker, login.data(), static_cast<unsigned>(login.size()), line.data(),
                         static_cast<unsigned>(line.size()));
        }
        cdb_make_finish(&maker);
        close(fd);
    }

    struct cdb db_ = {};
    int fd_ = -1;
};

ConstantDatabase& database(std::size_t users)
{
    static std::map<std::size_t, ConstantDatabase> made;
    return made.try_emplace(users, users).first->second;
}

// Runs `find` for one login after the other; each must be found.
template <class Find> void lookUp(benchmark::State& state, Logins choose, Find find)
{
    const std::vector<std::string>& logins = choose(usersOf(state));
    std::size_t next = 0;
    for ([[maybe_unused]] auto unused : state) {
        const std::string line = find(logins[next]);
        if (line.empty())
            return state.SkipWithError("not found");
        next = next + 1 < logins.size() ? next + 1 : 0;
    }
}

void grexLookup(benchmark::State& state, Logins choose)
{
    const FileCache& file = held(usersOf(state));
    const GrexDB db;
    for (int i = 0; i < 8; ++i) // what a process that asks often has behind it
        db.findUserLine(file, bench::loginOf(0));
    lookUp(state, choose, [&](const std::string& login) { return db.findUserLine(file, login); });
}

void cdbLookup(benchmark::State& state, Logins choose)
{
    const std::string& path = bench::usersFile(usersOf(state));
    ConstantDatabase& db = database(usersOf(state));
    lookUp(state, choose, [&](const std::string& login) {
        bench::checkFile(path);
        return db.find(login);
    });
}

void scan(benchmark::State& state, Logins choose)
{
    const FileCache& file = held(usersOf(state));
    lookUp(state, choose, [&](const std::string& login) {
        bench::checkFile(file.filename);
        const std::string key = login + ':';
        const auto line = std::find_if(file.lines.begin(), file.lines.end(), [&](const auto& text) {
            return text.compare(0, key.size(), key) == 0 &&
                   std::count(text.begin(), text.end(), ':') == 2;
        });
        return line != file.lines.end() ? *line : std::string();
    });
}

void floorOfLookup(benchmark::State& state)
{
    const std::string& path = bench::usersFile(usersOf(state));
    for ([[maybe_unused]] auto unused : state)
        bench::checkFile(path);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    for (const int users : {10, 1000, 100000, 1000000})
        benchmark->Arg(users);
}

BENCHMARK_CAPTURE(grexLookup, last, lastLogin)->Apply(sizes);
BENCHMARK_CAPTURE(grexLookup, random, randomLogins)->Apply(sizes);
BENCHMARK_CAPTURE(cdbLookup, last, lastLogin)->Apply(sizes);
BENCHMARK_CAPTURE(cdbLookup, random, randomLogins)->Apply(sizes);
BENCHMARK_CAPTURE(scan, last, lastLogin)->Apply(sizes);
BENCHMARK(floorOfLookup)->Apply(sizes);

} // namespace

BENCHMARK_MAIN();
