// SPDX-License-Identifier: Apache-2.0
#ifndef CUSTOMERDB_SOAP_MESSAGES_H
#define CUSTOMERDB_SOAP_MESSAGES_H

#include <stdexcept>
#include <string>
#include <variant>

#include "user_store.h"

namespace customerdb {

struct OpenSession {
    std::string login;
    std::string password;
};

/// Of the session record only the identifier counts, the rest is told to the client for its
/// display.
struct GetUserInfo {
    std::string sessionId;
};

using Request = std::variant<OpenSession, GetUserInfo>;

/// Why a request is none, with the local name of the SOAP 1.1 fault code.
class Fault : public std::runtime_error {
public:
    Fault(std::string code, const std::string& reason)
        : std::runtime_error(reason), code_(std::move(code))
    {
    }
    const std::string& code() const { return code_; }

private:
    std::string code_;
};

/// The request in a SOAP envelope. Throws Fault.
Request parseRequest(const std::string& xml);

// Answers, each a whole XML document. A refusal has a code that is not 0.

std::string sessionAnswer(const User& user, const std::string& sessionId, const std::string& peer);
std::string sessionRefusal(int code, const std::string& reason);
std::string userInfoAnswer(const User& user);
std::string userInfoRefusal(int code, const std::string& reason);
std::string faultAnswer(const Fault& fault);

/// The contract with the service at `host`, a name or address and a port.
std::string wsdlFor(const std::string& host);

} // namespace customerdb

#endif
