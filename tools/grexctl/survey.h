// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_SURVEY_H
#define GREXCTL_SURVEY_H

#include "tools/grexctl/element.h"

#include <string>
#include <vector>

namespace grexctl {

/// A record by which somebody who knows its password gets in.
struct Admission {
    std::string login;
    unsigned gid;
};

/// What decides who gets in while the login service is silent. Made of the files alone, so that
/// nothing is written, not even a missing cache file.
struct Survey {
    Survey();

    /// By the cache where a service is configured, and by the users file; those whose group has a
    /// right on the module.
    std::vector<Admission> admissions(const std::string& module) const;
    /// How many of them are of the groups Admin and SuperUser.
    std::size_t administrators(const std::string& module) const;

    bool hasService;
    File usersFile;
    File cacheFile;
    File modulesFile;
    std::vector<Record> users;
    std::vector<Record> cache;
    std::vector<Module> modules;
};

/// A warning when an administrator could get in before and none can after; empty otherwise.
std::string adminWarning(const Survey& before, const Survey& after, const std::string& module);

/// adminWarning() for the removal of a login's record from the file at `path`.
std::string removalWarning(const std::string& path, const std::string& login,
                           const std::string& module);

} // namespace grexctl

#endif
