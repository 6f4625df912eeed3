// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_CHANGE_H
#define GREXCTL_CHANGE_H

#include "tools/grexctl/answer.h"
#include "tools/grexctl/element.h"

#include <functional>
#include <string>

namespace grexctl {

/// Why no record can have the login; empty when one can.
std::string whyNotStorable(const std::string& login);
/// Throws Refused.
void requireStorable(const std::string& login);

/// {"changed": ...}, and one line for people.
Answer changeAnswer(bool isChanged, const std::string& text);

/// What came of a change of the file at `path`, by a look into it: the library answers true for a
/// write that failed, and false for one that could not be signed. `success` is what to say when all
/// is well; `password` is the one that was to be stored, if any.
Answer afterChange(bool isDone, const std::string& path, const std::string& success,
                   const std::function<bool(const File&)>& isSaved,
                   const std::string& password = "");

} // namespace grexctl

#endif
