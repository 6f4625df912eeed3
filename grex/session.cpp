// SPDX-License-Identifier: Apache-2.0
#include "grex/session.h"

#include "common/stl/no_throw.h"
#include "common/stl/sys_log.h"
#include "common/stl/translate.h"
#include "grex/context.h"
#include "grex/grex_auth.h"
#include "grex/grex_db.h"
#include "grex/module_access.h"
#include "grex/settings.h"

namespace grex {

using __private__::GrexAuth;

namespace {

constexpr char prefix[] = "grex::Session|";
constexpr int priority = LOG_AUTHPRIV | LOG_INFO;

// Two statements: the address re-reads the configuration, the timeout does not.
void useConfiguredService()
{
    Settings& settings = *Settings::get();
    const std::string& url = settings.authURL();
    Session::setAuthService(url, settings.connectTimeout());
}

} // namespace

Session::Session() = default;

void Session::reset()
{
    isAccess_ = false;
    group_.reset(0);
    userName_.clear();
}

void Session::setAuthService(const std::string& url, int timeout)
{
    GrexAuth::setAuthService(url);
    GrexAuth::setServiceConnectTimeout(timeout);
}

bool Session::authenticate(const std::string& login, const std::string& password, unsigned& gid)
{
    reset();
    gid = 0;
    return sx::noThrow(false, [&] {
        useConfiguredService();
        return GrexAuth().authenticate(login, password, gid) && setAccess(login, gid);
    });
}

bool Session::validateSession(const std::string& sessionId)
{
    reset();
    return sx::noThrow(false, [&] {
        std::string user;
        unsigned gid = 0;
        useConfiguredService();
        return GrexAuth().validateSession(sessionId, user, gid) && setAccess(user, gid);
    });
}

bool Session::setAccess(const std::string& user, unsigned gid)
{
    return sx::noThrow(false, [&] {
        std::string name = user; // what memory may be out for comes before anything is changed
        const std::string& context = Context::get().contextName();
        if (!group_.reset(gid))
            return isAccess_;
        if (ModuleAccess().moduleAccess(group_.gid, context) == 0) {
            // The user is not stored yet: this line names the one of before, who is nobody after a
            // reset.
            syslogLog(priority, translate(prefix, "context '%s', user '%s': access denied"),
                      context.c_str(), userName_.c_str());
            return isAccess_;
        }
        userName_.swap(name);
        syslogLog(priority, translate(prefix, "authentication success: context '%s', user '%s'"),
                  context.c_str(), userName_.c_str());
        isAccess_ = true;
        return true;
    });
}

unsigned Session::moduleAccess(const std::string& module) const
{
    return ModuleAccess().moduleAccess(group_.gid, module);
}

unsigned Session::moduleAccess() const
{
    return ModuleAccess().moduleAccess(group_.gid);
}

unsigned Session::userModuleAccess(const std::string& login)
{
    if (!__private__::GrexDB().userExists(login))
        return 0;
    const unsigned gid = GroupAccess::gidByLogin(login);
    return gid == 0 ? 0 : ModuleAccess().moduleAccess(gid);
}

bool Session::checkAccess(unsigned mask) const
{
    return isAccess_ && group_.checkAccess(mask);
}

bool Session::isAccess() const
{
    return isAccess_;
}

const std::string& Session::userName() const
{
    return userName_;
}

unsigned Session::gid() const
{
    return group_.gid;
}

const std::string& Session::groupName() const
{
    return group_.groupName;
}

bool Session::getUserInfo(std::string& user, std::string& group, unsigned& gid) const
{
    if (!isAccess_)
        return false;
    return sx::noThrow(false, [&] {
        std::string userCopy = userName_;
        std::string groupCopy = group_.groupName;
        user.swap(userCopy);
        group.swap(groupCopy);
        gid = group_.gid;
        return true;
    });
}

} // namespace grex
