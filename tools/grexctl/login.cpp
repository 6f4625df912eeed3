// SPDX-License-Identifier: Apache-2.0
#include "grex/session.h"

#include "grex/group_access.h"
#include "grex/settings.h"
#include "tools/grexctl/commands.h"
#include "tools/grexctl/console.h"
#include "tools/grexctl/element.h"
#include "tools/grexctl/terminal.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace grexctl {

namespace {

constexpr std::size_t maxSessionText = 1U << 20; // bytes; the library takes no more

std::string readInput()
{
    std::string text;
    char buffer[4096];
    while (text.size() <= maxSessionText) {
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof(buffer));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw Refused(std::string("standard input: ") + std::strerror(errno));
        if (count == 0)
            break;
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

Answer granted(const grex::Session& session, const std::string& context)
{
    const unsigned level = session.moduleAccess();
    Answer answer;
    answer.json = {{"granted", true},      {"login", session.userName()},
                   {"gid", session.gid()}, {"group", session.groupName()},
                   {"context", context},   {"level", level}};
    Table table({"LOGIN", "GROUP", "MODULE", "LEVEL"});
    table.add({printable(session.userName()), groupText(session.gid()), printable(context),
               std::to_string(level)});
    answer.text = green("granted") + "\n\n" + table.text();
    return answer;
}

Answer denied(const std::string& reason)
{
    Answer answer;
    answer.json = {{"granted", false}};
    answer.text = red("denied") + "\n";
    answer.messages = {reason};
    answer.status = statusRefused;
    return answer;
}

std::string noRight(unsigned gid, const std::string& context)
{
    return "group " + groupText(gid) + " has no right on module " + inQuotes(context) + "; see " +
           grex::Settings::get()->modulesFile();
}

std::string whyDenied(const Options& options, unsigned gid)
{
    if (gid != 0)
        return noRight(gid, options.context);
    const File users = readFile(grex::Settings::get()->usersFile());
    if (!users.isRead())
        return "cannot read " + users.failure();
    return "wrong login or password; 'grexctl explain LOGIN' tells more";
}

std::string whyInvalid(const grex::Session& session, const std::string& context)
{
    grex::Settings& settings = *grex::Settings::get();
    if (settings.authURL().empty())
        return "no login service is configured; set NMSServerUrl in " + settings.varConfigFile();
    if (session.gid() != 0)
        return noRight(session.gid(), context);
    return "the login service does not know the session or did not answer; '--verbose' shows the "
           "log";
}

} // namespace

Answer login(const Options& options)
{
    useContext(options.context);
    Secret password;
    readPassword("Password of " + inQuotes(options.login), password);
    grex::Session session;
    unsigned gid = 0;
    if (session.authenticate(options.login, password.text(), gid))
        return granted(session, options.context);
    return denied(whyDenied(options, gid));
}

Answer session(const Options& options)
{
    useContext(options.context);
    std::string text = readInput();
    grex::Session session;
    const bool isGranted = session.validateSession(text);
    wipe(text);
    if (isGranted)
        return granted(session, options.context);
    return denied(whyInvalid(session, options.context));
}

} // namespace grexctl
