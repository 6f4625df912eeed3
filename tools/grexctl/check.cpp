// SPDX-License-Identifier: Apache-2.0
#include "common/stl/crypt++.h"
#include "common/stl/sx.h"
#include "common/stl/utils.h"
#include "grex/constants.h"
#include "grex/settings.h"
#include "tools/grexctl/change.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"
#include "tools/grexctl/signature.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <map>
#include <memory>
#include <set>
#include <sys/stat.h>

namespace grexctl {

namespace {

struct Finding {
    std::string path;
    std::size_t line; // 0: the file as a whole
    std::string id;
    std::string problem;
};

using Findings = std::vector<Finding>;

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

void checkLogin(const File& file, const Record& record, Findings& findings)
{
    std::string reason = whyNotStorable(record.login);
    const bool isControl = std::any_of(record.login.begin(), record.login.end(),
                                       [](unsigned char c) { return std::iscntrl(c) != 0; });
    if (reason.empty() && isControl)
        reason = "the login holds control characters";
    if (!reason.empty())
        findings.push_back({file.path, record.line, "login-format",
                            "login " + inQuotes(record.login) + ": " + reason});
}

void checkRecord(const File& file, const Record& record, Findings& findings)
{
    if (!record.isRecord) {
        findings.push_back({file.path, record.line, "record-format", faultOf(record)});
        return;
    }
    checkLogin(file, record, findings);
    if (record.gid == 0)
        findings.push_back({file.path, record.line, "group-range",
                            "login " + inQuotes(record.login) + ": " + faultOf(record)});
    if (hashKind(record.hash).empty())
        findings.push_back({file.path, record.line, "hash-unusable",
                            "login " + inQuotes(record.login) + ": no password matches the hash"});
}

void checkRecords(const File& file, Findings& findings)
{
    std::map<std::string, std::size_t> seen;
    for (const Record& record : recordsOf(file)) {
        checkRecord(file, record, findings);
        if (!record.isRecord)
            continue;
        const auto [first, isNew] = seen.emplace(record.login, record.line);
        if (!isNew)
            findings.push_back({file.path, record.line, "duplicate",
                                "login " + inQuotes(record.login) + ": line " +
                                    sx::toString(first->second) + " counts, this one does not"});
    }
}

void checkListing(const File& users, Findings& findings)
{
    for (const Record& record : recordsOf(users))
        if (!record.isRecord || !record.hasNumber) {
            findings.push_back({users.path, record.line, "listing-stop",
                                "no list of users is given: it stops at this line"});
            return;
        }
}

// One field GROUP@LEVEL; `seen` are the groups of the fields before it.
void checkField(const File& file, const Module& module, const std::string& field,
                std::set<std::string>& seen, Findings& findings)
{
    const std::string text =
        "module " + inQuotes(module.name) + ", field " + inQuotes(field) + ": ";
    const auto add = [&](const char* id, const char* problem) {
        findings.push_back({file.path, module.line, id, text + problem});
    };
    const std::string::size_type at = field.find(grex::at);
    if (at == std::string::npos)
        return add("module-format", "not of the form GROUP@LEVEL");
    const std::string group = field.substr(0, at);
    unsigned number = 0;
    if (!sx::fromString(group, number) || !grex::isFixedGroup(number) ||
        sx::toString(number) != group)
        return add("group-range", "its group is none of 1 to 4");
    if (!seen.insert(group).second)
        add("duplicate", "an earlier field of the group counts, this one does not");
    constexpr unsigned maxLevel = 3;
    unsigned level = 0;
    if (!sx::fromString(field.substr(at + 1), level) || level > maxLevel)
        add("level-range", "its level is none of 0 to 3 and counts as 0");
}

void checkModules(const File& file, Findings& findings)
{
    std::map<std::string, std::size_t> seen;
    for (const Module& module : modulesOf(file)) {
        if (module.name.empty())
            findings.push_back({file.path, module.line, "module-format", "no module's name"});
        const auto [first, isNew] = seen.emplace(module.name, module.line);
        if (!isNew)
            findings.push_back({file.path, module.line, "duplicate",
                                "module " + inQuotes(module.name) + ": line " +
                                    sx::toString(first->second) + " counts, this one does not"});
        std::vector<std::string> fields;
        sx::split(module.fields, fields, grex::semicolon);
        std::set<std::string> groups;
        for (std::string& field : fields)
            if (!sx::strip(field).empty())
                checkField(file, module, field, groups, findings);
    }
}

void checkSignature(const File& file, bool isNeeded, Findings& findings)
{
    const std::string path = signaturePath(file.path);
    switch (stateOfSignature(file)) {
    case Signature::Fits:
        return;
    case Signature::Missing:
        if (isNeeded)
            findings.push_back(
                {path, 0, "signature-missing", nameOf(file.path) + " is not signed"});
        return;
    case Signature::Unreadable:
        findings.push_back({path, 0, "unreadable", readFile(path).failure()});
        return;
    case Signature::Wrong:
        findings.push_back({path, 1, "signature-wrong",
                            "not the MD5 checksum of " + nameOf(file.path) +
                                ", which was changed by hand or not written completely"});
    }
}

void checkMode(const std::string& path, Findings& findings)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0)
        findings.push_back({path, 0, "writable-by-others",
                            std::string("every account can change this ") +
                                (S_ISDIR(status.st_mode) ? "folder" : "file") + "; chmod o-w " +
                                printable(path)});
}

// One file of the database with its signature.
void checkData(const File& file, bool isNeeded, bool isSigned, Findings& findings,
               void (*checkLines)(const File&, Findings&))
{
    if (file.isMissing() && !isNeeded)
        return;
    if (!file.isRead()) {
        findings.push_back({file.path, 0, "unreadable", std::strerror(file.error)});
        return;
    }
    checkLines(file, findings);
    checkSignature(file, isSigned, findings);
    checkMode(file.path, findings);
    checkMode(signaturePath(file.path), findings);
}

void checkUsers(const File& file, Findings& findings)
{
    checkRecords(file, findings);
    checkListing(file, findings);
}

// A number of the settings and what the library makes of it.
struct NumberKey {
    const char* section;
    const char* key;
    int first;
    int last;
};

constexpr NumberKey numberKeys[] = {
    {"cu/params/101", "nmsconnecttimeout", 0, 2000000},
    {"cu/params/1", "syslanguage", 0, 3},
    {"cu/params/3", "logdebug", 0, 3},
};

std::string faultOfValue(const std::string& section, const std::string& key,
                         const std::string& value)
{
    for (const NumberKey& known : numberKeys) {
        if (section != known.section || key != known.key)
            continue;
        int number = 0;
        if (sx::fromString(value, number) && number >= known.first && number <= known.last)
            return "";
        return inQuotes(value) + " is no number from " + sx::toString(known.first) + " to " +
               sx::toString(known.last);
    }
    const std::string lower = sx::lower(value);
    const bool isURL = lower.rfind("http://", 0) == 0 || lower.rfind("https://", 0) == 0;
    if (section == "cu/params/101" && key == "nmsserverurl" && !value.empty() && !isURL)
        return "the address begins neither with http:// nor with https://";
    if (section == "common" && key == "varconfigdir" && value.compare(0, 1, "/") != 0)
        return inQuotes(value) + " is no absolute path";
    return "";
}

// What IniFile passes over in silence.
class ConfChecker {
public:
    ConfChecker(const File& file, Findings& findings) : file_(file), findings_(findings) {}

    void check(const Line& line)
    {
        const std::string& text = line.text;
        if (text.front() == ';')
            return;
        if (text.front() == '[' && text.back() == ']') {
            section_ = sx::lower(sx::strip(text, "[] \t\r"));
            return;
        }
        const std::string::size_type equals = text.find('=');
        if (equals == std::string::npos || equals == 0)
            return add(line, "settings", "neither [section] nor key=value nor comment");
        const std::string name = sx::rstrip(text.substr(0, equals));
        const std::string key = sx::lower(name);
        std::string value = sx::strip(text.substr(equals + 1));
        if (value.size() > 1 && value.front() == '"' && value.back() == '"')
            sx::strip(value, "\"");
        const std::string fault = faultOfValue(section_, key, value);
        if (!fault.empty())
            add(line, "settings", name + ": " + fault);
        const auto [first, isNew] = seen_.emplace(section_ + '\n' + key, line.number);
        if (!isNew)
            add(line, "duplicate",
                name + ": this line counts, line " + sx::toString(first->second) + " does not");
    }

private:
    void add(const Line& line, const char* id, const std::string& problem)
    {
        findings_.push_back({file_.path, line.number, id, printable(problem)});
    }

    const File& file_;
    Findings& findings_;
    std::string section_;
    std::map<std::string, std::size_t> seen_;
};

void checkConf(const std::string& path, Findings& findings)
{
    const File file = readFile(path);
    if (file.isMissing())
        return; // every value has a default
    if (!file.isRead()) {
        findings.push_back({path, 0, "unreadable", std::strerror(file.error)});
        return;
    }
    ConfChecker checker(file, findings);
    for (const Line& line : linesOf(file))
        checker.check(line);
    checkMode(path, findings);
}

struct CloseFolder {
    void operator()(DIR* folder) const noexcept { closedir(folder); }
};

// NAME.XXXXXX as mkstemp(3) makes it.
bool isTempOf(const std::string& name, const std::string& target)
{
    constexpr std::size_t letters = 6;
    return name.size() == target.size() + 1 + letters &&
           name.compare(0, target.size(), target) == 0 && name[target.size()] == '.' &&
           std::all_of(name.end() - letters, name.end(),
                       [](unsigned char c) { return std::isalnum(c) != 0; });
}

void checkName(const std::string& folder, const std::string& name, Findings& findings)
{
    grex::Settings& settings = *grex::Settings::get();
    for (const std::string& path :
         {settings.usersFile(), settings.cacheFile(), settings.modulesFile()}) {
        const std::string target = nameOf(path);
        const bool isTemp = isTempOf(name, target) || isTempOf(name, target + ".sig");
        const bool isLock = name == target + ".lock";
        if ((!isTemp && !isLock) || isLocked(path))
            continue;
        findings.push_back({folder + name, 0, isTemp ? "leftover-temp" : "leftover-lock",
                            isTemp
                                ? "left by a change that was interrupted; remove it"
                                : "left by a process that was killed; the next change removes it"});
    }
}

void checkFolder(const std::string& folder, Findings& findings)
{
    const std::unique_ptr<DIR, CloseFolder> open(opendir(folder.c_str()));
    if (!open) {
        findings.push_back({folder, 0, "unreadable", std::strerror(errno)});
        return;
    }
    std::set<std::string> names;
    while (const dirent* const entry = readdir(open.get()))
        names.insert(entry->d_name);
    for (const std::string& name : names)
        checkName(folder, name, findings);
    checkMode(folder, findings);
}

Findings examine()
{
    grex::Settings& settings = *grex::Settings::get();
    Findings findings;
    checkConf(settings.configFile(), findings);
    checkConf(settings.varConfigFile(), findings);
    checkData(readFile(settings.usersFile()), true, true, findings, checkUsers);
    checkData(readFile(settings.cacheFile()), false, true, findings, checkRecords);
    checkData(readFile(settings.modulesFile()), true, false, findings, checkModules);
    const std::string folder = utils::folderOf(settings.usersFile());
    checkFolder(folder, findings);
    const std::string confFolder = utils::folderOf(settings.configFile());
    if (confFolder != folder)
        checkMode(confFolder, findings);
    return findings;
}

} // namespace

Answer check(const Options&)
{
    const Findings findings = examine();
    Answer answer;
    answer.json = Json::array();
    Table table({"FILE", "LINE", "FINDING", "PROBLEM"});
    for (const Finding& finding : findings) {
        const bool isFolder = finding.path.back() == '/';
        const std::string name = isFolder ? finding.path : nameOf(finding.path);
        answer.json.push_back({{"file", name},
                               {"line", finding.line},
                               {"problem", finding.problem},
                               {"id", finding.id},
                               {"path", finding.path}});
        table.add({printable(name), finding.line == 0 ? "-" : sx::toString(finding.line),
                   finding.id, finding.problem});
    }
    answer.status = findings.empty() ? statusDone : statusRefused;
    answer.text = findings.empty() ? green("clean") + '\n' : table.text();
    return answer;
}

} // namespace grexctl
