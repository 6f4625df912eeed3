// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/element.h"

#include "common/stl/file_stream.h"
#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/context.h"
#include "grex/module_access.h"
#include "grex/settings.h"
#include "tools/grexctl/answer.h"
#include "tools/grexctl/console.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace grexctl {

namespace {

// Why the open file is none to read; 0 when it is one.
int faultOf(int fd)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return errno;
    if (S_ISDIR(status.st_mode))
        return EISDIR;
    return S_ISREG(status.st_mode) ? 0 : EINVAL;
}

// Letters of the alphabet of crypt(5), and nothing else.
bool isCryptText(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) {
        return c > ' ' && c < 0x7f && std::strchr(":;*!\\", c) == nullptr;
    });
}

struct HashMethod {
    const char* prefix;
    const char* name;
    std::size_t digits; // of the checksum behind the last "$"; 0: not looked at
};

constexpr HashMethod hashMethods[] = {
    {"$6$", "SHA-512", 86},  {"$5$", "SHA-256", 43},        {"$1$", "MD5", 22},
    {"$y$", "yescrypt", 43}, {"$gy$", "gost-yescrypt", 43}, {"$7$", "scrypt", 43},
    {"$2", "bcrypt", 0},
};

std::string moduleNames(const std::vector<Module>& modules)
{
    std::string names;
    for (const std::string& name : namesOf(modules))
        names += (names.empty() ? "" : ", ") + printable(name);
    return names.empty() ? "none" : names;
}

[[noreturn]] void refuseModule(const File& modacc, const std::string& module)
{
    throw UsageError("--context: no module " + inQuotes(module) + " in " + modacc.path +
                     "; it has: " + moduleNames(modulesOf(modacc)));
}

} // namespace

bool File::isMissing() const
{
    return error == ENOENT || error == ENOTDIR;
}

std::string File::failure() const
{
    return path + ": " + std::strerror(error);
}

File readFile(const std::string& path)
{
    File file{path, "", 0};
    // Not to be held up by a pipe that stands at the path.
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        file.error = errno;
        return file;
    }
    FileStream in(fd, "r");
    file.error = faultOf(fd);
    errno = 0;
    if (file.isRead() && !in.readAll(file.text, false))
        file.error = errno != 0 ? errno : EIO;
    return file;
}

File requireFile(const std::string& path)
{
    File file = readFile(path);
    if (!file.isRead())
        throw Refused("cannot read " + file.failure());
    return file;
}

File requireReadable(const std::string& path)
{
    File file = readFile(path);
    if (!file.isRead() && !file.isMissing())
        throw Refused("cannot read " + file.failure());
    return file;
}

std::vector<Line> linesOf(const File& file)
{
    std::vector<std::string> texts;
    sx::split(file.text, texts, '\n');
    std::vector<Line> lines;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        sx::strip(texts[i]);
        if (!texts[i].empty() && texts[i].front() != grex::comment)
            lines.push_back({i + 1, texts[i]});
    }
    return lines;
}

std::vector<Record> recordsOf(const File& file)
{
    std::vector<Record> records;
    for (const Line& line : linesOf(file)) {
        Record record;
        record.line = line.number;
        record.isRecord = std::count(line.text.begin(), line.text.end(), grex::colon) == 2;
        record.login = sx::section(line.text, grex::colon, 0);
        unsigned gid = 0;
        record.hasNumber = sx::fromString(sx::section(line.text, grex::colon, 1), gid, 10);
        record.gid = grex::isFixedGroup(gid) ? gid : 0;
        record.hash = sx::section(line.text, grex::colon, 2);
        records.push_back(record);
    }
    return records;
}

const Record* findRecord(const std::vector<Record>& records, const std::string& login)
{
    const auto found = std::find_if(records.begin(), records.end(), [&](const Record& record) {
        return record.isRecord && record.login == login;
    });
    return found != records.end() ? &*found : nullptr;
}

std::size_t countRecords(const std::vector<Record>& records, const std::string& login)
{
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(), [&](const Record& record) {
            return record.isRecord && record.login == login;
        }));
}

std::string faultOf(const Record& record)
{
    if (!record.isRecord)
        return "not of the form login:group:hash";
    if (!record.hasNumber)
        return "its group is no number";
    if (record.gid == 0)
        return "its group is none of 1 to 4";
    if (hashKind(record.hash).empty())
        return "no password matches its hash";
    return "";
}

std::string hashKind(const std::string& hash)
{
    constexpr std::size_t desLength = 13;
    if (!isCryptText(hash))
        return "";
    for (const HashMethod& method : hashMethods) {
        if (hash.rfind(method.prefix, 0) != 0)
            continue;
        const std::size_t digits = hash.size() - hash.rfind('$') - 1;
        return method.digits == 0 || digits == method.digits ? method.name : "";
    }
    return hash.size() == desLength && hash.front() != '$' ? "DES" : "";
}

unsigned Module::level(unsigned gid) const
{
    return grex::isFixedGroup(gid) ? grex::ModuleAccess().parseModuleAccess(gid, fields) : 0;
}

std::vector<Module> modulesOf(const File& file)
{
    std::vector<Module> modules;
    for (const Line& line : linesOf(file)) {
        const std::string::size_type end =
            std::min(line.text.find(grex::semicolon), line.text.size());
        const std::string name = line.text.substr(0, end);
        const std::string fields = end < line.text.size() ? line.text.substr(end + 1) : "";
        modules.push_back({line.number, sx::strip(name), fields});
    }
    return modules;
}

const Module* findModule(const std::vector<Module>& modules, const std::string& name)
{
    const auto found = std::find_if(modules.begin(), modules.end(),
                                    [&](const Module& module) { return module.name == name; });
    return found != modules.end() && !name.empty() ? &*found : nullptr;
}

unsigned levelOf(const std::vector<Module>& modules, const std::string& name, unsigned gid)
{
    const Module* const module = findModule(modules, name);
    return module ? module->level(gid) : 0;
}

std::vector<std::string> namesOf(const std::vector<Module>& modules)
{
    std::vector<std::string> names;
    for (const Module& module : modules)
        if (findModule(modules, module.name) == &module)
            names.push_back(module.name);
    return names;
}

unsigned gidOf(const std::string& group)
{
    if (group == "su")
        return grex::superUserGid;
    for (unsigned gid = grex::userGid; gid <= grex::monitorGid; ++gid)
        if (group == grex::fixedGroupName(gid) || group == sx::toString(gid))
            return gid;
    return 0;
}

std::string groupText(unsigned gid)
{
    return sx::toString(gid) + ' ' +
           (grex::isFixedGroup(gid) ? grex::fixedGroupName(gid) : "(no group)");
}

std::string place(const std::string& path, std::size_t line)
{
    return path + ", line " + sx::toString(line);
}

void useContext(const std::string& module)
{
    const File modacc = requireFile(grex::Settings::get()->modulesFile());
    if (module.empty() || !grex::Context::get().setContext(module))
        refuseModule(modacc, module);
}

void requireModule(const File& modacc, const std::string& module)
{
    if (modacc.isRead() && !findModule(modulesOf(modacc), module))
        refuseModule(modacc, module);
}

bool isLocked(const std::string& path)
{
    constexpr std::time_t longestHold = 60; // seconds
    const std::string lock = path + ".lock";
    struct stat status = {};
    if (stat(lock.c_str(), &status) != 0)
        return false;
    const int fd = open(lock.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) // another account's, which nobody else can look at
        return std::time(nullptr) - status.st_mtime < longestHold;
    const bool isFree = flock(fd, LOCK_SH | LOCK_NB) == 0;
    close(fd);
    return !isFree;
}

} // namespace grexctl
