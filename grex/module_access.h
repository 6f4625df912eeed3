// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_MODULE_ACCESS_H
#define GREX_MODULE_ACCESS_H

#include "common/stl/export.h"

#include <map>
#include <string>
#include <utility>

namespace grex {

/// How far a group may use a module, from the module-access file "modacc": one line per module, its
/// name and fields "GROUP@LEVEL", all separated by ";" ("http;1@1;2@3;3@3;4@1"). Of two lines of
/// one module, and of two fields of one group, the first counts.
///
/// A level is a mask of two bits, 0 to 3; bit 1 lets a group list users and groups. A mask that is
/// asked for is granted when it is not 0 and all its bits are set in the level. Groups other than 1
/// to 4 have no rights, and whatever cannot be read is level 0. Each query reads a changed file
/// anew. Nothing is thrown.
class GREX_API ModuleAccess {
public:
    ModuleAccess();

    /// The level of group `gid` in the text of one line behind the module's name.
    unsigned parseModuleAccess(unsigned gid, const std::string& fields) const;

    /// Sets the values of `table` to the levels of the modules that are its keys. False, with all
    /// values 0, for an empty table and for a group that is none; both are logged.
    bool getModuleAccessTable(unsigned gid, std::map<std::string, unsigned>& table) const;

    /// The level of one module; 0 for the module "".
    unsigned moduleAccess(unsigned gid, const std::string& module) const;
    /// The level of the current context's module.
    unsigned moduleAccess(unsigned gid) const;

    /// Whether the group has all bits of `need` on the module; false when `need` is 0.
    bool checkModuleAccess(unsigned gid, const std::string& module, unsigned need) const;
    bool checkModuleAccess(unsigned gid, unsigned need) const;

    /// Sets the values of `table` to 1 where `needs` asks for a mask and the group has it, to 0
    /// elsewhere; answers as getModuleAccessTable().
    bool checkModulesAccess(unsigned gid, std::map<std::string, unsigned>& table,
                            const std::map<std::string, unsigned>& needs) const;

    /// Whether the file has a line for `module`.
    bool exists(const std::string& module) const;
};

/// Sets the level of an entry of an access table to 0.
GREX_API void resetParamAccess(std::pair<const std::string, unsigned>& entry);

/// Turns the level of an entry of an access table into 1 (granted) or 0. `needs` must outlive the
/// functor.
class GREX_API CheckAccess {
public:
    explicit CheckAccess(const std::map<std::string, unsigned>& needs);
    void operator()(std::pair<const std::string, unsigned>& entry) const;

private:
    const std::map<std::string, unsigned>& needs_;
};

} // namespace grex

#endif
