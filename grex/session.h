// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_SESSION_H
#define GREX_SESSION_H

#include "common/stl/export.h"
#include "grex/group_access.h"

#include <string>

namespace grex {

/// One login: who the user is and what his group may do with the module of the current context.
/// Make one per login; it keeps no password. Each attempt starts from reset(), so that a failed one
/// revokes an earlier grant. Outcomes go to the log (LOG_AUTHPRIV). Nothing is thrown: what fails
/// for want of memory is denied. Not for several threads.
///
///     grex::Context::get().setContext("http");
///     grex::Session session;
///     unsigned gid = 0;
///     if (session.authenticate(login, password, gid) && session.checkAccess(2))
///         ...
class GREX_API Session {
public:
    Session();

    /// No access, no user, no group.
    void reset();

    /// The address of the remote service ("" for none) and its connect timeout in seconds, for all
    /// sessions, until the next attempt reads both from the Settings.
    static void setAuthService(const std::string& url, int timeout);

    /// True when login and password are good and the user's group has any right on the current
    /// context's module. `gid` is the group that was found, also when that group has no right; 0
    /// when the login is not good.
    ///
    /// With a service it lasts up to the connect timeout and 30 s more, then 0.35 s and a hash's
    /// time for the record in the cache, at most 15 s for its lock, and what the synchronisation
    /// tool takes.
    bool authenticate(const std::string& login, const std::string& password, unsigned& gid);
    /// The same for a session that the remote service has opened: an XML text with a
    /// "SessionStruct" element.
    bool validateSession(const std::string& sessionId);

    /// Takes a user whom somebody else has authenticated. Denied, when the group has no right on
    /// the module: the answer is the access flag, which stays as it was, as does the user name; the
    /// group is the new one. The log line of a denial therefore names the user of before, none
    /// after authenticate() and validateSession().
    bool setAccess(const std::string& user, unsigned gid);

    /// The level of the session's group on a module (see ModuleAccess), whether or not access was
    /// granted.
    unsigned moduleAccess(const std::string& module) const;
    unsigned moduleAccess() const;
    /// The level of a login's group on the current context's module; 0 for an unknown one.
    static unsigned userModuleAccess(const std::string& login);

    /// Whether access was granted and the group has all bits of `mask` (not 0) on the current
    /// context's module.
    bool checkAccess(unsigned mask) const;

    bool isAccess() const;
    /// References into the session.
    const std::string& userName() const;
    unsigned gid() const;
    const std::string& groupName() const;
    /// False, with the outputs as they were, when access was not granted.
    bool getUserInfo(std::string& user, std::string& group, unsigned& gid) const;

private:
    bool isAccess_ = false;
    std::string userName_;
    GroupAccess group_;
};

} // namespace grex

#endif
