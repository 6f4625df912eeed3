// SPDX-License-Identifier: Apache-2.0
// The process that is tortured. Reads one operation per line, "NAME FIELD..." with the fields in
// hexadecimal, and writes one line for each: its result, how often the synchronisation tool was
// started, the allocations that failed, the log, and the most memory ever used in KB (texts in
// hexadecimal). The driver makes what surrounds it fail.
#include "common/stl/secret.h"
#include "grex/context.h"
#include "grex/grex_db.h"
#include "grex/group_list.h"
#include "grex/session.h"
#include "grex/settings.h"

#include <cstdarg>
#include <curl/curl.h>
#include <dlfcn.h>
#include <functional>
#include <iostream>
#include <iterator>
#include <malloc.h>
#include <map>
#include <new>
#include <sstream>
#include <sys/resource.h>
#include <sys/uio.h>
#include <unistd.h>

using grex::__private__::GrexDB;
using Fields = std::vector<std::string>;

// Out of line, or the compiler takes malloc() and delete, or new and free(), for a pair.
#define OUT_OF_LINE __attribute__((noinline))
#define FORMAT(n) __attribute__((format(printf, n, 0)))

namespace {

char logText[65536]; // not on the heap, which may be failing
std::FILE* const logFile = fmemopen(logText, sizeof(logText), "w");
int toolStarts = 0;
long armed = -1;           // allocations of the next operation before one fails; negative: none
long allocationsLeft = -1; // of this operation
bool failsForGood = false; // or one alone
int allocationsFailed = 0;
std::deque<std::string> listed; // an empty one allocates too

} // namespace

OUT_OF_LINE void* operator new(std::size_t size)
{
    const bool fails = allocationsLeft >= 0 && allocationsLeft-- == 0;
    if (void* const memory = fails ? nullptr : std::malloc(size))
        return memory;
    ++allocationsFailed;
    allocationsLeft = failsForGood ? 0 : -1;
    throw std::bad_alloc();
}
OUT_OF_LINE void operator delete(void* memory) noexcept
{
    std::free(memory);
}
OUT_OF_LINE void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

// Stand in for those of the C library: salts need no pause here, the log is looked at, and the tool
// is the driver's.
extern "C" int usleep(useconds_t)
{
    return 0;
}
extern "C" FORMAT(2) void vsyslog(int priority, const char* format, std::va_list args)
{
    std::fprintf(logFile, "%d ", priority);
    std::vfprintf(logFile, format, args);
    std::fputc('\n', logFile);
}
// What vsyslog becomes under _FORTIFY_SOURCE.
FORMAT(3) void checkedVsyslog(int, int, const char*, std::va_list) __asm__("__vsyslog_chk");
void checkedVsyslog(int priority, int, const char* format, std::va_list args)
{
    vsyslog(priority, format, args);
}
extern "C" int system(const char*)
{
    ++toolStarts;
    const char* const tool = std::getenv("TORTURE_TOOL");
    const auto run = reinterpret_cast<int (*)(const char*)>(dlsym(RTLD_NEXT, "system"));
    return tool ? run(tool) : 0;
}

namespace {

// libcurl wipes nothing that it frees; here it does, so that what is found in memory is the
// library's.
void wipeAndFree(void* memory)
{
    if (memory)
        explicit_bzero(memory, malloc_usable_size(memory));
    std::free(memory);
}

std::string hex(const std::string& bytes)
{
    std::string text = bytes.empty() ? "-" : "";
    for (const char byte : bytes)
        for (const int shift : {4, 0})
            text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> shift & 0xf];
    return text;
}

void decode(std::string& word) // in place: nothing here keeps a password
{
    std::string::size_type size = 0;
    for (std::string::size_type i = 0; i + 1 < word.size(); i += 2)
        word[size++] = static_cast<char>(std::stoi(word.substr(i, 2), nullptr, 16));
    word.resize(size);
}

unsigned number(const std::string& text)
{
    return static_cast<unsigned>(std::stoul(text));
}

std::string login(const std::string& name, const std::string& password)
{
    grex::Session session;
    unsigned gid = 0;
    return session.authenticate(name, password, gid) && session.isAccess() ? "1" : "0";
}

// The group list in C, then the users.
std::string lists()
{
    const char* groups = nullptr;
    listed.clear();
    const bool isDone = getGroupList(&groups) && GrexDB().getUserList(3, listed);
    allocationsLeft = -1;
    std::string text = isDone ? groups : "0";
    for (const std::string& user : listed)
        text += "\n" + user;
    return text;
}

std::string failNew(const Fields& f)
{
    armed = std::stol(f[0]);
    failsForGood = f[1] == "1";
    return {};
}

std::string run(const std::string& name, const Fields& fields)
{
    const auto answer = [](bool is) { return std::string(is ? "1" : "0"); };
    static const std::map<std::string, std::function<std::string(const Fields&)>> operations = {
        {"add", [=](auto& f) { return answer(GrexDB().addUser(f[0], number(f[1]), f[2])); }},
        {"passwd", [=](auto& f) { return answer(GrexDB().changePassword(f[0], f[1])); }},
        {"remove", [=](auto& f) { return answer(GrexDB().removeUser(f[0])); }},
        {"session", [=](auto& f) { return answer(grex::Session().validateSession(f[0])); }},
        {"find", [](auto& f) { return GrexDB().findUserLine(f[0]); }},
        {"login", [](auto& f) { return login(f[0], f[1]); }},
        {"lists", [](auto&) { return lists(); }},
        {"new", failNew},
    };
    return operations.at(name)(fields);
}

void handle(const std::string& line)
{
    std::istringstream words(line);
    std::string name;
    words >> name;
    Fields fields(std::istream_iterator<std::string>(words), {});
    std::deque<sx::Wiper> wipers;
    for (std::string& field : fields) {
        decode(field);
        wipers.emplace_back(field);
    }
    std::rewind(logFile);
    toolStarts = allocationsFailed = 0;
    // Calls that fail, and show the driver in a trace where an operation begins and ends.
    int marks = access("/torture-mark", F_OK);
    allocationsLeft = std::exchange(armed, -1);
    const std::string result = run(name, fields);
    allocationsLeft = -1;
    marks += access("/torture-mark", F_OK);

    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto logSize = static_cast<std::size_t>(std::ftell(logFile));
    std::fflush(logFile);
    std::ostringstream report;
    report << hex(result) << ' ' << toolStarts << ' ' << allocationsFailed << ' ' << hex({logText, logSize}) << ' '
           << usage.ru_maxrss << '\n';
    std::string text = report.str();
    const struct iovec piece = {text.data(), text.size()};
    if (marks == 0 || writev(STDOUT_FILENO, &piece, 1) < 0) // not write(2), which may be failing
        std::abort();
}

} // namespace

int main(int, char** argv)
{
    curl_global_init_mem(CURL_GLOBAL_ALL, std::malloc, wipeAndFree, std::realloc, strdup, std::calloc);
    grex::Settings* const settings = grex::Settings::get();
    settings->setConfigDir(argv[1]);
    settings->setVarConfigDir(argv[1]);
    settings->update();
    grex::Context::get().setContext("http");
    for (std::string line; std::getline(std::cin, line);)
        handle(line);
}
