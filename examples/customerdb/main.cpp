// SPDX-License-Identifier: Apache-2.0
// A small customer-database service for demonstrations and tests: no encryption, this host only.
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include <CLI/CLI.hpp>
#include <libxml/parser.h>

#include "service.h"
#include "user_store.h"

namespace {

constexpr char address[] = "127.0.0.1";

struct Options {
    std::string users;
    std::string portFile;
    int port = 0;
};

// The file is there whole or not at all: scripts wait for it.
void writePortFile(const std::string& path, int port)
{
    const std::string temporary = path + ".new";
    std::ofstream out(temporary, std::ios::trunc);
    out << port << '\n';
    out.close();
    if (!out || std::rename(temporary.c_str(), path.c_str()) != 0)
        throw std::runtime_error(path + ": " + std::strerror(errno));
}

// The port that is listened on.
int bindTo(httplib::Server& server, int port)
{
    const int any = port == 0 ? server.bind_to_any_port(address) : 0;
    if (any > 0)
        return any;
    if (port == 0 || !server.bind_to_port(address, port))
        throw std::runtime_error("cannot listen on port " + std::to_string(port));
    return port;
}

// Before any thread is started, so that all of them leave the signals to the main thread.
sigset_t blockStopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

bool isReady(const std::future<bool>& result, std::chrono::milliseconds patience)
{
    return result.wait_for(patience) == std::future_status::ready;
}

// Until a signal stops it; false when the server stopped for another reason.
bool serve(httplib::Server& server, const sigset_t& signals)
{
    using namespace std::chrono_literals;
    auto served = std::async(std::launch::async, [&] { return server.listen_after_bind(); });
    const timespec second = {1, 0};
    while (sigtimedwait(&signals, nullptr, &second) < 0) {
        if (isReady(served, 0ms))
            return false;
    }
    while (!server.is_running() && !isReady(served, 1ms)) { // a stop before the start is lost
    }
    server.stop();
    if (!isReady(served, 2s)) // a slow client still holds a thread
        _exit(0);
    return true;
}

int run(const Options& options)
{
    const sigset_t signals = blockStopSignals();
    xmlInitParser();
    const customerdb::UserStore users(options.users);
    customerdb::Service service(users);
    httplib::Server server;
    service.attachTo(server);
    const int port = bindTo(server, options.port);
    if (!options.portFile.empty())
        writePortFile(options.portFile, port);
    std::printf("listening on http://%s:%d/\n", address, port);
    std::fflush(stdout);
    if (!serve(server, signals))
        throw std::runtime_error("cannot accept connections");
    return 0;
}

int parseAndRun(int argc, char** argv)
{
    Options options;
    CLI::App app("Answers logins from a file of users, as SOAP 1.1 over HTTP on this host.");
    app.add_option("--port", options.port, "port, 0 for any free one")->check(CLI::Range(0, 65535));
    app.add_option("--port-file", options.portFile, "file to write the port to");
    app.add_option("USERS.json", options.users, "file of users")->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    return run(options);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return parseAndRun(argc, argv);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "customerdb: %s\n", e.what());
        return 1;
    }
}
