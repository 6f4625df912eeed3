// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_GROUP_ACCESS_H
#define GREX_GROUP_ACCESS_H

#include "common/stl/export.h"

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>

namespace grex {

/// A group, and what the library knows of groups: 1 "User", 2 "Admin", 3 "SuperUser", 4 "Monitor";
/// 0 is no group. Nothing is thrown.
class GREX_API GroupAccess {
public:
    GroupAccess();
    GroupAccess(const GroupAccess&) = default;
    GroupAccess& operator=(const GroupAccess&) = default;
    virtual ~GroupAccess();

    /// The name of a group, "" for any other number. A constant; never null.
    static const char* fixedGroupName(unsigned int gid);

    /// Takes the group `gid`, or no group when there is none of that number. Always true.
    bool reset(unsigned int gid);
    /// Whether the group has all bits of `mask` on the module of the current context; false when
    /// `mask` is 0.
    bool checkAccess(unsigned int mask) const;

    /// The users and groups that the group may see; see GrexDB::getUserList() and getGroupList().
    bool getUserList(std::deque<std::string>& out) const;
    bool getGroupList(std::deque<std::string>& out) const;

    /// The group of a login, by the users file first, then by the cache; 0 when there is none.
    static unsigned int gidByLogin(const std::string& login);
    /// 3 for "su" and "SuperUser". Any other name is answered by the number that the name itself
    /// is, where a group of that name is listed: "User", "Admin" and "Monitor" give 0.
    static unsigned int gidByName(const std::string& name);
    /// Fills `table` with every group that a SuperUser sees: name to number with `byName`, number
    /// to name without.
    static bool getGroupsTable(std::map<std::string, std::string>& table, bool byName);

    std::uint32_t gid = 0;
    std::string groupName;
};

/// Makes an entry of getGroupsTable() of a group line "gid:0:name:...".
struct GREX_API MakeGroupMapItem {
    bool byName; ///< (name, number) rather than (number, name)

    std::pair<std::string, std::string> operator()(const std::string& line) const;
};

} // namespace grex

#endif
