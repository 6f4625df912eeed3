// SPDX-License-Identifier: Apache-2.0
#include "service.h"

#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <variant>

#include "soap_messages.h"

namespace customerdb {

namespace {

constexpr std::size_t maxBodyBytes = 64U << 10;
// A client that is cut off while it sends may not see the answer, so a little more is read and
// dropped.
constexpr std::size_t maxDroppedBytes = 1U << 20;
constexpr std::size_t threads = 32;
constexpr int socketTimeoutSeconds = 5;
constexpr std::chrono::seconds maxBodyTime(10);
constexpr char xmlType[] = "text/xml; charset=utf-8";
constexpr char plainType[] = "text/plain; charset=utf-8";

// Nothing that a client sends can end the line, move the cursor or pass for the end of the
// quotation.
std::string quoted(const std::string& text)
{
    constexpr std::size_t maxLength = 64;
    std::string result = "\"";
    for (const char c : text.substr(0, maxLength)) {
        if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
            result += c;
            continue;
        }
        std::array<char, 5> code;
        std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned char>(c));
        result += code.data();
    }
    return result + (text.size() > maxLength ? "\"..." : "\"");
}

std::string now()
{
    const std::time_t time = std::time(nullptr);
    std::tm parts{};
    std::array<char, sizeof "2000-01-01T00:00:00Z"> text{};
    gmtime_r(&time, &parts);
    std::strftime(text.data(), text.size(), "%FT%TZ", &parts);
    return text.data();
}

// Whether the host named by the client can stand in an address as it is.
bool isHost(const std::string& host)
{
    static constexpr char allowed[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
        ".-:[]";
    return !host.empty() && host.find_first_not_of(allowed) == std::string::npos;
}

// Answers with a line of text; returns what the log tells.
std::string refuse(httplib::Response& res, int status, const std::string& reason)
{
    res.status = status;
    res.set_content(reason + "\n", plainType);
    return std::to_string(status) + " " + reason;
}

// The status that refuses the body, 0 when it is there whole. The library's own limit neither
// counts chunks nor what a compressed body grows to.
int readBody(const httplib::ContentReader& read, const httplib::Response& res, std::string& body)
{
    const auto end = std::chrono::steady_clock::now() + maxBodyTime;
    std::size_t received = 0;
    const bool complete = read([&](const char* data, std::size_t size) {
        received += size;
        if (received <= maxBodyBytes)
            body.append(data, size);
        return received <= maxDroppedBytes && std::chrono::steady_clock::now() < end;
    });
    if (received > maxBodyBytes)
        return 413;
    if (complete)
        return 0;
    return res.status >= 400 ? res.status : 400; // what the library found wrong
}

bool isXml(const httplib::Request& req)
{
    const std::string type = req.get_header_value("Content-Type");
    return type.substr(0, type.find_first_of("; \t")) == "text/xml";
}

httplib::Server::HandlerResponse refuseOtherMethods(const httplib::Request& req,
                                                    httplib::Response& res)
{
    if (req.method == "GET" || req.method == "HEAD" || req.method == "POST")
        return httplib::Server::HandlerResponse::Unhandled;
    res.set_header("Allow", "GET, HEAD, POST");
    res.status = 405;
    return httplib::Server::HandlerResponse::Handled;
}

// Without SO_REUSEPORT, the library's choice, which lets two servers share a port.
void reuseAddress(socket_t sock)
{
    const int on = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
}

} // namespace

void Service::attachTo(httplib::Server& server)
{
    server.new_task_queue = [] { return new httplib::ThreadPool(threads); };
    server.set_socket_options(reuseAddress);
    server.set_read_timeout(socketTimeoutSeconds);
    server.set_write_timeout(socketTimeoutSeconds);
    server.set_keep_alive_timeout(socketTimeoutSeconds);
    server.set_keep_alive_max_count(1); // an idle connection would keep a thread
    server.set_payload_max_length(maxBodyBytes);
    server.set_pre_routing_handler(refuseOtherMethods);
    server.Get(".*", [this](const auto& req, auto& res) { get(req, res); });
    server.Post(".*",
                [this](const auto& req, auto& res, const auto& read) { post(req, res, read); });
    server.set_exception_handler([](const auto& req, auto& res, const std::exception_ptr&) {
        log(req, {"", "", refuse(res, 500, "internal error")});
    });
    // Our own answers have a text; those without are the library's.
    server.set_error_handler([](const httplib::Request& req, httplib::Response& res) {
        if (res.body.empty())
            log(req, {"", "", refuse(res, res.status, "request refused")});
    });
}

void Service::get(const httplib::Request& req, httplib::Response& res) const
{
    if (req.path != "/")
        return log(req, {"", "", refuse(res, 404, "not found")});
    if (!req.has_param("wsdl")) {
        res.set_content("This is a SOAP 1.1 service; its contract is at /?wsdl\n", plainType);
        return log(req, {"", "", "hint"});
    }
    const std::string host = req.get_header_value("Host");
    if (!isHost(host))
        return log(req, {"", "", refuse(res, 400, "no usable Host header")});
    res.set_content(wsdlFor(host), xmlType);
    log(req, {"", "", "contract"});
}

void Service::post(const httplib::Request& req, httplib::Response& res,
                   const httplib::ContentReader& read)
{
    std::string body;
    if (const int status = readBody(read, res, body); status != 0) {
        const char* reason = status == 413 ? "request too large" : "unreadable request";
        return log(req, {"", "", refuse(res, status, reason)});
    }
    if (req.path != "/")
        return log(req, {"", "", refuse(res, 404, "not found")});
    if (!isXml(req))
        return log(req, {"", "", refuse(res, 415, "not text/xml")});
    log(req, call(body, req.remote_addr, res));
}

Service::Report Service::call(const std::string& body, const std::string& peer,
                              httplib::Response& res)
{
    try {
        const Request request = parseRequest(body);
        std::string answer;
        Report report;
        if (const auto* login = std::get_if<OpenSession>(&request))
            report = openSession(login->login, login->password, peer, answer);
        else
            report = getUserInfo(std::get<GetUserInfo>(request).sessionId, answer);
        res.set_content(answer, xmlType);
        return report;
    } catch (const Fault& fault) {
        res.status = 500;
        res.set_content(faultAnswer(fault), xmlType);
        return {"", "", std::string("fault: ") + fault.what()};
    }
}

Service::Report Service::openSession(const std::string& login, const std::string& password,
                                     const std::string& peer, std::string& answer)
{
    const User* user = users_.authenticate(login, password);
    answer = user != nullptr ? sessionAnswer(*user, sessions_.open(*user), peer)
                             : sessionRefusal(1, "wrong login or password");
    return {"OpenSession", login, user != nullptr ? "granted" : "refused"};
}

Service::Report Service::getUserInfo(const std::string& sessionId, std::string& answer) const
{
    const User* user = sessions_.find(sessionId);
    if (user == nullptr) {
        answer = userInfoRefusal(2, "unknown session");
        return {"GetUserInfo", "", "refused"};
    }
    answer = userInfoAnswer(*user);
    return {"GetUserInfo", user->login, "granted"};
}

void Service::log(const httplib::Request& req, const Report& report)
{
    const std::string operation =
        report.operation.empty() ? quoted(req.method) + " " + quoted(req.path) : report.operation;
    const std::string login = report.login.empty() ? "-" : quoted(report.login);
    const std::string peer = req.remote_addr.empty() // the library refused the request line
                                 ? "-"
                                 : req.remote_addr + ":" + std::to_string(req.remote_port);
    const std::string line =
        now() + " " + peer + " " + operation + " " + login + " " + report.outcome + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout); // one call, so that lines do not mix
    std::fflush(stdout);
}

} // namespace customerdb
