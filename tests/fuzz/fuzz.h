// SPDX-License-Identifier: Apache-2.0
// What the targets share; each is one program of one source file.
#ifndef GREX_TESTS_FUZZ_FUZZ_H
#define GREX_TESTS_FUZZ_FUZZ_H

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

/// Ends the run when a property does not hold.
#define HOLDS(property) ((property) ? void() : __builtin_trap())

// What would wait or leave the process is left out. Every password is right for a hash that begins
// with "$h": what then lets somebody in is the record.
extern "C" int usleep(useconds_t)
{
    return 0;
}
extern "C" int system(const char*)
{
    return 0;
}
extern "C" char* crypt(const char*, const char* setting)
{
    static char hash[256];
    const bool isHash = setting[0] == '$' && setting[1] == 'h';
    std::snprintf(hash, sizeof(hash), "%s", isHash ? setting : "$1$$0123456789abcdefghijkl");
    return hash;
}

/// The path of a file of this process, in memory, that holds `text` and has a time of its own.
inline std::string fileOf(const std::string& name, const std::string& text)
{
    static std::time_t time = 1000000000;
    static const std::string folder = "/dev/shm/grex-fuzz." + std::to_string(getpid());
    static const bool isMade =
        std::filesystem::create_directory(folder) && std::atexit([] { std::filesystem::remove_all(folder); }) == 0;
    HOLDS(isMade);
    setlogmask(LOG_MASK(LOG_EMERG));
    const std::string path = folder + "/" + name;
    std::ofstream(path) << text;
    const struct timespec now = {++time, 0};
    const struct timespec times[2] = {now, now};
    HOLDS(utimensat(AT_FDCWD, path.c_str(), times, 0) == 0);
    return path;
}

/// Takes the text up to the next line end off the front of `input`.
inline std::string takeLine(std::string& input)
{
    const std::string line = input.substr(0, input.find('\n'));
    input.erase(0, line.size() + 1);
    return line;
}

#define INPUT(text)                                                                                                    \
    void tryInput(std::string text);                                                                                   \
    extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)                                 \
    {                                                                                                                  \
        tryInput({reinterpret_cast<const char*>(data), size});                                                         \
        return 0;                                                                                                      \
    }                                                                                                                  \
    void tryInput(std::string text)

#endif
