// SPDX-License-Identifier: Apache-2.0
#include "grex/ini_file.h"

#include "common/stl/file_stream.h"
#include "common/stl/no_throw.h"
#include "common/stl/sx.h"

#include <cerrno>
#include <deque>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

// 0 for a file that does not exist, -1 for a time that cannot be read.
std::time_t modifTime(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0)
        return status.st_mtime;
    return errno == ENOENT ? 0 : -1;
}

// A cooperating writer, who locks the file for himself, does not change it while we read. Closing
// the file lets go of the lock; a file that cannot be locked is read all the same.
bool readLines(const std::string& path, std::deque<std::string>& lines)
{
    FileStream in(path, "r");
    if (!in.isOpen())
        return false;
    static_cast<void>(flock(in.fd(), LOCK_SH));
    return in.readLines(lines, [](std::string&) { return true; });
}

std::string unquoted(const std::string& value)
{
    const bool isQuoted = !value.empty() && value.front() == '"' && value.back() == '"';
    return isQuoted ? sx::strip(value, "\"") : value;
}

} // namespace

bool IniFile::CIStringLess::operator()(const std::string& a, const std::string& b) const
{
    return strcasecmp(a.c_str(), b.c_str()) < 0;
}

IniFile::IniFile(const std::string& primary, const std::string& secondary)
    : primary_(primary), secondary_(secondary)
{
    reload();
}

IniFile::~IniFile() = default;

void IniFile::reload()
{
    const std::time_t primaryTime = modifTime(primary_);
    if (primaryTime != primaryTime_) {
        sections_.clear();
        if (load(primary_))
            primaryTime_ = primaryTime;
    }
    if (secondary_.empty())
        return;
    const std::time_t secondaryTime = modifTime(secondary_);
    if (secondaryTime != secondaryTime_ && load(secondary_))
        secondaryTime_ = secondaryTime;
}

bool IniFile::load(const std::string& path)
{
    return sx::noThrow(false, [&] {
        std::deque<std::string> lines;
        if (!readLines(path, lines))
            return false;
        std::string section;
        Sections merged = sections_;
        for (const std::string& line : lines)
            parseLine(line, section, merged);
        sections_.swap(merged);
        return true;
    });
}

void IniFile::parseLine(std::string line, std::string& section, Sections& sections)
{
    sx::strip(line);
    if (line.empty() || line.front() == ';' || line.front() == '#')
        return;
    if (line.front() == '[' && line.back() == ']') {
        section = sx::strip(line, "[] \t\r");
        return;
    }
    const std::string::size_type equals = line.find('=');
    if (equals == std::string::npos || equals == 0)
        return;
    // operator[] keeps the spelling of a key that is there already.
    sections[section][sx::rstrip(line.substr(0, equals))] =
        unquoted(sx::strip(line.substr(equals + 1)));
}

std::string IniFile::value(const std::string& section, const std::string& key,
                           const std::string& defaultValue) const
{
    const auto foundSection = sections_.find(section);
    if (foundSection == sections_.end())
        return defaultValue;
    const auto foundKey = foundSection->second.find(key);
    return foundKey == foundSection->second.end() ? defaultValue : foundKey->second;
}
