// SPDX-License-Identifier: Apache-2.0
#include "common/stl/crypt++.h"
#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/grex_db.h"
#include "grex/settings.h"
#include "tools/grexctl/change.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"
#include "tools/grexctl/survey.h"
#include "tools/grexctl/terminal.h"

#include <algorithm>
#include <set>

namespace grexctl {

using grex::__private__::GrexDB;

namespace {

using Change = GrexDB::Change;
using Op = GrexDB::ChangeOp;

void wipeAll(Json& json)
{
    if (json.is_string())
        wipe(json.get_ref<std::string&>());
    if (json.is_structured())
        for (auto& entry : json)
            wipeAll(entry);
}

// The wanted users as the file tells them; its passwords are wiped in the end.
class Document {
public:
    explicit Document(const std::string& path) : file_(requireFile(path))
    {
        try {
            json_ = Json::parse(file_.text);
        } catch (const Json::parse_error& error) { // whose text could show a password
            const auto end = file_.text.begin() +
                             static_cast<std::ptrdiff_t>(std::min(error.byte, file_.text.size()));
            const auto line = 1 + std::count(file_.text.begin(), end, '\n');
            wipe(file_.text);
            throw Refused(place(path, static_cast<std::size_t>(line)) + ": this is no JSON");
        }
    }
    ~Document()
    {
        wipe(file_.text);
        try {
            wipeAll(json_);
        } catch (...) {
            return; // nothing here throws but what the JSON library reserves itself to
        }
    }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    const Json& json() const { return json_; }
    const std::string& path() const { return file_.path; }

private:
    File file_;
    Json json_;
};

struct Wanted {
    std::string login;
    unsigned gid = 0;
    const std::string* password = nullptr; // the document's; null: none given
    const std::string* hash = nullptr;
};

const std::string* textOf(const Json& entry, const char* key)
{
    if (!entry.contains(key))
        return nullptr;
    if (!entry[key].is_string())
        throw Refused(std::string("'") + key + "' is no text");
    return entry[key].get_ptr<const std::string*>();
}

void requireKnownKeys(const Json& entry)
{
    if (!entry.is_object())
        throw Refused("not of the form {\"login\": ..., \"group\": ...}");
    for (const auto& [key, value] : entry.items())
        if (key != "login" && key != "group" && key != "password" && key != "hash")
            throw Refused("unknown key " + inQuotes(key) +
                          "; known are login, group, password and hash");
}

Wanted readEntry(const Json& entry)
{
    requireKnownKeys(entry);
    const std::string* const login = textOf(entry, "login");
    if (!login)
        throw Refused("no login");
    requireStorable(*login);
    Wanted wanted;
    wanted.login = *login;
    const Json group = entry.value("group", Json());
    wanted.gid = group.is_string() ? gidOf(group.get<std::string>()) : gidOf(group.dump());
    if (wanted.gid == 0)
        throw Refused(inQuotes(*login) + ": no group; give User, Admin, SuperUser or Monitor");
    wanted.password = textOf(entry, "password");
    wanted.hash = textOf(entry, "hash");
    if (wanted.password && wanted.hash)
        throw Refused(inQuotes(*login) + ": a password and a hash; give one of them");
    if (wanted.hash && hashKind(*wanted.hash).empty())
        throw Refused(inQuotes(*login) + ": no password matches this hash");
    return wanted;
}

std::vector<Wanted> readWanted(const Document& document)
{
    if (!document.json().is_array())
        throw Refused(document.path() + ": not a list of users, [{\"login\": ...}, ...]");
    std::vector<Wanted> all;
    std::set<std::string> seen;
    for (const Json& entry : document.json()) {
        try {
            all.push_back(readEntry(entry));
            if (!seen.insert(all.back().login).second)
                throw Refused(inQuotes(all.back().login) + " is named twice");
        } catch (const Refused& refused) {
            throw Refused(document.path() + ", user " + sx::toString(seen.size() + 1) + ": " +
                          refused.what());
        }
    }
    return all;
}

// What is to be done so that the users file holds the wanted users and no others.
struct Plan {
    std::vector<Change> changes;
    std::vector<const std::string*> passwords; // to be hashed, one a change; null: none
    std::vector<Record> after;
    std::string text;
    Json json = {{"add", Json::array()}, {"update", Json::array()}, {"remove", Json::array()}};

    void add(Op::Op op, const Wanted& wanted, bool setsHash, const char* kind,
             const std::string& line)
    {
        const bool isHashed = setsHash && wanted.hash;
        changes.push_back({op, wanted.login, op == Op::Remove ? "" : sx::toString(wanted.gid), "",
                           isHashed ? *wanted.hash : ""});
        passwords.push_back(setsHash ? wanted.password : nullptr);
        json[kind].push_back(wanted.login);
        text += line + '\n';
    }
};

void planUser(const Wanted& wanted, const Record* record, Plan& plan)
{
    const std::string name = printable(wanted.login);
    const std::string group = grex::fixedGroupName(wanted.gid);
    if (!record) {
        if (!wanted.password && !wanted.hash)
            throw Refused(inQuotes(wanted.login) + " is new and has neither password nor hash");
        return plan.add(Op::AddOrUpdate, wanted, true, "add", "+ " + name + "  " + group);
    }
    const bool movesGroup = record->gid != wanted.gid;
    const bool setsHash = (wanted.hash && *wanted.hash != record->hash) ||
                          (wanted.password && !crpt::compare(*wanted.password, record->hash));
    if (!movesGroup && !setsHash)
        return;
    std::string line = "~ " + name;
    if (movesGroup)
        line += std::string("  ") + grex::fixedGroupName(record->gid) + " -> " + group;
    if (setsHash)
        line += "  new password";
    plan.add(Op::AddOrUpdate, wanted, setsHash, "update", line);
}

Plan makePlan(const std::vector<Wanted>& all, const File& users)
{
    const std::vector<Record> records = recordsOf(users);
    Plan plan;
    std::set<std::string> kept;
    for (const Wanted& wanted : all) {
        const Record* const record = findRecord(records, wanted.login);
        planUser(wanted, record, plan);
        kept.insert(wanted.login);
        // Of a password that is still to be hashed any hash will do.
        const std::string hash = wanted.hash ? *wanted.hash : record ? record->hash : "";
        plan.after.push_back({0, true, true, wanted.login, wanted.gid,
                              wanted.password ? std::string(13, 'x') : hash});
    }
    for (const Record& record : records) {
        if (!record.isRecord || kept.count(record.login) != 0)
            continue;
        const Wanted unwanted{record.login, record.gid, nullptr, nullptr};
        plan.add(Op::Remove, unwanted, false, "remove", "- " + printable(record.login));
    }
    return plan;
}

// A login is changed once in one go, so that a second record of it would be left.
void requireSingleRecords(const File& users)
{
    const std::vector<Record> records = recordsOf(users);
    for (const Record& record : records)
        if (record.isRecord && countRecords(records, record.login) > 1)
            throw Refused(place(users.path, record.line) + ": " + inQuotes(record.login) +
                          " has several records; remove all but one");
}

void makeHashes(Plan& plan)
{
    const auto count =
        plan.passwords.size() -
        static_cast<std::size_t>(std::count(plan.passwords.begin(), plan.passwords.end(), nullptr));
    Progress progress("hashing passwords", count);
    for (std::size_t i = 0; i < plan.changes.size(); ++i) {
        if (!plan.passwords[i])
            continue;
        crpt::makeHash(*plan.passwords[i], plan.changes[i].hash);
        if (plan.changes[i].hash.empty())
            throw Refused(inQuotes(plan.changes[i].login) +
                          ": the password cannot be stored: it is "
                          "too long or holds a NUL; nothing was changed");
        progress.advance();
    }
}

std::string warningOf(const Plan& plan, const Options& options)
{
    const Survey before;
    Survey after = before;
    after.users = plan.after;
    std::string warning = adminWarning(before, after, options.context);
    if (!warning.empty() && options.keepsAdmin)
        throw Refused(warning + "; --keep-admin refuses that");
    return warning;
}

Answer carryOut(Plan& plan, const std::vector<Wanted>& wanted, const std::string& path)
{
    makeHashes(plan);
    const GrexDB db;
    const bool isDone = db.changeUsers(GrexDB::userfile_, plan.changes);
    return afterChange(isDone, path, path + ": users changed: " + sx::toString(plan.changes.size()),
                       [&](const File& now) { return makePlan(wanted, now).changes.empty(); });
}

} // namespace

Answer apply(const Options& options)
{
    const Document document(options.file);
    const std::vector<Wanted> wanted = readWanted(document);
    const File users = requireReadable(grex::Settings::get()->usersFile());
    requireSingleRecords(users);
    Plan plan = makePlan(wanted, users);
    Answer answer;
    if (plan.changes.empty())
        answer = changeAnswer(false, users.path + ": nothing to change");
    else if (options.isDryRun)
        answer = changeAnswer(false, "a dry run: nothing was changed");
    const std::string warning = warningOf(plan, options);
    if (answer.json.empty())
        answer = carryOut(plan, wanted, users.path);
    answer.json["dryRun"] = options.isDryRun;
    answer.json.update(plan.json);
    answer.text = plan.text + answer.text;
    if (!warning.empty())
        answer.messages.push_back("warning: " + warning);
    return answer;
}

} // namespace grexctl
