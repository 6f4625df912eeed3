// SPDX-License-Identifier: Apache-2.0
#include "grex/http/service_response_parser.h"

#include "tests/loopback.h"
#include "tests/support.h"

using grex::http::ServiceResponseParser;
using grex::http::Session;

TEST(ServiceResponseParser, ReadsAnswers)
{
    const std::string s = sessionXml("d", "2"), open = "OpenSession", info = "GetUserInfo", ok = "ResultCode=0",
                      broken = "3|unable to parse xml content|", no = "3|xml error: service result nodes is not found|",
                      format = "3|xml error: unknown service result format|",
                      none = "3|xml error: session nodes is not found|",
                      empty = "3|parse session error: param of session is empty|",
                      half = "3|parse user info error: param of info is empty|", fail = "1|server authentication fail|";
    const std::pair<std::string, std::string> cases[] = {
        {"0||", answerTo(open, ok, sessionXml("", "2"))},
        {"0||", answerTo(open, "ResultCode=5 ResultCode=0 ResultDescription=d", s)},
        {"0||", "<r xmlns='relative' a:b=''>" + answerTo(open, ok, s) + "</r>"}, // that libxml2 warns of
        {empty, answerTo(open, ok, sessionXml("d", ""))},
        {none, answerTo(open, ok)},
        {fail, answerTo(open, "ResultCode=7 ResultDescription=", s)},
        {"1|server authentication fail: n&o|", answerTo(open, "ResultDescription=n&amp;o ResultCode=-1")},
        {format, answerTo(open, "ResultCode=x ResultCode=0", s)},
        {format, answerTo(open, "ResultDescription=d", s)},
        {no, answerTo(open, "", s)},
        {"3|unable to parse xml: content is empty|", ""},
        {broken, "<!DOCTYPE a>" + answerTo(open, ok, s)},
        {broken, answerTo(open, ok, s + std::string(1U << 20, ' '))},
        {"0||", userAnswer("ID=7 Group=2 Login=ann Tag=t")},
        {half, userAnswer("ID=0 Group=2 Login=ann Tag=t")},
        {half, userAnswer("ID=7 Group=x Login=ann Tag=t")},
        {half, userAnswer("ID=7 Group=2 Login= Tag=t")},
        {half, userAnswer("ID=7 Group=2 Login=ann Tag=")},
        {none, answerTo(info, ok)},
        {fail, answerTo(info, "ResultCode=1")}};
    for (const auto& [result, text] : cases) {
        const testing::ScopedTrace row(__FILE__, __LINE__, text.substr(0, 300));
        ServiceResponseParser parser;
        Session read;
        grex::http::UserInfo user;
        const bool isInfo = text.find(info) != std::string::npos;
        EXPECT_EQ(isInfo ? parser.parseUserInfo(text, user) : parser.parseOpenSession(text, read), result[0] == '0');
        IS(result, parser.status(), parser.error());
        IS(result[0] != '0' ? "|0|0|||"
           : isInfo         ? "|7|2|ann|t|"
                            : "ann|0|0|||",
           read.Login, user.ID, user.Group, user.Login, user.Tag);
    }
}

TEST(ServiceResponseParser, TellsWhatIsWrong)
{
    ServiceResponseParser parser;
    Session s;
    EXPECT_FALSE(parser.parseSession("<x xmlns='u'>" + sessionXml("d", "2") + "</x>", s));
    IS("xml error: session nodes is not found|3|1|", parser.error(), parser.status(),
       parser.parseSession("<x>" + sessionXml("d", "2") + "</x>", s));
    IS("m|d|ann|Ann|10.0.0.1|2|s|", s.MethodLog, s.UserDomain, s.Login, s.Name, s.IP, s.UserGroup, s.SessionStruct);
    testing::internal::CaptureStderr();
    IS("0|1|0|", parser.parseContent("<a"), parser.parseContent("<a><b/></a>"),
       parser.executeXPathExpr("//[") != nullptr);
    IS("unable to evaluate xpath expression '//['|3||", parser.error(), parser.status(),
       testing::internal::GetCapturedStderr());
    IS("0|xpath expression is empty|", parser.executeXPathExpr("") != nullptr, parser.error());
    const grex::http::XmlPtr<xmlXPathObject> nodes(parser.executeXPathExpr("//b"));
    EXPECT_TRUE(nodes && nodes->nodesetval->nodeNr == 1 && !parser.parseResult(nodes.get()));
    outside.catalogue["grex::http::ServiceResponseParser|unable to register NS with prefix='%s' and href='%s'"] =
        "%s=%s?";
    IS("0|i=" GREX_SERVICE_NAMESPACE "?|", parser.registerNamespaces(nullptr), parser.error());
    parser.clear();
    EXPECT_EQ(parser.executeXPathExpr("//b"), nullptr);
}
