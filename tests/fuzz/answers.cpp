// SPDX-License-Identifier: Apache-2.0
#include "grex/http/http_service.h"
#include "grex/http/service_response_parser.h"
#include "tests/fuzz/fuzz.h"

using grex::http::ServiceResponseParser;

namespace {

template <class Record>
void tryAs(const std::string& text, bool (ServiceResponseParser::*parse)(const std::string&, Record&))
{
    Record record;
    record.Login = "(untouched)";
    ServiceResponseParser parser;
    const bool isRead = (parser.*parse)(text, record);
    HOLDS(isRead == (parser.status() == 0) && isRead == parser.error().empty());
    HOLDS(isRead ? !record.Login.empty() : record.Login == "(untouched)");
}

} // namespace

// An answer or a session text, read as each of the three.
INPUT(text)
{
    tryAs(text, &ServiceResponseParser::parseOpenSession);
    tryAs<grex::http::Session>(text, &ServiceResponseParser::parseSession);
    tryAs<grex::http::UserInfo>(text, &ServiceResponseParser::parseUserInfo);
}
