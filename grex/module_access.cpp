// SPDX-License-Identifier: Apache-2.0
#include "grex/module_access.h"

#include "common/stl/no_throw.h"
#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "common/stl/translate.h"
#include "grex/constants.h"
#include "grex/context.h"
#include "grex/grex_db.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace grex {

namespace {

constexpr char prefix[] = "grex::ModuleAccess|";
constexpr unsigned maxLevel = 3;

bool isGranted(unsigned level, unsigned need)
{
    return need != 0 && (level & need) == need;
}

unsigned parseLevel(const std::string& text)
{
    unsigned level = 0;
    return sx::fromString(text, level) && level <= maxLevel ? level : 0;
}

// The lines of the module-access file as it is now; none of a file that cannot be read, whatever
// was held.
const std::deque<std::string>& moduleLines()
{
    static const std::deque<std::string> none;
    const __private__::GrexDB db; // binds the caches
    const FileCache& file = __private__::GrexDB::modfile_;
    return file.update() ? file.lines : none;
}

// Tells most lines of other modules at once, without a copy of their name: held lines are stripped,
// so that the name comes first.
bool canBeOf(std::string_view line, std::string_view module)
{
    return line.substr(0, module.size()) == module;
}

void readLevels(unsigned gid, std::map<std::string, unsigned>& table)
{
    const std::string* const only = table.size() == 1 ? &table.begin()->first : nullptr;
    const ModuleAccess access;
    std::map<std::string, bool> found;
    std::string name;
    for (const std::string& line : moduleLines()) {
        if (only && !canBeOf(line, *only))
            continue;
        const std::string::size_type end = line.find(semicolon);
        name.assign(line, 0, end);
        const auto entry = table.find(sx::strip(name));
        if (entry == table.end() || !found.emplace(entry->first, true).second)
            continue;
        entry->second =
            end == std::string::npos ? 0 : access.parseModuleAccess(gid, line.substr(end + 1));
        if (found.size() == table.size())
            return;
    }
}

} // namespace

ModuleAccess::ModuleAccess() = default;

unsigned ModuleAccess::parseModuleAccess(unsigned gid, const std::string& fields) const
{
    return sx::noThrow(0U, [&] {
        const std::string key = sx::toString(gid) + at;
        std::vector<std::string> pieces;
        sx::split(fields, pieces, semicolon);
        for (std::string& piece : pieces)
            if (sx::strip(piece).compare(0, key.size(), key) == 0)
                return parseLevel(piece.substr(key.size()));
        return 0U;
    });
}

bool ModuleAccess::getModuleAccessTable(unsigned gid, std::map<std::string, unsigned>& table) const
{
    if (table.empty()) {
        syslogErr(translate(prefix, "table of access to modules is empty"));
        return false;
    }
    std::for_each(table.begin(), table.end(), resetParamAccess);
    if (!isFixedGroup(gid)) {
        syslogErr(translate(prefix, "wrong users group"));
        return false;
    }
    const bool read = sx::noThrow(false, [&] {
        readLevels(gid, table);
        return true;
    });
    if (!read)
        std::for_each(table.begin(), table.end(), resetParamAccess);
    return read;
}

unsigned ModuleAccess::moduleAccess(unsigned gid, const std::string& module) const
{
    if (module.empty() || !isFixedGroup(gid))
        return 0;
    return sx::noThrow(0U, [&] {
        std::map<std::string, unsigned> table{{module, 0}};
        return getModuleAccessTable(gid, table) ? table.begin()->second : 0U;
    });
}

unsigned ModuleAccess::moduleAccess(unsigned gid) const
{
    return sx::noThrow(0U, [&] { return moduleAccess(gid, Context::get().contextName()); });
}

bool ModuleAccess::checkModuleAccess(unsigned gid, const std::string& module, unsigned need) const
{
    return isFixedGroup(gid) && need != 0 && isGranted(moduleAccess(gid, module), need);
}

bool ModuleAccess::checkModuleAccess(unsigned gid, unsigned need) const
{
    return sx::noThrow(false,
                       [&] { return checkModuleAccess(gid, Context::get().contextName(), need); });
}

bool ModuleAccess::checkModulesAccess(unsigned gid, std::map<std::string, unsigned>& table,
                                      const std::map<std::string, unsigned>& needs) const
{
    const bool read = getModuleAccessTable(gid, table);
    std::for_each(table.begin(), table.end(), CheckAccess(needs));
    return read;
}

bool ModuleAccess::exists(const std::string& module) const
{
    if (module.empty())
        return false;
    return sx::noThrow(false, [&] {
        const std::deque<std::string>& lines = moduleLines();
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return canBeOf(line, module) && sx::strip(sx::section(line, semicolon, 0)) == module;
        });
    });
}

void resetParamAccess(std::pair<const std::string, unsigned>& entry)
{
    entry.second = 0;
}

CheckAccess::CheckAccess(const std::map<std::string, unsigned>& needs) : needs_(needs) {}

void CheckAccess::operator()(std::pair<const std::string, unsigned>& entry) const
{
    const auto need = needs_.find(entry.first);
    entry.second = need != needs_.end() && isGranted(entry.second, need->second) ? 1 : 0;
}

} // namespace grex
