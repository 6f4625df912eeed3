// SPDX-License-Identifier: Apache-2.0
#include "support.h"

#include "grex/settings.h"

#include <algorithm>
#include <crypt.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace bench {

namespace {

constexpr std::size_t moduleCount = 100;

std::string numbered(const char* prefix, std::size_t digits, std::size_t number)
{
    const std::string text = std::to_string(number);
    return prefix + std::string(digits - std::min(digits, text.size()), '0') + text;
}

std::string moduleOf(std::size_t number)
{
    return numbered("module", 2, number);
}

class Folder {
public:
    Folder() : path_((std::filesystem::temp_directory_path() / "grex-bench.XXXXXX").string())
    {
        if (!mkdtemp(path_.data()))
            throw std::runtime_error("no temporary folder");
        std::string modules;
        for (std::size_t i = 0; i < moduleCount; ++i)
            modules += moduleOf(i) + ";1@1;2@3;3@3;4@1\n";
        writeText(path_ + "/modacc", modules);
    }
    ~Folder()
    {
        std::error_code ignored;
        if (getpid() == owner_)
            std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
    pid_t owner_ = getpid();
};

} // namespace

const std::string& folder()
{
    static const Folder made;
    return made.path();
}

std::string lastModule()
{
    return moduleOf(moduleCount - 1);
}

const std::string& hash()
{
    static const std::string made = crypt(password, "$6$abcdefghijklmnop$");
    return made;
}

std::string loginOf(std::size_t number)
{
    return numbered("user", 7, number);
}

const std::string& usersFile(std::size_t count)
{
    static std::map<std::size_t, std::string> made;
    std::string& path = made[count];
    if (!path.empty())
        return path;
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += loginOf(i) + ":2:" + hash() + '\n';
    path = folder() + "/users" + std::to_string(count);
    writeText(path, text);
    return path;
}

void useFiles(std::size_t count)
{
    grex::Settings& settings = *grex::Settings::get();
    settings.setVarConfigDir(folder());
    settings.setUsersFilename(usersFile(count));
}

void checkFile(const std::string& path)
{
    struct stat status = {};
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || fstat(fd, &status) != 0)
        throw std::runtime_error(path);
    benchmark::DoNotOptimize(status.st_mtime);
    close(fd);
}

void readWithGetline(const std::string& path, std::deque<std::string>& lines)
{
    std::deque<std::string> fresh;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line))
        fresh.push_back(line);
    lines.swap(fresh);
}

std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeText(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    if (!(out << text).flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace bench
