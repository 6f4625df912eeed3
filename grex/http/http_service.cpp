// SPDX-License-Identifier: Apache-2.0
#include "grex/http/http_service.h"

#include "common/stl/no_throw.h"
#include "common/stl/secret.h"
#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "grex/http/service_response_parser.h"

#include <curl/curl.h>

namespace grex::http {

// SOAP 1.1, one line, no white space between the elements.
#define ENVELOPE(body)                                                                             \
    "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Header/><s:Body>" body   \
    "</s:Body></s:Envelope>"
#define METHOD(name, content)                                                                      \
    "<" name                                                                                       \
    " xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns=\"" GREX_SERVICE_NAMESPACE       \
    "\">" content "</" name ">"
#define ELEMENT(name) "<" name ">%s</" name ">"

const std::string HttpService::openReq_ =
    ENVELOPE(METHOD("OpenSession", ELEMENT("Login") ELEMENT("Password")));
const std::string HttpService::infoReq_ = ENVELOPE(
    METHOD("GetUserInfo", "<SessionStruct>" ELEMENT("MethodLog") ELEMENT("UserDomain")
                              ELEMENT("Login") ELEMENT("Name") ELEMENT("IP") ELEMENT("UserGroup")
                                  ELEMENT("SessionStruct") "</SessionStruct>"));
const std::string HttpService::hdrContentType_ = "Content-Type: text/xml; charset=utf-8";
const std::string HttpService::hdrSoapAction_ =
    "SOAPAction: " GREX_SERVICE_NAMESPACE "/IVANTOCustomerDBService/";

namespace {

constexpr unsigned success = 0;
constexpr unsigned transportFailure = 2;
constexpr unsigned unreachable = 4;
constexpr int dumpPriority = LOG_AUTHPRIV | LOG_DEBUG;

bool dumpsReplies()
{
    return SysLog::get()->debugLevel() > 1;
}

// The templates above are the only formats; the values are arguments, whatever they hold.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <class... Values> std::string filled(const std::string& request, const Values&... values)
{
    return sx::sprintf(request.c_str(), values.c_str()...);
}
#pragma GCC diagnostic pop

} // namespace

HttpService::HttpService(const std::string& url, unsigned timeout) : timeout_(timeout)
{
    // Where memory is out there is no address, and every request fails.
    sx::noThrow(false, [&] {
        url_ = url;
        return true;
    });
}

unsigned HttpService::send(const std::string& body, const Http::Headers& headers,
                           std::string& response)
{
    return sx::noThrow(transportFailure, [&] {
        Http transport(timeout_);
        std::string answer = transport.post(url_, body, headers);
        response.swap(answer);
        error_ = Http::errorBuffer_;
        switch (transport.code()) {
        case CURLE_OK:
            return success;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
            return unreachable;
        default:
            return transportFailure;
        }
    });
}

unsigned HttpService::call(const char* operation, const std::string& body, std::string& response)
{
    Http::Headers headers;
    headers << hdrContentType_ << hdrSoapAction_ + operation;
    return send(body, headers, response);
}

unsigned HttpService::openSession(const std::string& login, const std::string& password,
                                  Session& session)
{
    return sx::noThrow(transportFailure, [&] {
        std::string body = filled(openReq_, login, password);
        const sx::Wiper wiper(body);
        std::string response;
        const unsigned status = call("OpenSession", body, response);
        if (status != success)
            return status;
        ServiceResponseParser parser;
        if (!parser.parseOpenSession(response, session))
            error_ = parser.error();
        return parser.status();
    });
}

unsigned HttpService::readUserInfo(const Session& session, UserInfo& info)
{
    return sx::noThrow(transportFailure, [&] {
        std::string body =
            filled(infoReq_, session.MethodLog, session.UserDomain, session.Login, session.Name,
                   session.IP, session.UserGroup, session.SessionStruct);
        const sx::Wiper wiper(body);
        std::string response;
        const unsigned status = call("GetUserInfo", body, response);
        if (dumpsReplies())
            syslogLog(dumpPriority, "readUserInfo(): result '%d': response: '%s'",
                      static_cast<int>(status), response.c_str());
        if (status != success)
            return status;
        ServiceResponseParser parser;
        if (!parser.parseUserInfo(response, info))
            error_ = parser.error();
        return parser.status();
    });
}

unsigned HttpService::readUserInfo(const std::string& sessionText, UserInfo& info)
{
    return sx::noThrow(transportFailure, [&] {
        if (dumpsReplies())
            syslogLog(dumpPriority, "readUserInfo(): remote session: '%s'", sessionText.c_str());
        ServiceResponseParser parser;
        Session session;
        if (!parser.parseSession(sessionText, session)) {
            error_ = parser.error();
            return parser.status();
        }
        return readUserInfo(session, info);
    });
}

const std::string& HttpService::error() const
{
    return error_;
}

} // namespace grex::http
