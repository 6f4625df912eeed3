// SPDX-License-Identifier: Apache-2.0
// The entry points of the PAM module, see pam_grex(8).
#include "common/stl/crypt++.h"
#include "common/stl/sx.h"
#include "grex/constants.h"
#include "grex/grex_auth.h"
#include "grex/grex_db.h"
#include "grex/module_access.h"
#include "grex/session.h"
#include "grex/settings.h"
#include "pam/options.h"
#include "pam/scopes.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <new>
#include <security/pam_ext.h>
#include <security/pam_modules.h>
#include <string>
#include <syslog.h>
#include <unistd.h>

namespace {

using grex::__private__::GrexAuth;
using grex::__private__::GrexDB;

constexpr char grantName[] = "grex_grant"; // of the handle's data

// Kept in the handle: whom auth has granted access. The files may not know him.
struct Grant {
    std::string user;
    unsigned gid;
};

void freeGrant(pam_handle_t*, void* grant, int)
{
    delete static_cast<Grant*>(grant);
}

// Ends a service with an answer other than its own.
struct Answer {
    int code;
};

void require(int code)
{
    if (code == PAM_CONV_AGAIN)
        throw Answer{PAM_INCOMPLETE}; // what a module says to an application that comes back later
    if (code != PAM_SUCCESS)
        throw Answer{code};
}

// Whether the file is there and closed to us, so that nobody can say who is in it.
bool isUnreadable(const std::string& path)
{
    return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno != ENOENT &&
           errno != ENOTDIR;
}

bool hasService()
{
    return !sx::strip(grex::Settings::get()->authURL()).empty();
}

// One call of one service.
class Service {
public:
    Service(pam_handle_t* handle, int flags, int count, const char** texts)
        : handle_(handle), flags_(static_cast<unsigned>(flags)),
          options_(parseOptions(handle, count, texts))
    {
        applyFolders(options_);
    }

    int authenticate();
    int account();
    int changePassword();

private:
    bool hasFlag(unsigned flag) const { return (flags_ & flag) != 0; }
    std::string user();
    Secret password(int item, int missing);
    bool hasPassword() const;
    void dropPassword(int item);
    void requireContext(const ContextScope& scope);

    bool mayBeKnown(const std::string& user) const;
    bool attempt(grex::Session& session, const std::string& user);
    void forgetGrant();
    int keepGrant(const grex::Session& session);
    bool isGranted(const std::string& user) const;

    void requireLocal(const std::string& user);
    void verifyOldPassword(const std::string& user);
    int storeNewPassword(const std::string& user);

    pam_handle_t* handle_;
    unsigned flags_;
    Options options_;
};

std::string Service::user()
{
    const char* name = nullptr;
    require(pam_get_user(handle_, &name, nullptr));
    require(name ? PAM_SUCCESS : PAM_USER_UNKNOWN);
    return name;
}

// The stack's password, or one that the user is asked for. `missing` is the answer without either.
Secret Service::password(int item, int missing)
{
    const char* text = nullptr;
    const int code = pam_get_authtok(handle_, item, &text, nullptr);
    require(code == PAM_AUTHTOK_ERR ? missing : code);
    require(text ? PAM_SUCCESS : missing);
    return Secret(text);
}

bool Service::hasPassword() const
{
    const void* text = nullptr;
    return pam_get_item(handle_, PAM_AUTHTOK, &text) == PAM_SUCCESS && text;
}

// The next password() asks.
void Service::dropPassword(int item)
{
    require(pam_set_item(handle_, item, nullptr));
}

void Service::requireContext(const ContextScope& scope)
{
    if (options_.context.empty())
        pam_syslog(handle_, LOG_ERR, "the option context= is missing");
    else if (!scope.isSet())
        pam_syslog(handle_, LOG_ERR, "module '%s' is not listed in '%s'", options_.context.c_str(),
                   grex::Settings::get()->modulesFile().c_str());
    else
        return;
    throw Answer{PAM_SERVICE_ERR};
}

// False only when nobody can know the user: no service, and no record in either file.
bool Service::mayBeKnown(const std::string& user) const
{
    grex::Settings& settings = *grex::Settings::get();
    return hasService() || isUnreadable(settings.usersFile()) ||
           isUnreadable(settings.cacheFile()) || GrexDB().userExists(user);
}

bool Service::attempt(grex::Session& session, const std::string& user)
{
    const Secret secret = password(PAM_AUTHTOK, PAM_CONV_ERR);
    const bool isNull = secret.text().empty() && hasFlag(PAM_DISALLOW_NULL_AUTHTOK);
    if (user.empty() || isNull)
        return false;
    const SaltScope salts; // a login that the service admits is hashed for the cache
    unsigned gid = 0;
    return session.authenticate(user, secret.text(), gid);
}

int Service::authenticate()
{
    forgetGrant();
    const std::string login = user();
    const ContextScope scope(options_.context);
    requireContext(scope);
    const bool isUnknown = !mayBeKnown(login); // a refusal takes him out of the cache
    const bool isSecondAllowed = options_.tryFirstPass && !options_.useFirstPass && hasPassword();
    if (!options_.tryFirstPass && !options_.useFirstPass)
        dropPassword(PAM_AUTHTOK);
    grex::Session session;
    bool isGood = attempt(session, login);
    if (!isGood && isSecondAllowed) {
        dropPassword(PAM_AUTHTOK);
        isGood = attempt(session, login);
    }
    if (isGood)
        return keepGrant(session);
    pam_syslog(handle_, LOG_NOTICE, "module '%s': login of %s refused", options_.context.c_str(),
               isUnknown ? "an unknown user"
                         : ("'" + login + "'").c_str()); // a password may be typed as a name
    return isUnknown ? PAM_USER_UNKNOWN : PAM_AUTH_ERR;
}

void Service::forgetGrant()
{
    require(pam_set_data(handle_, grantName, nullptr, nullptr));
    for (const char* name : {"GREX_GID", "GREX_GROUP", "GREX_LEVEL"})
        if (pam_getenv(handle_, name))
            require(pam_putenv(handle_, name));
}

int Service::keepGrant(const grex::Session& session)
{
    const std::string level = sx::toString(session.moduleAccess());
    auto grant = std::make_unique<Grant>(Grant{session.userName(), session.gid()});
    require(pam_set_data(handle_, grantName, grant.get(), freeGrant));
    grant.release(); // NOLINT(bugprone-unused-return-value): the handle's now
    require(pam_putenv(handle_, ("GREX_GID=" + sx::toString(session.gid())).c_str()));
    require(pam_putenv(handle_, ("GREX_GROUP=" + session.groupName()).c_str()));
    require(pam_putenv(handle_, ("GREX_LEVEL=" + level).c_str()));
    if (options_.debug)
        pam_syslog(handle_, LOG_DEBUG, "module '%s': '%s' has level %s as '%s'",
                   options_.context.c_str(), session.userName().c_str(), level.c_str(),
                   session.groupName().c_str());
    return PAM_SUCCESS;
}

// Of the grant only the group counts: its right is looked up anew.
bool Service::isGranted(const std::string& user) const
{
    const void* data = nullptr;
    if (pam_get_data(handle_, grantName, &data) != PAM_SUCCESS || !data)
        return false;
    const Grant& grant = *static_cast<const Grant*>(data);
    return grant.user == user && grex::ModuleAccess().moduleAccess(grant.gid) != 0;
}

int Service::account()
{
    const std::string login = user();
    const ContextScope scope(options_.context);
    requireContext(scope);
    if (!login.empty() && (grex::Session::userModuleAccess(login) != 0 || isGranted(login)))
        return PAM_SUCCESS;
    pam_syslog(handle_, LOG_NOTICE, "module '%s': '%s' has no right", options_.context.c_str(),
               login.c_str());
    return PAM_PERM_DENIED;
}

int Service::changePassword()
{
    if (hasFlag(PAM_CHANGE_EXPIRED_AUTHTOK))
        return PAM_SUCCESS; // no password of ours expires
    const std::string login = user();
    requireLocal(login);
    if (getuid() != 0)
        verifyOldPassword(login);
    return hasFlag(PAM_PRELIM_CHECK) ? PAM_SUCCESS : storeNewPassword(login);
}

void Service::requireLocal(const std::string& user)
{
    const GrexDB db; // binds the files
    if (!user.empty() && db.userExists(GrexDB::userfile_, user))
        return;
    if (isUnreadable(grex::Settings::get()->usersFile()))
        throw Answer{PAM_AUTHTOK_ERR};
    if (!hasService() && !db.userExists(GrexDB::cachefile_, user))
        throw Answer{PAM_USER_UNKNOWN};
    if (!hasFlag(PAM_SILENT))
        pam_error(handle_,
                  "The password of '%s' is kept by the remote login service. Change it there.",
                  user.c_str());
    throw Answer{PAM_AUTHTOK_ERR};
}

// By the users file alone: it is the one that is changed. Done in both phases, the second of which
// finds the password of the first in the handle.
void Service::verifyOldPassword(const std::string& user)
{
    const Secret old = password(PAM_OLDAUTHTOK, PAM_AUTHTOK_RECOVERY_ERR);
    unsigned gid = 0;
    if (GrexAuth().locAuthenticate(false, user, old.text(), gid))
        return;
    pam_syslog(handle_, LOG_NOTICE, "password of '%s' not changed: wrong old password",
               user.c_str());
    dropPassword(PAM_OLDAUTHTOK);
    throw Answer{PAM_AUTH_ERR};
}

// What the file says, not what the library holds: it counts a write that failed as done.
bool isStored(const std::string& user, const std::string& password)
{
    const FileCache file(grex::Settings::get()->usersFile());
    return crpt::compare(password, sx::section(GrexDB().findUserLine(file, user), grex::colon, 2));
}

int Service::storeNewPassword(const std::string& user)
{
    const Secret fresh = password(PAM_AUTHTOK, PAM_AUTHTOK_ERR);
    bool isChanged = false;
    if (!fresh.text().empty()) {
        const SaltScope salts;
        isChanged = GrexDB().changePassword(user, fresh.text()) && isStored(user, fresh.text());
    }
    if (isChanged) {
        pam_syslog(handle_, LOG_NOTICE, "password of '%s' changed", user.c_str());
        return PAM_SUCCESS;
    }
    GrexDB::userfile_.modifTime =
        0; // read anew: the held lines must not admit by a password that was not stored
    pam_syslog(handle_, LOG_ERR, "password of '%s' not changed: it cannot be stored", user.c_str());
    if (!hasFlag(PAM_SILENT))
        pam_error(handle_, "The new password cannot be stored.");
    return PAM_AUTHTOK_ERR;
}

// Every call ends here, so that nothing is thrown into the application.
int run(int (Service::*service)(), pam_handle_t* handle, int flags, int count,
        const char** texts) noexcept
{
    try {
        return (Service(handle, flags, count, texts).*service)();
    } catch (const Answer& answer) {
        return answer.code;
    } catch (const std::bad_alloc&) {
        return PAM_BUF_ERR;
    } catch (const std::exception& error) {
        pam_syslog(handle, LOG_CRIT, "%s", error.what());
    } catch (...) {
        pam_syslog(handle, LOG_CRIT, "unexpected failure");
    }
    return PAM_SYSTEM_ERR;
}

} // namespace

int pam_sm_authenticate(pam_handle_t* handle, int flags, int count, const char** texts)
{
    return run(&Service::authenticate, handle, flags, count, texts);
}

// The environment is set by auth; there are no credentials to take or to give back.
int pam_sm_setcred(pam_handle_t*, int, int, const char**)
{
    return PAM_SUCCESS;
}

int pam_sm_acct_mgmt(pam_handle_t* handle, int flags, int count, const char** texts)
{
    return run(&Service::account, handle, flags, count, texts);
}

int pam_sm_chauthtok(pam_handle_t* handle, int flags, int count, const char** texts)
{
    return run(&Service::changePassword, handle, flags, count, texts);
}

int pam_sm_open_session(pam_handle_t*, int, int, const char**)
{
    return PAM_SUCCESS;
}

int pam_sm_close_session(pam_handle_t*, int, int, const char**)
{
    return PAM_SUCCESS;
}
