// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_HTTP_HTTP_SERVICE_H
#define GREX_HTTP_HTTP_SERVICE_H

#include "common/stl/export.h"
#include "grex/http/http.h"

#include <string>

namespace grex::http {

/// A session as the service describes it. `UserGroup` is the number of the user's group in decimal.
struct Session {
    std::string MethodLog;
    std::string UserDomain;
    std::string Login;
    std::string Name;
    std::string IP;
    std::string UserGroup;
    std::string SessionStruct;
};

/// The user of a session.
struct UserInfo {
    unsigned ID = 0;
    unsigned Group = 0; ///< the number of the user's group
    std::string Login;
    std::string Tag;
};

/// A client of the customer-database service: SOAP 1.1 over HTTP POST. All operations answer with
/// one status:
///
///     0  success
///     1  refused: the service answered with another ResultCode than 0
///     2  any other failure of the transport
///     3  the answer could not be understood
///     4  the server's name could not be resolved, or no connection made
///
/// and keep the reason in error(). Outputs are as they were unless the status is 0. Values go into
/// the requests as they are, without XML escapes. Nothing is thrown.
class GREX_API HttpService {
public:
    /// `timeout`: seconds for the connection, see Http.
    HttpService(const std::string& url, unsigned timeout);

    /// Posts any body; `response` is that of the answer, empty when the transport failed.
    unsigned send(const std::string& body, const Http::Headers& headers, std::string& response);

    /// Logs in with a login and a password, which hold no NUL.
    unsigned openSession(const std::string& login, const std::string& password, Session& session);

    /// Asks who the user of a session is; the session is a record or an XML text whose first
    /// "SessionStruct" element holds the seven fields. At a debug level above 1 the text and the
    /// answer are logged.
    unsigned readUserInfo(const Session& session, UserInfo& info);
    unsigned readUserInfo(const std::string& sessionText, UserInfo& info);

    /// Why the last operation failed.
    const std::string& error() const;

    static const std::string openReq_; ///< printf format: login, password
    static const std::string infoReq_; ///< printf format: the seven fields of a session
    static const std::string hdrContentType_;
    static const std::string hdrSoapAction_; ///< to be followed by the operation's name

private:
    unsigned call(const char* operation, const std::string& body, std::string& response);

    unsigned timeout_; // seconds
    std::string url_;
    std::string error_;
};

} // namespace grex::http

#endif
