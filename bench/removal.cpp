// SPDX-License-Identifier: Apache-2.0
// The removal of a user: the library; the same steps by hand, each as cheap as it can be made; and
// libuser, which rewrites passwd, shadow and group files without a signature.
#include "mapped_md5.h"
#include "support.h"

#include "grex/grex_db.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

#ifdef HAVE_LIBUSER
extern "C" {
#include <libuser/user.h>
}
#endif

namespace {

using grex::__private__::GrexDB;

// What one way of removing has left, kept between the repetitions: a disk has its moods, so that
// the ways take turns after each removal.
struct Target {
    std::string path; // of a copy of the generated file
    std::size_t users = 0;
    std::deque<std::string> lines;

    std::string nextLogin() { return bench::loginOf(--users); }
};

std::size_t usersOf(const benchmark::State& state)
{
    return static_cast<std::size_t>(state.range(0));
}

Target& targetOf(const benchmark::State& state, const char* suffix)
{
    static std::map<std::string, Target> targets;
    const std::string& original = bench::usersFile(usersOf(state));
    Target& target = targets[original + suffix];
    if (target.path.empty()) {
        target.path = original + suffix;
        target.users = usersOf(state);
        std::filesystem::copy_file(original, target.path);
        bench::readWithGetline(target.path, target.lines);
    }
    return target;
}

void grexRemoval(benchmark::State& state)
{
    bench::useFiles(usersOf(state));
    Target& target = targetOf(state, ".ours");
    target.lines.clear(); // the cache holds them
    const GrexDB db;
    FileCache& file = GrexDB::userfile_;
    file.setFilename(target.path);
    for ([[maybe_unused]] auto unused : state) {
        const std::string login = target.nextLogin();
        if (db.findUserLine(file, login).empty()) // reads what the last removal wrote
            return state.SkipWithError("not there");
        bool isRemoved = false;
        bench::timeOnTheWall(state, [&] {
            isRemoved = db.changeUser(GrexDB::ChangeOp::Remove, file, login, "", "");
        });
        if (!isRemoved || !db.findUserLine(file, login).empty())
            return state.SkipWithError("not removed");
    }
}

void replaceFile(const std::string& path, const std::string& text)
{
    std::string name = path + ".XXXXXX";
    const int fd = mkostemp(name.data(), O_CLOEXEC);
    const bool isWritten = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (!isWritten || fsync(fd) != 0 || fchmod(fd, 0644) != 0 ||
        std::rename(name.c_str(), path.c_str()) != 0)
        throw std::runtime_error("cannot replace " + path);
    close(fd);
    const int folder = open(bench::folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    fsync(folder);
    close(folder);
}

std::string inHex(const std::string& bytes)
{
    std::string digits;
    for (const char byte : bytes)
        for (const int shift : {4, 0})
            digits += "0123456789abcdef"[static_cast<unsigned char>(byte) >> shift & 0xf];
    return digits + '\n';
}

void removalByHand(benchmark::State& state)
{
    Target& target = targetOf(state, ".peer");
    std::deque<std::string>& lines = target.lines;
    for ([[maybe_unused]] auto unused : state)
        bench::timeOnTheWall(state, [&] {
            bench::readWithGetline(target.path, lines);
            lines.pop_back();
            std::string text;
            text.reserve(lines.size() * 128);
            for (const std::string& line : lines)
                (text += line) += '\n';
            replaceFile(target.path, text);
            replaceFile(target.path + ".sig", inHex(bench::mappedMd5(target.path)));
            benchmark::DoNotOptimize(std::system(GREX_SYNC_TOOL));
        });
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1000)->Arg(100000)->Iterations(1)->UseManualTime();
}

BENCHMARK(grexRemoval)->Apply(sizes);
BENCHMARK(removalByHand)->Apply(sizes);

#ifdef HAVE_LIBUSER

// A folder with the files of `users` accounts, and a configuration that names it.
std::string makeAccounts(std::size_t users)
{
    std::string path = bench::folder() + "/accounts";
    std::filesystem::create_directories(path);
    std::string accounts;
    std::string shadows;
    for (std::size_t i = 0; i < users; ++i) {
        const std::string id = ':' + std::to_string(20000 + i);
        const std::string login = bench::loginOf(i);
        accounts += login;
        accounts += ":x";
        accounts += id;
        accounts += id;
        accounts += "::/:/bin/sh\n";
        shadows += login;
        shadows += ':' + bench::hash();
        shadows += ":19000:0:99999:7:::\n";
    }
    bench::writeText(path + "/passwd", accounts);
    bench::writeText(path + "/shadow", shadows);
    bench::writeText(path + "/group", "users:x:100:\n");
    bench::writeText(path + "/gshadow", "users:*::\n");
    std::string settings = "[defaults]\nmodules = files shadow\ncreate_modules = files shadow\n";
    for (const char* const section : {"[files]", "[shadow]"}) {
        settings += section;
        settings += "\nnonroot = yes\ndirectory = ";
        settings += path;
        settings += '\n';
    }
    bench::writeText(path + "/libuser.conf", settings);
    setenv("LIBUSER_CONF", (path + "/libuser.conf").c_str(), 1);
    return path;
}

bool removeAccount(lu_context* context, const std::string& login)
{
    lu_error* error = nullptr;
    lu_ent* const entity = lu_ent_new();
    const bool isRemoved = lu_user_lookup_name(context, login.c_str(), entity, &error) &&
                           lu_user_delete(context, entity, &error);
    lu_ent_free(entity);
    if (error)
        lu_error_free(&error);
    return isRemoved;
}

void libuserRemoval(benchmark::State& state)
{
    std::size_t last = usersOf(state);
    makeAccounts(last);
    lu_error* error = nullptr;
    lu_context* const context =
        lu_start(nullptr, lu_user, nullptr, nullptr, lu_prompt_console_quiet, nullptr, &error);
    for ([[maybe_unused]] auto unused : state) {
        bool isRemoved = false;
        bench::timeOnTheWall(
            state, [&] { isRemoved = context && removeAccount(context, bench::loginOf(--last)); });
        if (!isRemoved)
            state.SkipWithError(error ? lu_strerror(error) : "not removed");
    }
    if (context)
        lu_end(context);
}
BENCHMARK(libuserRemoval)->Apply(sizes);

#endif

} // namespace

BENCHMARK_MAIN();
