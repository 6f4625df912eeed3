// SPDX-License-Identifier: Apache-2.0
#ifndef PAM_OPTIONS_H
#define PAM_OPTIONS_H

#include <security/pam_modules.h>
#include <string>

/// What stands behind the module's name in a line of a PAM configuration.
struct Options {
    std::string context;   ///< the module of the element whose rights count; empty: not given
    std::string configDir; ///< empty: as the process has it
    std::string varDir;    ///< empty: as the process has it
    bool useFirstPass = false;
    bool tryFirstPass = false;
    bool debug = false;
};

/// Reads the options; unknown ones, and those that lack their value, are logged and otherwise
/// ignored.
Options parseOptions(const pam_handle_t* handle, int count, const char** texts);

/// Makes config_dir and var_dir, where given, the folders of the process.
void applyFolders(const Options& options);

#endif
