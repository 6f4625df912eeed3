// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_OPTIONS_H
#define GREXCTL_OPTIONS_H

#include "tools/grexctl/answer.h"

#include <string>
#include <vector>

namespace grexctl {

/// What the command line says; each command uses what it needs.
struct Options {
    std::string configDir; ///< empty: not given
    std::string varDir;    ///< empty: not given
    std::string context = "http";
    bool isJson = false;
    bool isVerbose = false;

    std::string login;
    bool hasLogin = false;
    unsigned gid = 0; ///< of --group or --as; 0: not given
    std::vector<std::string> modules;
    std::string file;
    bool keepsAdmin = false;
    bool isDryRun = false;
};

struct Command {
    Answer (*run)(const Options&) = nullptr;
    const char* refusal = ""; ///< the JSON value that goes with a refusal
};

struct CommandLine {
    Options options;
    Command command;  ///< none where the line asks for help or for the version
    std::string text; ///< that help or version
};

/// Throws UsageError.
CommandLine parse(int argc, char** argv);

} // namespace grexctl

#endif
