// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/change.h"

#include "common/stl/crypt++.h"
#include "common/stl/sx.h"
#include "common/stl/utils.h"
#include "grex/constants.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/terminal.h"

namespace grexctl {

namespace {

bool isWhiteSpace(char c)
{
    return sx::defaultDelimeter.find(c) != std::string::npos;
}

std::string whyRefused(const std::string& path, const std::string& password)
{
    if (isLocked(path))
        return path + " stays locked by another process (" + path + ".lock); nothing was changed";
    std::string hash;
    crpt::makeHash(password, hash);
    if (hash.empty())
        return "this password cannot be stored: it is too long or holds a NUL";
    return path + " could not be changed; '--verbose' shows the log";
}

Answer failed(bool isChanged, const std::string& message)
{
    Answer answer = changeAnswer(isChanged, "");
    answer.text.clear();
    answer.messages = {message};
    answer.status = statusRefused;
    return answer;
}

} // namespace

std::string whyNotStorable(const std::string& login)
{
    if (login.empty())
        return "a login cannot be empty";
    if (login.find(grex::colon) != std::string::npos)
        return "a login cannot hold ':', which separates the fields of a record";
    if (login.find('\n') != std::string::npos || login.find('\0') != std::string::npos)
        return "a login cannot hold a line end or a NUL";
    if (login.front() == grex::comment)
        return "a login cannot begin with '#', which begins a comment";
    if (isWhiteSpace(login.front()) || isWhiteSpace(login.back()))
        return "a login cannot begin or end with white space";
    return "";
}

void requireStorable(const std::string& login)
{
    const std::string reason = whyNotStorable(login);
    if (!reason.empty())
        throw Refused(inQuotes(login) + ": " + reason);
}

Answer changeAnswer(bool isChanged, const std::string& text)
{
    Answer answer;
    answer.json = {{"changed", isChanged}};
    answer.text = text + '\n';
    return answer;
}

Answer afterChange(bool isDone, const std::string& path, const std::string& success,
                   const std::function<bool(const File&)>& isSaved, const std::string& password)
{
    const std::string reason = utils::errString();
    const bool isChanged = isSaved(readFile(path));
    if (isDone && isChanged)
        return changeAnswer(true, success);
    if (isDone)
        return failed(false, path + " was not written, nothing was changed: " + reason);
    if (isChanged)
        return failed(true, path + " was changed but could not be signed, and was not " +
                                "synchronised: " + reason);
    return failed(false, whyRefused(path, password));
}

} // namespace grexctl
