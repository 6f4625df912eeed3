// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_CONSTANTS_H
#define GREX_CONSTANTS_H

namespace grex {

constexpr char colon = ':';     ///< between the fields of users, cache and group lines
constexpr char semicolon = ';'; ///< between the fields of a module-access line
constexpr char at = '@';        ///< between group and level in a module-access field
constexpr char comment = '#';   ///< begins a comment line

/// True only in a build for tests that log nothing and read every file anew; no such build is made.
constexpr bool isUnitTests = false;

/// The fixed groups, by their numbers (gid). 0 stands for no group.
constexpr unsigned userGid = 1;
constexpr unsigned adminGid = 2;
constexpr unsigned superUserGid = 3;
constexpr unsigned monitorGid = 4;

constexpr bool isFixedGroup(unsigned gid)
{
    return gid >= userGid && gid <= monitorGid;
}

/// "" for any other number.
constexpr const char* fixedGroupName(unsigned gid)
{
    switch (gid) {
    case userGid:
        return "User";
    case adminGid:
        return "Admin";
    case superUserGid:
        return "SuperUser";
    case monitorGid:
        return "Monitor";
    default:
        return "";
    }
}

} // namespace grex

#endif
