// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/group_access.h"
#include "grex/module_access.h"
#include "grex/settings.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"

namespace grexctl {

namespace {

constexpr unsigned groupIds[] = {grex::userGid, grex::adminGid, grex::superUserGid,
                                 grex::monitorGid};

unsigned groupOf(const Options& options)
{
    if (!options.hasLogin)
        return options.gid;
    const unsigned gid = grex::GroupAccess::gidByLogin(options.login);
    if (gid == 0) // nobody, where there is a file to know it from
        requireFile(grex::Settings::get()->usersFile());
    return gid;
}

} // namespace

Answer access(const Options& options)
{
    const std::vector<Module> lines = modulesOf(requireFile(grex::Settings::get()->modulesFile()));
    const unsigned gid = groupOf(options);
    const std::vector<std::string> names =
        options.modules.empty() ? namesOf(lines) : options.modules;
    Answer answer;
    Json levels = Json::object();
    Table table({"MODULE", "LEVEL"});
    for (const std::string& name : names) {
        const unsigned level = grex::ModuleAccess().moduleAccess(gid, name);
        const bool isListed = findModule(lines, name) != nullptr;
        levels[name] = level;
        table.add({printable(name), sx::toString(level) + (isListed ? "" : "  (not in modacc)")});
    }
    answer.json = {{"gid", gid}, {"levels", levels}};
    const std::string who = options.hasLogin ? "login " + inQuotes(options.login) + ", " : "";
    answer.text = who + "group " + groupText(gid) + "\n\n" + table.text();
    return answer;
}

Answer modules(const Options&)
{
    const std::vector<Module> lines = modulesOf(requireFile(grex::Settings::get()->modulesFile()));
    Answer answer;
    answer.json = Json::array();
    std::vector<std::string> head{"MODULE"};
    for (const unsigned gid : groupIds)
        head.emplace_back(grex::fixedGroupName(gid));
    Table table(head);
    for (const std::string& name : namesOf(lines)) {
        Json levels = Json::object();
        std::vector<std::string> row{printable(name)};
        for (const unsigned gid : groupIds) {
            const unsigned level = grex::ModuleAccess().moduleAccess(gid, name);
            levels[sx::toString(gid)] = level;
            row.push_back(sx::toString(level));
        }
        answer.json.push_back({{"module", name}, {"levels", levels}});
        table.add(row);
    }
    answer.text = table.text();
    return answer;
}

} // namespace grexctl
