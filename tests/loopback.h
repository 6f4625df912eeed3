// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_TESTS_LOOPBACK_H
#define GREX_TESTS_LOOPBACK_H

#include "common/stl/sx.h"
#include "grex/http/http_service.h"

#include <httplib.h>
#include <sstream>

/// A server on loopback that gives one answer to all requests: 200 with this body.
template <class Server = httplib::Server> class Loopback : public Server {
public:
    template <class... Keys> explicit Loopback(Keys... keys) : Server(keys...)
    {
        const auto answer = [this](const httplib::Request& request, httplib::Response& response) {
            requests.push_back(request);
            std::this_thread::sleep_for(std::chrono::milliseconds(delay));
            response.body = body;
            shape(response);
        };
        this->Get(".*", answer).Post(".*", answer).set_keep_alive_max_count(1);
        port = std::to_string(this->bind_to_any_port("127.0.0.1"));
        thread_ = std::thread([this] { this->listen_after_bind(); });
        unsetenv("http_proxy");
    }
    ~Loopback() override { close(); }

    /// "/xx" leads on twice, "/x?A" to A.
    void redirect()
    {
        this->set_pre_routing_handler([](const httplib::Request& request, httplib::Response& to) {
            if (request.target[1] != 'x')
                return httplib::Server::HandlerResponse::Unhandled;
            const bool isElsewhere = request.target[2] == '?';
            to.set_redirect(isElsewhere ? request.target.substr(3) : "/" + request.target.substr(2), 307);
            return httplib::Server::HandlerResponse::Handled;
        });
    }

    /// From now on the port refuses connections.
    void close()
    {
        while (thread_.joinable() && !this->is_running())
            std::this_thread::yield();
        this->stop();
        if (thread_.joinable())
            thread_.join();
    }

    std::string port, body;
    unsigned delay = 0; ///< milliseconds
    std::function<void(httplib::Response&)> shape = [](httplib::Response&) {};
    std::vector<httplib::Request> requests;

private:
    std::thread thread_;
};

/// "a=1 b=2" as elements; texts without blanks.
inline std::string xml(const std::string& fields)
{
    std::istringstream words(fields);
    std::string text, name, value;
    for (; std::getline(words, name, '='); value.clear()) {
        if (words.peek() != EOF)
            std::getline(words, value, ' ');
        text += sx::sprintf("<%s>%s</%s>", name.c_str(), value.c_str(), name.c_str());
    }
    return text;
}
inline std::string sessionXml(const std::string& domain, const std::string& group)
{
    const std::string fields = " Login=ann Name=Ann IP=10.0.0.1 UserGroup=" + group;
    return xml("SessionStruct=" + xml("MethodLog=m UserDomain=" + domain + fields + " SessionStruct=s"));
}
/// An answer of the service to "OpenSession" or "GetUserInfo".
inline std::string answerTo(const std::string& operation, const std::string& result, const std::string& record = "")
{
    return "<e:Envelope xmlns:e='http://schemas.xmlsoap.org/soap/envelope/'><e:Body><" + operation +
           "Response xmlns='" GREX_SERVICE_NAMESPACE "'>" + xml(operation + "Result=" + xml(result)) + record + "</" +
           operation + "Response></e:Body></e:Envelope>";
}
inline std::string userAnswer(const std::string& fields)
{
    return answerTo("GetUserInfo", "ResultCode=0", xml("UserInfo=" + xml(fields)));
}

#endif
