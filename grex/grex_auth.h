// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_GREX_AUTH_H
#define GREX_GREX_AUTH_H

#include "common/stl/export.h"

#include <string>

namespace grex::__private__ {

/// Who a login and password, or a remote session, belong to. Asks the remote service when one is
/// set, then the cache of users whom the service admitted, then the users file. Failures are
/// logged, with no password. Nothing is thrown; not for several threads.
class GREX_API GrexAuth {
public:
    GrexAuth();
    /// Sets the service for all objects.
    explicit GrexAuth(const std::string& url);

    /// The address of the service for all objects; white space at its ends is dropped, an empty one
    /// switches the service off.
    static void setAuthService(const std::string& url);
    /// Seconds; negative ones count as 0, which stands for libcurl's own 300.
    static void setServiceConnectTimeout(int seconds);

    /// True, with the user's group in `gid`, when the service admits the login; when it does not,
    /// whatever the reason, when the cache does; when neither does, when the users file does. A
    /// refusal by the service takes the login out of the cache first. `gid` is 0 on failure.
    bool authenticate(const std::string& login, const std::string& password, unsigned& gid) const;
    /// By the cache or by the users file alone. A login that is unknown costs what a wrong password
    /// costs, and is not logged.
    bool locAuthenticate(bool useCache, const std::string& login, const std::string& password,
                         unsigned& gid) const;
    /// By the service alone: 0 admitted, and recorded in the cache; 4 not. `gid` is what the
    /// service reported, 0 where that is no number.
    unsigned netAuthenticate(const std::string& login, const std::string& password,
                             unsigned& gid) const;

    /// Asks the service about a session that it has opened, an XML text with a "SessionStruct"
    /// element. True, with its user and group, when the service knows it; the user is then recorded
    /// in the cache.
    bool validateSession(const std::string& sessionId, std::string& user, unsigned& gid) const;

    static std::string authURL_;
    static unsigned connectTimeout_; ///< seconds
};

} // namespace grex::__private__

#endif
