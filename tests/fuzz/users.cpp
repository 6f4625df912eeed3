// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"
#include "grex/context.h"
#include "grex/grex_auth.h"
#include "grex/grex_db.h"
#include "grex/settings.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>

using grex::__private__::GrexAuth;
using grex::__private__::GrexDB;

namespace {

bool isRecordOf(const std::string& line, const std::string& login)
{
    return std::count(line.begin(), line.end(), ':') == 2 && login.find(':') == std::string::npos &&
           line.compare(0, login.size() + 1, login + ":") == 0;
}

// The rule, without the library: the first line of the file that is a record of the login.
std::string expected(const std::string& text, const std::string& login)
{
    std::string rest = text;
    while (!rest.empty()) {
        const std::string line = sx::strip(takeLine(rest));
        if (line.compare(0, 1, "#") != 0 && isRecordOf(line, login))
            return line;
    }
    return {};
}

void tryLookup(const std::string& text, const std::string& login)
{
    const GrexDB db;
    const std::string found = db.findUserLine(login);
    HOLDS(found == expected(text, login) && found == db.findUserLine(login));
    unsigned gid = 7;
    if (GrexAuth().locAuthenticate(false, login, "any", gid))
        HOLDS(isRecordOf(found, login) && sx::isUInt(sx::section(found, ':', 1)) &&
              sx::section(found, ':', 2).compare(0, 2, "$h") == 0);
    else
        HOLDS(gid == 0);
    std::deque<std::string> users;
    db.getUserList(3, users);
    for (const std::string& user : users)
        HOLDS(std::count(user.begin(), user.end(), ':') == 1);
}

// An accepted change is read back byte for byte, and nobody else's record is another one.
void tryChange(const std::string& login, const std::string& group, const std::string& hash)
{
    const GrexDB db;
    const std::string ann = db.findUserLine("ann");
    const std::string was = db.findUserLine(login);
    const bool isDone = db.changeUsers(GrexDB::userfile_, {{GrexDB::ChangeOp::AddOrUpdate, login, group, "any", hash}});
    const FileCache file(GrexDB::userfile_.filename);
    if (isDone && !hash.empty())
        HOLDS(db.findUserLine(file, login) == login + ":" + group + ":" + hash);
    if (!isDone)
        HOLDS(db.findUserLine(file, login) == was);
    HOLDS(login == "ann" || db.findUserLine(file, "ann") == ann);
    HOLDS(db.removeUser(login));
    const FileCache left(GrexDB::userfile_.filename);
    HOLDS(db.findUserLine(login) == db.findUserLine(left, login));
}

} // namespace

// Login, group, hash, then a users file.
INPUT(text)
{
    const std::string login = takeLine(text);
    const std::string group = takeLine(text);
    const std::string hash = takeLine(text);
    const std::string modules = fileOf("modacc", "http;3@3");
    grex::Settings::get()->setVarConfigDir(modules.substr(0, modules.rfind('/')));
    grex::Context::get().setContext("http");
    fileOf("users", text);
    tryLookup(text, login);
    tryChange(login, group, hash);
}
