// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/survey.h"

#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/settings.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/signature.h"

#include <algorithm>

namespace grexctl {

namespace {

void addAdmissions(const std::vector<Record>& records, const std::vector<Module>& modules,
                   const std::string& module, std::vector<Admission>& admissions)
{
    for (const Record& record : records) {
        const bool counts = findRecord(records, record.login) == &record;
        if (counts && faultOf(record).empty() && levelOf(modules, module, record.gid) != 0)
            admissions.push_back({record.login, record.gid});
    }
}

void eraseRecord(std::vector<Record>& records, const std::string& login)
{
    if (const Record* const record = findRecord(records, login))
        records.erase(records.begin() + (record - records.data()));
}

std::vector<std::string> unreadable(const Survey& survey)
{
    std::vector<std::string> messages;
    for (const File* file : {&survey.usersFile, &survey.cacheFile, &survey.modulesFile})
        if (!file->isRead() && !(file == &survey.cacheFile && file->isMissing()))
            messages.push_back("cannot read " + file->failure());
    return messages;
}

std::size_t countGroup(const std::vector<Record>& records, unsigned gid)
{
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(),
                      [&](const Record& record) { return record.isRecord && record.gid == gid; }));
}

const char* nameOf(Signature state)
{
    switch (state) {
    case Signature::Fits:
        return "signed";
    case Signature::Missing:
        return "unsigned";
    case Signature::Unreadable:
    case Signature::Wrong:
        break;
    }
    return "wrong-signature";
}

// A line "NAME=CHECKSUM:STATE ..." that is equal on elements that are alike: no path, no time.
class Fingerprint {
public:
    void add(const char* name, const File& file, bool isSigned)
    {
        const std::string checksum = file.isRead() ? checksumOf(file) : "missing";
        Json entry = {{"file", name}, {"md5", checksum}};
        line_ += std::string(line_.empty() ? "" : " ") + name + "=" + checksum;
        if (isSigned && file.isRead()) {
            const char* const state = nameOf(stateOfSignature(file));
            entry["signature"] = state;
            line_ += std::string(":") + state;
        }
        files_.push_back(entry);
    }
    void add(const char* name, const std::vector<Record>& records)
    {
        Json counts = Json::object();
        for (unsigned gid = grex::userGid; gid <= grex::monitorGid; ++gid) {
            const std::size_t count = countGroup(records, gid);
            counts[grex::fixedGroupName(gid)] = count;
            line_ += std::string(" ") + name + '.' + grex::fixedGroupName(gid) + '=' +
                     sx::toString(count);
        }
        groups_[name] = counts;
    }
    Answer answer() const
    {
        Answer answer;
        answer.json = {{"files", files_}, {"groups", groups_}};
        answer.text = line_ + '\n';
        return answer;
    }

private:
    std::string line_;
    Json files_ = Json::array();
    Json groups_ = Json::object();
};

} // namespace

Survey::Survey()
    : hasService(!sx::strip(grex::Settings::get()->authURL()).empty()),
      usersFile(readFile(grex::Settings::get()->usersFile())),
      cacheFile(readFile(grex::Settings::get()->cacheFile())),
      modulesFile(readFile(grex::Settings::get()->modulesFile())), users(recordsOf(usersFile)),
      cache(recordsOf(cacheFile)), modules(modulesOf(modulesFile))
{
}

std::vector<Admission> Survey::admissions(const std::string& module) const
{
    std::vector<Admission> found;
    if (hasService)
        addAdmissions(cache, modules, module, found);
    addAdmissions(users, modules, module, found);
    return found;
}

std::size_t Survey::administrators(const std::string& module) const
{
    const std::vector<Admission> all = admissions(module);
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [](const Admission& admission) {
            return admission.gid == grex::adminGid || admission.gid == grex::superUserGid;
        }));
}

std::string adminWarning(const Survey& before, const Survey& after, const std::string& module)
{
    if (before.administrators(module) == 0 || after.administrators(module) != 0)
        return "";
    return "no Admin and no SuperUser can get in after that unless the login service admits one";
}

std::string removalWarning(const std::string& path, const std::string& login,
                           const std::string& module)
{
    const Survey before;
    Survey after = before;
    eraseRecord(path == before.cacheFile.path ? after.cache : after.users, login);
    return adminWarning(before, after, module);
}

Answer drill(const Options& options)
{
    const Survey survey;
    requireModule(survey.modulesFile, options.context);
    Answer answer;
    Json list = Json::array();
    Table table({"GROUP", "LEVEL", "USERS", "LOGINS"});
    const std::vector<Admission> all = survey.admissions(options.context);
    for (unsigned gid = grex::userGid; gid <= grex::monitorGid; ++gid) {
        const unsigned level = levelOf(survey.modules, options.context, gid);
        std::vector<std::string> logins;
        std::string names;
        for (const Admission& admission : all) {
            const bool isListed =
                std::find(logins.begin(), logins.end(), admission.login) != logins.end();
            if (admission.gid != gid || isListed)
                continue;
            logins.push_back(admission.login);
            names += (names.empty() ? "" : " ") + printable(admission.login);
        }
        list.push_back({{"gid", gid},
                        {"group", grex::fixedGroupName(gid)},
                        {"level", level},
                        {"logins", logins}});
        table.add({groupText(gid), sx::toString(level), sx::toString(logins.size()), names});
    }
    const std::size_t administrators = survey.administrators(options.context);
    answer.json = {{"context", options.context},
                   {"service", survey.hasService},
                   {"groups", list},
                   {"administrators", administrators}};
    answer.text = "Who gets in on module " + inQuotes(options.context) +
                  " without the login service:\n\n" + table.text();
    answer.messages = unreadable(survey);
    if (administrators == 0) {
        answer.messages.emplace_back("no Admin and no SuperUser could get in; 'grexctl users add' "
                                     "adds one");
        answer.status = statusRefused;
    }
    return answer;
}

Answer fingerprint(const Options&)
{
    grex::Settings& settings = *grex::Settings::get();
    const Survey survey;
    Fingerprint print;
    print.add("users", survey.usersFile, true);
    print.add("modacc", survey.modulesFile, true);
    print.add("cache.db", survey.cacheFile, true);
    print.add("fixed", readFile(settings.configFile()), false);
    print.add("variable", readFile(settings.varConfigFile()), false);
    print.add("users", survey.users);
    print.add("cached", survey.cache);
    return print.answer();
}

} // namespace grexctl
