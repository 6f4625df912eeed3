// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_ANSWER_H
#define GREXCTL_ANSWER_H

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace grexctl {

using Json = nlohmann::ordered_json;

constexpr int statusDone = 0;
constexpr int statusRefused = 1;
constexpr int statusUsage = 2;

/// What a command has to say. Nothing is printed before the command has ended.
// The JSON library declares noexcept a move that clang-tidy finds a throw in.
// NOLINTNEXTLINE(bugprone-exception-escape)
struct Answer {
    Json json;                         ///< for standard output with --json
    std::string text;                  ///< for standard output without, line ends included
    std::vector<std::string> messages; ///< for standard error, one line each
    int status = statusDone;
};

/// The element or the library refuses; what() tells what was wrong, with which file, and what to
/// do.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The command line is wrong; what() tells what was wrong and what is right.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace grexctl

#endif
