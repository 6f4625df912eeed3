// SPDX-License-Identifier: Apache-2.0
#ifndef CUSTOMERDB_SERVICE_H
#define CUSTOMERDB_SERVICE_H

#include <string>

#include <httplib.h>

#include "user_store.h"

namespace customerdb {

/// Answers SOAP requests and asks for the contract at "/", and logs each request on standard
/// output.
class Service {
public:
    /// `users` must outlive the service.
    explicit Service(const UserStore& users) : users_(users), sessions_(maxSessions) {}

    /// Sets up the server's limits and handlers. The service must outlive the server's run.
    void attachTo(httplib::Server& server);

private:
    /// What the log tells of a request besides its sender.
    struct Report {
        std::string operation; ///< empty: none was understood, method and path stand for it
        std::string login;     ///< as it came
        std::string outcome;
    };

    static constexpr std::size_t maxSessions = 1024;

    void get(const httplib::Request& req, httplib::Response& res) const;
    void post(const httplib::Request& req, httplib::Response& res,
              const httplib::ContentReader& read);
    Report call(const std::string& body, const std::string& peer, httplib::Response& res);
    Report openSession(const std::string& login, const std::string& password,
                       const std::string& peer, std::string& answer);
    Report getUserInfo(const std::string& sessionId, std::string& answer) const;
    static void log(const httplib::Request& req, const Report& report);

    const UserStore& users_;
    SessionStore sessions_;
};

} // namespace customerdb

#endif
