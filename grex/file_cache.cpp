// SPDX-License-Identifier: Apache-2.0
#include "grex/file_cache.h"

#include "common/stl/no_throw.h"
#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "common/stl/translate.h"
#include "common/stl/utils.h"
#include "grex/constants.h"

#include <algorithm>
#include <functional>
#include <string_view>

namespace {

constexpr std::size_t fewLines = 32;                   // read through as fast as looked up
constexpr std::size_t maxLines = std::size_t{1} << 31; // that positions and slots have the bits for
constexpr int lookupsWithout = 4;                      // an index
constexpr std::size_t unknown = static_cast<std::size_t>(-1);

std::uint32_t hashOf(std::string_view login)
{
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(login));
}

// Calls `visit` for the slots in which an entry with this hash can stand, until it returns false or
// the free slot behind them has been visited.
template <class Slots, class Visit> void probe(Slots& slots, std::uint32_t hash, Visit visit)
{
    std::size_t i = static_cast<std::size_t>(std::uint64_t{hash} * slots.size() >> 32);
    while (visit(slots[i]) && slots[i].line != 0)
        i = i + 1 < slots.size() ? i + 1 : 0;
}

bool isRecordOf(const std::string& line, std::string_view login)
{
    return line.size() > login.size() && line[login.size()] == grex::colon &&
           std::string_view(line).substr(0, login.size()) == login && FileCache::isRecord(line);
}

void logReadFailure(const std::string& path)
{
    syslogErr(translate("FileCache|", "can't read file: '%s': '%s'"), path.c_str(),
              utils::errString().c_str());
}

// Strips a line; false when it says nothing. Most lines are clean already, which their ends tell:
// what sx::strip() takes away are control characters and the blank.
bool stripLine(std::string& line)
{
    if (!line.empty() && (line.front() <= ' ' || line.back() <= ' '))
        sx::strip(line);
    return !line.empty() && line.front() != grex::comment;
}

} // namespace

FileCache::FileCache() = default;

FileCache::~FileCache() = default;

FileCache::FileCache(const std::string& path)
{
    setFilename(path);
}

bool FileCache::setFilename(const std::string& path)
{
    return sx::noThrow(false, [&] {
        if (path == filename)
            return false;
        filename = path;
        lines.clear();
        index_ = {};
        modifTime = 0;
        return update();
    });
}

bool FileCache::update() const
{
    return sx::noThrow(false, [this] {
        long long time = grex::isUnitTests ? 0 : modifTime;
        const int result = utils::readNewerFile(filename, time, lines, stripLine);
        if (result == -1) {
            if (!grex::isUnitTests)
                logReadFailure(filename);
            return false;
        }
        if (result == 1) {
            index_ = {};
            modifTime = time;
        }
        return true;
    });
}

bool FileCache::readRecords(const std::string& path,
                            const std::set<std::string, std::less<>>& logins)
{
    return sx::noThrow(false, [&] {
        const auto isWanted = [&](std::string& line) {
            return stripLine(line) && isRecord(line) &&
                   logins.find(std::string_view(line).substr(0, line.find(grex::colon))) !=
                       logins.end();
        };
        modifTime = 0;
        index_ = {};
        lines.clear();
        long long time = 0;
        const bool isRead = utils::readNewerFile(path, time, lines, isWanted) != -1;
        if (!isRead)
            logReadFailure(path);
        filename.clear(); // last, as it may be `path`
        return isRead;
    });
}

void FileCache::stripContent() const
{
    index_ = {};
    const auto saysNothing = [](std::string& line) { return !stripLine(line); };
    lines.erase(std::remove_if(lines.begin(), lines.end(), saysNothing), lines.end());
}

bool FileCache::isRecord(const std::string& line)
{
    const std::string::size_type first = line.find(grex::colon);
    const std::string::size_type second =
        first == std::string::npos ? first : line.find(grex::colon, first + 1);
    return second != std::string::npos && line.find(grex::colon, second + 1) == std::string::npos;
}

std::deque<std::string>::iterator FileCache::findRecord(const std::string& login) const
{
    if (login.find(grex::colon) != std::string::npos)
        return lines.end();
    const std::size_t position = isIndexed() ? askIndex(login) : unknown;
    if (position != unknown)
        return lines.begin() + static_cast<std::ptrdiff_t>(position);
    return std::find_if(lines.begin(), lines.end(),
                        [&](const std::string& line) { return isRecordOf(line, login); });
}

// Whether there is an index of the lines that are held. It takes as long to make as four lookups
// that read the lines through: who asks less often does without, who asks more often pays at most
// twice.
bool FileCache::isIndexed() const
{
    if (lines.size() <= fewLines || lines.size() > maxLines)
        return false;
    if (modifTime == 0 || modifTime != index_.modifTime || lines.size() != index_.lineCount)
        index_ = {modifTime, lines.size(), 0, {}};
    if (!index_.slots.empty())
        return true;
    if (modifTime == 0 || index_.lookups++ < lookupsWithout)
        return false;
    return sx::noThrow(false, [this] {
        buildIndex();
        return true;
    });
}

void FileCache::buildIndex() const
{
    index_.slots.resize(lines.size() + lines.size() / 2);
    std::uint32_t number = 0;
    for (const std::string& line : lines) {
        ++number;
        if (isRecord(line))
            addToIndex(line, number);
    }
}

// A later record of the same login is left out.
void FileCache::addToIndex(const std::string& line, std::uint32_t number) const
{
    const std::string_view login = std::string_view(line).substr(0, line.find(grex::colon));
    const std::uint32_t hash = hashOf(login);
    probe(index_.slots, hash, [&](Slot& slot) {
        if (slot.line == 0) {
            slot = {hash, number};
            return false;
        }
        return slot.hash != hash || !isRecordOf(lines[slot.line - 1], login);
    });
}

// The position of the login's first record, lines.size() for none. Unknown when a line is not what
// its entry says: it was edited, or it is of another login with the same hash.
std::size_t FileCache::askIndex(const std::string& login) const
{
    const std::uint32_t hash = hashOf(login);
    std::size_t answer = lines.size();
    probe(index_.slots, hash, [&](const Slot& slot) {
        if (slot.line == 0 || slot.hash != hash)
            return true;
        const std::size_t position = slot.line - 1;
        const bool isFound = isRecordOf(lines[position], login);
        answer = isFound ? position : unknown;
        return !isFound;
    });
    return answer;
}
