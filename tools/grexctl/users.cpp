// SPDX-License-Identifier: Apache-2.0
#include "common/stl/crypt++.h"
#include "common/stl/sx.h"
#include "common/stl/utils.h"
#include "grex/constants.h"
#include "grex/grex_db.h"
#include "grex/group_access.h"
#include "grex/settings.h"
#include "tools/grexctl/change.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"
#include "tools/grexctl/survey.h"
#include "tools/grexctl/terminal.h"

#include <deque>

namespace grexctl {

using grex::__private__::GrexDB;

namespace {

unsigned callerOf(const Options& options)
{
    return options.gid != 0 ? options.gid : grex::superUserGid;
}

std::string whyNoListing(unsigned gid, const std::string& context)
{
    if (gid != grex::adminGid && gid != grex::superUserGid)
        return "group " + groupText(gid) + " may not list; Admin and SuperUser may";
    if (!GrexDB::checkAccess(gid, 1))
        return "group " + groupText(gid) + " has no listing right (1) on module " +
               inQuotes(context) + "; see " + grex::Settings::get()->modulesFile();
    return "";
}

class UserTable {
public:
    void add(const std::string& login, unsigned gid)
    {
        const char* const name = grex::fixedGroupName(gid);
        json_.push_back({{"login", login}, {"gid", gid}, {"group", name}});
        table_.add(
            {printable(login), grex::isFixedGroup(gid) ? groupText(gid) : sx::toString(gid)});
    }
    void fill(Answer& answer) const
    {
        answer.json = json_;
        answer.text = table_.text();
    }

private:
    Json json_ = Json::array();
    Table table_{{"LOGIN", "GROUP"}};
};

std::string whyNoUsers(const Options& options)
{
    std::string reason = whyNoListing(callerOf(options), options.context);
    if (!reason.empty())
        return reason;
    const File users = requireFile(grex::Settings::get()->usersFile());
    for (const Record& record : recordsOf(users))
        if (!record.isRecord || !record.hasNumber)
            return place(users.path, record.line) + ": " + faultOf(record) +
                   "; the list stops there, repair the line";
    return users.path + " holds no users";
}

void warnOfEmptyPassword(Answer& answer, const std::string& password, const std::string& login)
{
    if (password.empty() && answer.status == statusDone)
        answer.messages.push_back("warning: the password of " + inQuotes(login) + " is empty");
}

bool holdsPassword(const File& file, const std::string& login, const std::string& password)
{
    const std::vector<Record> records = recordsOf(file);
    const Record* const record = findRecord(records, login);
    return record && crpt::compare(password, record->hash);
}

// What is to be known of a removal that was made.
std::vector<std::string> remainders(const std::string& path, const std::string& login)
{
    std::vector<std::string> messages;
    const std::vector<Record> records = recordsOf(readFile(path));
    if (const Record* const record = findRecord(records, login))
        messages.push_back("warning: " + place(path, record->line) + " is a second record of " +
                           inQuotes(login) + ", who may still get in; remove it as well");
    const std::string& cache = grex::Settings::get()->cacheFile();
    if (path != cache && findRecord(recordsOf(readFile(cache)), login))
        messages.push_back("note: " + inQuotes(login) + " is also in " + cache +
                           "; 'grexctl cache remove' takes that record out");
    return messages;
}

Answer removeRecord(const Options& options, FileCache& cache, const File& file)
{
    const std::size_t before = countRecords(recordsOf(file), options.login);
    if (before == 0) {
        Answer answer = changeAnswer(false, inQuotes(options.login) + " is not in " + file.path +
                                                "; nothing was changed");
        return answer;
    }
    const std::string warning = removalWarning(file.path, options.login, options.context);
    if (!warning.empty() && options.keepsAdmin)
        throw Refused(warning + "; --keep-admin refuses that");
    const GrexDB db;
    const bool isDone = db.changeUser(GrexDB::ChangeOp::Remove, cache, options.login, "", "");
    Answer answer = afterChange(
        isDone, file.path, inQuotes(options.login) + " removed from " + file.path,
        [&](const File& now) { return countRecords(recordsOf(now), options.login) < before; });
    if (answer.status == statusDone)
        for (const std::string& message : remainders(file.path, options.login))
            answer.messages.push_back(message);
    if (!warning.empty())
        answer.messages.push_back("warning: " + warning);
    return answer;
}

} // namespace

Answer groups(const Options& options)
{
    useContext(options.context);
    grex::GroupAccess caller;
    caller.reset(callerOf(options));
    std::deque<std::string> lines;
    caller.getGroupList(lines);
    Answer answer;
    answer.json = Json::array();
    Table table({"GID", "GROUP"});
    for (const std::string& line : lines) {
        const auto [gid, name] = grex::MakeGroupMapItem{false}(line);
        answer.json.push_back({{"gid", std::stoul(gid)}, {"name", name}});
        table.add({gid, name});
    }
    if (lines.empty())
        answer.messages = {whyNoListing(caller.gid, options.context)};
    else
        answer.text = table.text();
    return answer;
}

Answer usersList(const Options& options)
{
    useContext(options.context);
    grex::GroupAccess caller;
    caller.reset(callerOf(options));
    std::deque<std::string> lines;
    if (!caller.getUserList(lines))
        throw Refused(whyNoUsers(options));
    UserTable table;
    for (const std::string& line : lines) {
        unsigned gid = 0;
        sx::fromString(sx::section(line, grex::colon, 1), gid, 10);
        table.add(sx::section(line, grex::colon, 0), gid);
    }
    Answer answer;
    table.fill(answer);
    return answer;
}

Answer usersAdd(const Options& options)
{
    requireStorable(options.login);
    const File users = requireReadable(grex::Settings::get()->usersFile());
    if (findRecord(recordsOf(users), options.login))
        throw Refused(inQuotes(options.login) + " is in " + users.path +
                      " already; 'grexctl users passwd' changes the password");
    Secret password;
    readNewPassword(options.login, password);
    const bool isDone = GrexDB().addUser(options.login, options.gid, password.text());
    Answer answer = afterChange(
        isDone, users.path, inQuotes(options.login) + " added to " + users.path,
        [&](const File& now) { return holdsPassword(now, options.login, password.text()); },
        password.text());
    warnOfEmptyPassword(answer, password.text(), options.login);
    return answer;
}

Answer usersPasswd(const Options& options)
{
    const File users = requireFile(grex::Settings::get()->usersFile());
    if (!findRecord(recordsOf(users), options.login))
        throw Refused("no user " + inQuotes(options.login) + " in " + users.path +
                      "; 'grexctl users add' adds one");
    Secret password;
    readNewPassword(options.login, password);
    const bool isDone = GrexDB().changePassword(options.login, password.text());
    Answer answer = afterChange(
        isDone, users.path, "password of " + inQuotes(options.login) + " changed",
        [&](const File& now) { return holdsPassword(now, options.login, password.text()); },
        password.text());
    warnOfEmptyPassword(answer, password.text(), options.login);
    return answer;
}

Answer usersRemove(const Options& options)
{
    const GrexDB db; // binds the caches
    return removeRecord(options, GrexDB::userfile_,
                        requireFile(grex::Settings::get()->usersFile()));
}

Answer cacheList(const Options&)
{
    const File cache = requireReadable(grex::Settings::get()->cacheFile());
    UserTable table;
    Answer answer;
    for (const Record& record : recordsOf(cache)) {
        if (record.isRecord)
            table.add(record.login, record.gid);
        else
            answer.messages.push_back(place(cache.path, record.line) + ": " + faultOf(record));
    }
    table.fill(answer);
    return answer;
}

Answer cacheRemove(const Options& options)
{
    const GrexDB db; // binds the caches, makes a missing file
    return removeRecord(options, GrexDB::cachefile_,
                        requireFile(grex::Settings::get()->cacheFile()));
}

} // namespace grexctl
