// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/settings.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"
#include "tools/grexctl/survey.h"

namespace grexctl {

namespace {

std::string stateOf(const File& file, const char* whenMissing)
{
    if (file.isRead())
        return "readable";
    return file.isMissing() ? std::string("missing, ") + whenMissing
                            : file.failure().substr(file.path.size() + 2);
}

// An address without the name and password that may stand in it.
std::string withoutUser(const std::string& url)
{
    const std::string::size_type scheme = url.find("://");
    const std::string::size_type host = scheme == std::string::npos ? 0 : scheme + 3;
    const std::string::size_type end = std::min(url.find_first_of("/?#", host), url.size());
    const std::string::size_type at = url.rfind('@', end);
    const bool hasUser = at != std::string::npos && at >= host;
    return hasUser ? url.substr(0, host) + url.substr(at + 1) : url;
}

// Which field of a module's line decides for a group, and by which rule.
struct Decision {
    unsigned level = 0;
    std::size_t line = 0; // 0: no line
    std::string field;
    std::string rule;
};

std::string ruleOf(const std::vector<std::string>& fields, const std::string& level)
{
    if (fields.empty())
        return "no field for the group: level 0";
    unsigned number = 0;
    constexpr unsigned maxLevel = 3;
    if (!sx::fromString(level, number) || number > maxLevel)
        return "a level that is none of 0 to 3 counts as 0";
    return fields.size() > 1 ? "the first field of the group counts" : "";
}

Decision decide(const std::vector<Module>& modules, const std::string& name, unsigned gid)
{
    const Module* const module = findModule(modules, name);
    if (!module)
        return {0, 0, "", "no line for the module: level 0"};
    const std::string key = sx::toString(gid) + grex::at;
    std::vector<std::string> pieces;
    std::vector<std::string> fields;
    sx::split(module->fields, pieces, grex::semicolon);
    for (std::string& piece : pieces)
        if (sx::strip(piece).compare(0, key.size(), key) == 0)
            fields.push_back(piece);
    const std::string field = fields.empty() ? "" : fields.front();
    Decision decision{module->level(gid), module->line, field,
                      ruleOf(fields, field.empty() ? "" : field.substr(key.size()))};
    if (decision.rule.empty())
        for (const Module& other : modules)
            if (other.name == name && &other != module)
                decision.rule = "the first line of the module counts";
    return decision;
}

// What a record does for whoever knows its password.
struct Outcome {
    bool isGranted;
    std::string text;
};

class Explanation {
public:
    explicit Explanation(const Options& options) : options_(options)
    {
        requireModule(survey_.modulesFile, options_.context);
    }

    Answer answer();

private:
    void tellFiles();
    void tellRecords(const File& file, const std::vector<Record>& records, Table& table);
    std::string remarkOn(const std::vector<Record>& records, const Record& record) const;
    void tellService();
    void tellModules();
    void tellOutcomes();
    Outcome outcomeOf(const File& file, const std::vector<Record>& records) const;
    unsigned group() const;
    void tell(const std::string& head, const Table& table);
    void tell(const char* key, const std::string& head, const std::string& text);

    const Options& options_;
    Survey survey_;
    Answer answer_;
};

void Explanation::tell(const std::string& head, const Table& table)
{
    answer_.text += head + "\n\n" + table.text() + '\n';
}

void Explanation::tell(const char* key, const std::string& head, const std::string& text)
{
    answer_.json[key] = text;
    Table table({head});
    table.add({text});
    answer_.text += table.text() + '\n';
}

void Explanation::tellFiles()
{
    grex::Settings& settings = *grex::Settings::get();
    struct Row {
        File file;
        const char* whenMissing;
    };
    const Row rows[] = {{readFile(settings.configFile()), "defaults count"},
                        {readFile(settings.varConfigFile()), "defaults count"},
                        {survey_.usersFile, "holds nobody"},
                        {survey_.cacheFile, "holds nobody"},
                        {survey_.modulesFile, "no group has a right"}};
    Table table({"FILE", "STATE"});
    Json list = Json::array();
    for (const Row& row : rows) {
        const std::string state = stateOf(row.file, row.whenMissing);
        list.push_back({{"path", row.file.path}, {"state", state}});
        table.add({printable(row.file.path), state});
    }
    answer_.json["files"] = list;
    tell("Files", table);
}

std::string Explanation::remarkOn(const std::vector<Record>& records, const Record& record) const
{
    if (record.login != options_.login)
        return "another login: case and white space count";
    std::string fault = faultOf(record);
    if (!fault.empty())
        return fault;
    return findRecord(records, options_.login) == &record ? "" : "an earlier record counts";
}

void Explanation::tellRecords(const File& file, const std::vector<Record>& records, Table& table)
{
    const std::string wanted = sx::lower(options_.login);
    const std::string name = file.path.substr(file.path.rfind('/') + 1);
    for (const Record& record : records) {
        if (sx::lower(sx::strip(record.login)) != wanted)
            continue;
        const std::string kind = hashKind(record.hash);
        const std::string remark = remarkOn(records, record);
        answer_.json["records"].push_back({{"file", name},
                                           {"line", record.line},
                                           {"gid", record.gid},
                                           {"hash", kind},
                                           {"problem", remark}});
        table.add({name, sx::toString(record.line), groupText(record.gid),
                   kind.empty() ? "none" : kind, remark});
    }
}

void Explanation::tellService()
{
    grex::Settings& settings = *grex::Settings::get();
    const std::string url = withoutUser(sx::strip(settings.authURL()));
    const int timeout = settings.connectTimeout();
    tell("service", "Login service",
         survey_.hasService ? printable(url) + ", connect timeout " + sx::toString(timeout) + " s"
                            : "none is configured: the users file alone decides");
    answer_.json["service"] =
        survey_.hasService ? Json{{"url", url}, {"connectTimeout", timeout}} : Json();
}

// By the users file first, as the library has it.
unsigned Explanation::group() const
{
    if (const Record* const record = findRecord(survey_.users, options_.login))
        return record->gid;
    const Record* const record = findRecord(survey_.cache, options_.login);
    return record ? record->gid : 0;
}

void Explanation::tellModules()
{
    const unsigned gid = group();
    Table table({"MODULE", "LEVEL", "LINE", "FIELD", "RULE"});
    Json list = Json::array();
    for (const std::string& name :
         options_.modules.empty() ? namesOf(survey_.modules) : options_.modules) {
        const Decision decision = gid == 0 ? Decision{0, 0, "", "no group, no right"}
                                           : decide(survey_.modules, name, gid);
        list.push_back({{"module", name},
                        {"level", decision.level},
                        {"line", decision.line},
                        {"field", decision.field},
                        {"rule", decision.rule}});
        table.add({printable(name), sx::toString(decision.level),
                   decision.line == 0 ? "-" : sx::toString(decision.line),
                   printable(decision.field), decision.rule});
    }
    answer_.json["gid"] = gid;
    answer_.json["group"] = grex::fixedGroupName(gid);
    answer_.json["modules"] = list;
    tell("Rights of group " + groupText(gid) + " by " + survey_.modulesFile.path, table);
}

Outcome Explanation::outcomeOf(const File& file, const std::vector<Record>& records) const
{
    if (!file.isRead())
        return {false, "denied: cannot read " + file.failure()};
    const Record* const record = findRecord(records, options_.login);
    if (!record)
        return {false, "denied: no record in " + file.path};
    const std::string fault = faultOf(*record);
    if (!fault.empty())
        return {false, "denied: " + place(file.path, record->line) + ": " + fault};
    const unsigned level = levelOf(survey_.modules, options_.context, record->gid);
    const std::string rights = "group " + groupText(record->gid) + ", level " +
                               sx::toString(level) + " on module " + inQuotes(options_.context);
    if (level == 0)
        return {false, "denied: " + rights};
    return {true, "granted with the password of " + place(file.path, record->line) + ": " + rights};
}

void Explanation::tellOutcomes()
{
    const Outcome local = outcomeOf(survey_.usersFile, survey_.users);
    const Outcome cached = outcomeOf(survey_.cacheFile, survey_.cache);
    std::string now = local.text;
    std::string alone = local.text;
    if (survey_.hasService) {
        now = "the service decides and names the group; where it refuses, the record in the "
              "cache goes and the users file decides: " +
              local.text;
        alone = "by the cache " + cached.text + "; by the users file " + local.text;
    }
    tell("now", "A login now", now);
    tell("withoutService", "A login with the service down", alone);
    answer_.json["granted"] = survey_.hasService || local.isGranted;
    answer_.text.pop_back();
    answer_.status = survey_.hasService || local.isGranted ? statusDone : statusRefused;
}

Answer Explanation::answer()
{
    answer_.json = {{"login", options_.login}};
    tellFiles();
    answer_.json["records"] = Json::array();
    Table records({"FILE", "LINE", "GROUP", "HASH", "REMARK"});
    tellRecords(survey_.usersFile, survey_.users, records);
    tellRecords(survey_.cacheFile, survey_.cache, records);
    if (answer_.json["records"].empty())
        answer_.text += "Neither the users file nor the cache has a record of " +
                        inQuotes(options_.login) + ".\n\n";
    else
        tell("Records of " + inQuotes(options_.login), records);
    tellService();
    tellModules();
    tellOutcomes();
    return answer_;
}

} // namespace

Answer explain(const Options& options)
{
    return Explanation(options).answer();
}

} // namespace grexctl
