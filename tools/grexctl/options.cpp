// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/options.h"

#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

namespace grexctl {

namespace {

constexpr char version[] =
    "grexctl " GREXCTL_VERSION "\nlibgrex " GREXCTL_VERSION "\nJSON schema 1\n";
constexpr char footer[] =
    "Passwords are read from standard input, one line each, never from the command line.\n"
    "Exit status: 0 done, granted or clean; 1 denied, refused or findings; 2 wrong usage.";
constexpr char checkFooter[] =
    "Findings:\n"
    "  unreadable           a file or folder is missing or cannot be read\n"
    "  record-format        a line is not of the form login:group:hash\n"
    "  login-format         a login that no change would accept, or with control characters\n"
    "  hash-unusable        no password matches the hash\n"
    "  duplicate            an earlier line of the login, module, group or key counts instead\n"
    "                       (of keys, a later one)\n"
    "  group-range          a group is none of 1 to 4\n"
    "  level-range          a level is none of 0 to 3 and counts as 0\n"
    "  module-format        a line without a module's name, or a field not GROUP@LEVEL\n"
    "  listing-stop         the list of users ends at this line\n"
    "  signature-missing    a file has no signature\n"
    "  signature-wrong      a signature is not that of its file\n"
    "  writable-by-others   every account can change the file or folder\n"
    "  settings             a line or value of borea.conf that does not count\n"
    "  leftover-temp        a temporary file of a change that was interrupted\n"
    "  leftover-lock        a lock file that no process holds\n"
    "Exit status: 0 clean, 1 findings.";

// The JSON values that go with refusals.
constexpr char notGranted[] = R"({"granted": false})";
constexpr char unchanged[] = R"({"changed": false})";
constexpr char noLevels[] = R"({"gid": 0, "levels": {}})";
constexpr char emptyList[] = "[]";

constexpr char keepAdmin[] = "refuse when no administrator could get in any more";

unsigned parseGroup(const std::string& option, const std::string& text)
{
    if (const unsigned gid = gidOf(text))
        return gid;
    throw CLI::ValidationError(option + ": " + inQuotes(text) +
                               " is no group; give User, Admin, SuperUser, Monitor, 1 to 4, or su");
}

// The least number of letters to insert, remove or replace.
std::size_t distance(const std::string& a, const std::string& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, row[j + 1] + 1, replaced});
        }
    }
    return row.back();
}

class Parser {
public:
    Parser();
    CommandLine parse(int argc, char** argv);

private:
    CLI::App& add(CLI::App& parent, const char* name, const char* description, Command command);
    void addLogin(CLI::App& app);
    void addGroup(CLI::App& app, const char* option, const char* description);
    void addModules(CLI::App& app);
    void addGlobalOptions();
    void addAccessCommands();
    void addUserCommands();
    void addFileCommands();
    void addApply();
    const CLI::App& chosen() const;
    std::string nearest(const std::string& word) const;
    std::string describe(const CLI::ParseError& error) const;
    void requireLogin();

    CLI::App app_{"Users, groups and rights of a network element", "grexctl"};
    CommandLine line_;
};

Parser::Parser()
{
    app_.require_subcommand(1);
    app_.footer(footer);
    app_.set_help_flag("-h,--help", "tell what can be given, and exit");
    addGlobalOptions();
    addAccessCommands();
    addUserCommands();
    addFileCommands();
    addApply();
}

CLI::App& Parser::add(CLI::App& parent, const char* name, const char* description, Command command)
{
    CLI::App& sub = *parent.add_subcommand(name, description);
    sub.fallthrough(); // global options are taken behind the command, too
    if (command.run)
        sub.callback([this, command] { line_.command = command; });
    else
        sub.require_subcommand(1);
    return sub;
}

void Parser::addLogin(CLI::App& app)
{
    app.add_option("LOGIN", line_.options.login, "the user's name")->required();
}

void Parser::addGroup(CLI::App& app, const char* option, const char* description)
{
    const auto take = [this, option](const std::string& text) {
        line_.options.gid = parseGroup(option, text);
    };
    app.add_option_function<std::string>(option, take, description)->type_name("GROUP");
}

void Parser::addModules(CLI::App& app)
{
    app.add_option("MODULE", line_.options.modules, "modules; all that modacc lists unless given");
}

void Parser::addGlobalOptions()
{
    Options& options = line_.options;
    app_.set_version_flag("--version", version, "tell the versions, and exit");
    app_.add_option("--config-dir", options.configDir, "folder of the fixed borea.conf")
        ->type_name("DIR")
        ->take_last();
    app_.add_option("--var-dir", options.varDir, "folder of the variable borea.conf and the users")
        ->type_name("DIR")
        ->take_last();
    app_.add_option("--context", options.context, "module on whose behalf to ask (http)")
        ->type_name("MODULE")
        ->take_last();
    app_.add_flag("--json", options.isJson, "print one JSON value");
    app_.add_flag("--verbose", options.isVerbose, "echo the log to standard error");
}

void Parser::addAccessCommands()
{
    Options& options = line_.options;
    addLogin(add(app_, "login", "authenticate; the password is one line of standard input",
                 {login, notGranted}));
    add(app_, "session", "validate a remote session, its XML text on standard input",
        {session, notGranted});
    CLI::App& levels =
        add(app_, "access", "the levels of a login or group for modules", {access, noLevels});
    levels.add_option("--login", options.login, "the group of this login")->type_name("LOGIN");
    addGroup(levels, "--group", "this group");
    addModules(levels);
    addGroup(add(app_, "groups", "groups visible to a group", {groups, emptyList}), "--as",
             "the group that asks (SuperUser)");
    add(app_, "modules", "the module-access file, modules by groups", {modules, emptyList});
}

void Parser::addUserCommands()
{
    Options& options = line_.options;
    CLI::App& users = add(app_, "users", "list and change users", {});
    addGroup(add(users, "list", "users visible to a group", {usersList, emptyList}), "--as",
             "the group that asks (SuperUser)");
    CLI::App& adding =
        add(users, "add", "add a user, password on standard input", {usersAdd, unchanged});
    addLogin(adding);
    addGroup(adding, "--group", "the user's group");
    adding.get_option("--group")->required();
    addLogin(add(users, "passwd", "change a password, read from standard input",
                 {usersPasswd, unchanged}));
    CLI::App& removing = add(users, "remove", "remove a user", {usersRemove, unchanged});
    addLogin(removing);
    removing.add_flag("--keep-admin", options.keepsAdmin, keepAdmin);
    CLI::App& cache = add(app_, "cache", "users whom the login service admitted", {});
    add(cache, "list", "list them", {cacheList, emptyList});
    CLI::App& forgetting = add(cache, "remove", "forget one", {cacheRemove, unchanged});
    addLogin(forgetting);
    forgetting.add_flag("--keep-admin", options.keepsAdmin, keepAdmin);
}

void Parser::addFileCommands()
{
    add(app_, "check", "verify every file", {check, emptyList}).footer(checkFooter);
    CLI::App& why = add(app_, "explain", "why a login gets in or does not", {explain, "{}"});
    addLogin(why);
    addModules(why);
    why.footer("Exit status: 0 where the right password gets in or the login service decides, 1 "
               "where it does not.");
    add(app_, "drill", "who gets in when the login service is down", {drill, "{}"})
        .footer("Exit status: 0 where an Admin or SuperUser gets in, 1 where none does.");
    add(app_, "fingerprint", "one line that tells elements apart", {fingerprint, "{}"});
}

void Parser::addApply()
{
    Options& options = line_.options;
    CLI::App& applying =
        add(app_, "apply", "make the users those of a JSON file", {apply, unchanged});
    applying.add_option("FILE", options.file, "the wanted users")->required();
    applying.add_flag("--dry-run", options.isDryRun, "tell the difference, change nothing");
    applying.add_flag("--keep-admin", options.keepsAdmin, keepAdmin);
    applying.footer(
        "FILE is [{\"login\": \"ann\", \"group\": \"Admin\", \"password\": \"...\"}]; a "
        "\"hash\" may stand in\nthe password's place; without either a user keeps the "
        "password. Users that it does\nnot name are removed.");
}

// The command that was reached, as far as the line could be read.
const CLI::App& Parser::chosen() const
{
    const CLI::App* app = &app_;
    while (!app->get_subcommands().empty())
        app = app->get_subcommands().front();
    return *app;
}

// A hint at the command or option that was meant; empty when none is near.
std::string Parser::nearest(const std::string& word) const
{
    constexpr std::size_t farthest = 2;
    std::vector<std::string> names;
    for (const CLI::App* app = &chosen(); app; app = app->get_parent())
        for (const CLI::Option* option : app->get_options())
            for (const std::string& name : option->get_lnames())
                names.push_back("--" + name);
    for (const CLI::App* sub : chosen().get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(sub->get_name());
    const auto best =
        std::min_element(names.begin(), names.end(), [&](const auto& a, const auto& b) {
            return distance(word, a) < distance(word, b);
        });
    const bool isNear = best != names.end() && distance(word, *best) <= farthest;
    return isNear ? "; did you mean '" + *best + "'?" : "";
}

std::string Parser::describe(const CLI::ParseError& error) const
{
    const CLI::App& app = chosen();
    const bool isGroup = app.get_require_subcommand_min() > 0;
    const std::vector<std::string> rest = app_.remaining(true);
    const bool isUnknown = dynamic_cast<const CLI::ExtrasError*>(&error) || isGroup;
    if (!isUnknown || rest.empty())
        return isGroup && rest.empty() ? "a command is missing" : error.what();
    if (rest.front().compare(0, 1, "-") == 0)
        return "unknown option " + inQuotes(rest.front()) + nearest(rest.front());
    if (isGroup)
        return "unknown command " + inQuotes(rest.front()) + nearest(rest.front());
    // Not repeated: it may be a password.
    return "too many arguments; a password is read from standard input";
}

// What CLI11 cannot check: that of two options there is one, and that a text is none that says
// nothing.
void Parser::requireLogin()
{
    Options& options = line_.options;
    const bool isAccess = chosen().get_name() == "access";
    const CLI::Option* const login = chosen().get_option_no_throw(isAccess ? "--login" : "LOGIN");
    options.hasLogin = login && login->count() > 0;
    if (isAccess && options.hasLogin == (options.gid != 0))
        throw UsageError("access: give either --login LOGIN or --group GROUP");
    if (options.hasLogin && options.login.empty())
        throw UsageError("LOGIN is empty; give the user's name");
}

CommandLine Parser::parse(int argc, char** argv)
{
    try {
        app_.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        line_.text = app_.help(); // that of the command that was chosen
        line_.command = {};
        return line_;
    } catch (const CLI::CallForVersion&) {
        line_.text = version;
        line_.command = {};
        return line_;
    } catch (const CLI::ParseError& error) {
        const CLI::App& app = chosen();
        const std::string name = &app == &app_ ? "" : app.get_name() + " ";
        const CLI::App* const parent = app.get_parent();
        const std::string above = parent && parent != &app_ ? parent->get_name() + " " : "";
        throw UsageError(describe(error) + "\nTry 'grexctl " + above + name + "--help'.");
    }
    requireLogin();
    return line_;
}

} // namespace

CommandLine parse(int argc, char** argv)
{
    return Parser().parse(argc, argv);
}

} // namespace grexctl
