// SPDX-License-Identifier: Apache-2.0
// The login of a local user: the library, bare crypt(3) of the same hash, and the PAM modules that
// look passwords up in a file. pam_unix asks for the accounts of the system; scripts/bench puts
// generated ones in their place with libnss_wrapper.
#include "support.h"

#include "grex/context.h"
#include "grex/grex_auth.h"
#include "grex/session.h"

#include <crypt.h>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <security/pam_appl.h>

namespace {

void bareCrypt(benchmark::State& state)
{
    for ([[maybe_unused]] auto unused : state)
        if (crypt(bench::password, bench::hash().c_str()) != bench::hash())
            return state.SkipWithError("wrong hash");
}
BENCHMARK(bareCrypt);

void grexLocAuthenticate(benchmark::State& state)
{
    const auto users = static_cast<std::size_t>(state.range(0));
    bench::useFiles(users);
    const std::string login = bench::loginOf(users - 1);
    const grex::__private__::GrexAuth auth;
    unsigned gid = 0;
    for (int i = 0; i < 8; ++i) // what a process that asks often has behind it
        auth.locAuthenticate(false, login, bench::password, gid);
    for ([[maybe_unused]] auto unused : state)
        if (!auth.locAuthenticate(false, login, bench::password, gid))
            return state.SkipWithError("denied");
}
BENCHMARK(grexLocAuthenticate)->Arg(10)->Arg(1000)->Arg(100000);

void grexSession(benchmark::State& state)
{
    const auto users = static_cast<std::size_t>(state.range(0));
    bench::useFiles(users);
    grex::Context::get().setContext(bench::lastModule());
    const std::string login = bench::loginOf(users - 1);
    grex::Session session;
    unsigned gid = 0;
    for (int i = 0; i < 8; ++i)
        session.authenticate(login, bench::password, gid);
    for ([[maybe_unused]] auto unused : state)
        if (!session.authenticate(login, bench::password, gid))
            return state.SkipWithError("denied");
}
BENCHMARK(grexSession)->Arg(10)->Arg(1000)->Arg(100000);

int answer(int count, const pam_message** /*messages*/, pam_response** responses, void* /*data*/)
{
    auto* const made = static_cast<pam_response*>(
        std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
    if (!made)
        return PAM_BUF_ERR;
    for (int i = 0; i < count; ++i)
        made[i].resp = strdup(bench::password);
    *responses = made;
    return PAM_SUCCESS;
}

bool isAdmittedByPam(const std::string& services, const char* service, const std::string& login)
{
    const pam_conv conversation = {answer, nullptr};
    pam_handle_t* handle = nullptr;
    if (pam_start_confdir(service, login.c_str(), &conversation, services.c_str(), &handle) !=
        PAM_SUCCESS)
        return false;
    const int result = pam_authenticate(handle, PAM_SILENT);
    pam_end(handle, result);
    return result == PAM_SUCCESS;
}

void pamLogin(benchmark::State& state, const char* module)
{
    const auto users = static_cast<std::size_t>(state.range(0));
    const std::string services = bench::folder() + "/pam.d";
    std::filesystem::create_directories(services);
    std::string line = "auth required " + std::string(module) + ".so";
    if (std::strcmp(module, "pam_pwdfile") == 0)
        line += " pwdfile=" + bench::usersFile(users) + ".pwd nodelay";
    bench::writeText(services + "/bench", line + '\n');

    std::string passwords;
    for (std::size_t i = 0; i < users; ++i)
        passwords += bench::loginOf(i) + ':' + bench::hash() + '\n';
    bench::writeText(bench::usersFile(users) + ".pwd", passwords);

    const std::string login = bench::loginOf(users - 1);
    for ([[maybe_unused]] auto unused : state)
        if (!isAdmittedByPam(services, "bench", login))
            return state.SkipWithError("denied");
}
BENCHMARK_CAPTURE(pamLogin, pwdfile, "pam_pwdfile")->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK_CAPTURE(pamLogin, unix, "pam_unix")->Arg(10);

} // namespace

// With --accounts FILE it writes the accounts that scripts/bench has libnss_wrapper show to
// pam_unix.
int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--accounts") == 0) {
        std::string accounts;
        for (std::size_t i = 0; i < 10; ++i) {
            const std::string id = std::to_string(20000 + i);
            accounts += bench::loginOf(i);
            accounts += ':' + bench::hash();
            accounts += ':' + id;
            accounts += ':' + id;
            accounts += "::/:/bin/sh\n";
        }
        bench::writeText(argv[2], accounts);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
