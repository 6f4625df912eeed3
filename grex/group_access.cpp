// SPDX-License-Identifier: Apache-2.0
#include "grex/group_access.h"

#include "common/stl/no_throw.h"
#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/grex_db.h"

#include <vector>

namespace grex {

using __private__::GrexDB;

GroupAccess::GroupAccess() = default;

GroupAccess::~GroupAccess() = default;

const char* GroupAccess::fixedGroupName(unsigned int gid)
{
    return grex::fixedGroupName(gid);
}

bool GroupAccess::reset(unsigned int group)
{
    gid = isFixedGroup(group) ? group : 0;
    groupName = fixedGroupName(gid); // short enough never to allocate
    return true;
}

bool GroupAccess::checkAccess(unsigned int mask) const
{
    return GrexDB::checkAccess(gid, mask);
}

bool GroupAccess::getUserList(std::deque<std::string>& out) const
{
    return GrexDB().getUserList(gid, out);
}

bool GroupAccess::getGroupList(std::deque<std::string>& out) const
{
    return GrexDB().getGroupList(gid, out);
}

unsigned int GroupAccess::gidByLogin(const std::string& login)
{
    return sx::noThrow(0U, [&] {
        const GrexDB db;
        std::string line = db.findUserLine(login);
        if (line.empty())
            line = db.findCacheUserLine(login);
        unsigned group = 0;
        return sx::fromString(sx::section(line, colon, 1), group, 10) && isFixedGroup(group) ? group
                                                                                             : 0U;
    });
}

unsigned int GroupAccess::gidByName(const std::string& name)
{
    if (name == "su" || name == fixedGroupName(superUserGid))
        return superUserGid;
    return sx::noThrow(0U, [&] {
        std::map<std::string, std::string> table;
        if (!getGroupsTable(table, true))
            return 0U;
        const auto group = table.find(name);
        unsigned number = 0;
        // The name is converted, not the number beside it: callers know "su" and "SuperUser" and
        // nothing else.
        return group != table.end() && sx::fromString(group->first, number, 10) ? number : 0U;
    });
}

bool GroupAccess::getGroupsTable(std::map<std::string, std::string>& table, bool byName)
{
    return sx::noThrow(false, [&] {
        std::deque<std::string> lines;
        if (!GrexDB().getGroupList(superUserGid, lines))
            return false;
        std::map<std::string, std::string> filled;
        for (const std::string& line : lines)
            filled.insert(MakeGroupMapItem{byName}(line));
        table.swap(filled);
        return true;
    });
}

std::pair<std::string, std::string> MakeGroupMapItem::operator()(const std::string& line) const
{
    std::vector<std::string> fields;
    sx::split(line, fields, colon, 3);
    fields.resize(3); // a line with fewer fields has empty ones
    return byName ? std::make_pair(fields[2], fields[0]) : std::make_pair(fields[0], fields[2]);
}

} // namespace grex
