// SPDX-License-Identifier: Apache-2.0
#include "grex/http/http_service.h"

#include "tests/loopback.h"
#include "tests/support.h"

using HttpServiceTest = Element;

TEST_F(HttpServiceTest, AsksAndUnderstands)
{
    Loopback server;
    grex::http::HttpService service("http://127.0.0.1:" + server.port + "/db", 2);
    grex::http::Session session;
    grex::http::UserInfo info;
    const auto expectRequest = [&](const std::string& operation, const std::string& content) {
        const httplib::Request& request = server.requests.back();
        IS("POST|/db|text/xml; charset=utf-8|" GREX_SERVICE_NAMESPACE "/IVANTOCustomerDBService/" + operation +
               "|<s:Envelope "
               "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Header/><s:Body><" +
               operation +
               " xmlns:i=\"http://www.w3.org/2001/XMLSchema-instance\" "
               "xmlns=\"" GREX_SERVICE_NAMESPACE "\">" +
               content + "</" + operation + "></s:Body></s:Envelope>|",
           request.method, request.target, request.get_header_value("Content-Type"),
           request.get_header_value("SOAPAction"), request.body);
    };
    server.body = answerTo("OpenSession", "ResultCode=0", sessionXml("d&amp;e", "2"));
    IS("0||d&e|", service.openSession("a%s&b", "p<%n", session), ""_s + service.error(), ""_s + session.UserDomain);
    expectRequest("OpenSession", "<Login>a%s&b</Login><Password>p<%n</Password>");
    server.body = userAnswer("ID=7 Group=2 Login=ann Tag=t");
    SysLog::get()->setDebugLevel(1), logged();
    IS("0||", service.readUserInfo(session, info), logged());
    expectRequest("GetUserInfo", sessionXml("d&e", "2")); // no escapes in a request
    SysLog::get()->setDebugLevel(2), logged();
    const std::string fields = sessionXml("", "2");
    EXPECT_EQ(service.readUserInfo(fields, info), 0U);
    EXPECT_EQ(logged(), "87 readUserInfo(): remote session: '" + fields +
                            "'\n87 readUserInfo(): result '0': response: '" + server.body + "'\n");
    IS("3|ann|3|", service.readUserInfo("<x/>", info), info.Login, server.requests.size());
    EXPECT_EQ(service.error(), "xml error: session nodes is not found");
    server.body = answerTo("OpenSession", "ResultCode=3 ResultDescription=no");
    EXPECT_EQ(service.openSession("ann", "pw", session), 1U);
    EXPECT_EQ(service.error(), "server authentication fail: no");
    std::string response = "old";
    EXPECT_EQ(service.send("body", Http::Headers(), response), 0U);
    EXPECT_EQ(response, server.body);
    EXPECT_EQ(grex::http::HttpService("nothing://", 2).send("body", Http::Headers(), response), 2U);
    EXPECT_EQ(response, "");
    server.close();
    EXPECT_EQ(service.send("body", Http::Headers(), response), 4U);
    EXPECT_NE(service.error(), "");
}
