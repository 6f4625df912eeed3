// SPDX-License-Identifier: Apache-2.0
// What stacks leave behind in an application that opens and closes them for as long as it lives.
// Usage: pam_stack MODULE LIBGREX FOLDER
#include "grex/context.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <security/pam_appl.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

#define EXPECT(got, wanted) expect(__LINE__, #got, got, wanted)

namespace fs = std::filesystem;

namespace {

constexpr char eve[] = "eve:3:$1$abc$AiJYMJDH1zF0GuUcN8EX41\n"; // her password is "old"
constexpr char modules[] = "http;3@3\ncli;3@1\n";
fs::path folder;
int failures = 0;

void expect(int line, const char* what, long long got, long long wanted)
{
    if (got == wanted || ++failures > 20)
        return;
    std::fprintf(stderr, "line %i: %s is %lli, not %lli\n", line, what, got, wanted);
}

// Each file is a second younger than the one before: the library looks at whole seconds.
void write(const std::string& name, const std::string& text)
{
    static auto time = fs::file_time_type::clock::now() - std::chrono::hours(1);
    std::ofstream(folder / name) << text;
    fs::last_write_time(folder / name, time += std::chrono::seconds(1));
}

// Types the next of the answers; fails when there is none.
int converse(int, const pam_message** messages, pam_response** out, void* data)
{
    auto& answers = *static_cast<std::deque<const char*>*>(data);
    const bool isPrompt = messages[0]->msg_style == PAM_PROMPT_ECHO_OFF;
    if (isPrompt && answers.empty())
        return PAM_CONV_ERR;
    *out = static_cast<pam_response*>(std::calloc(1, sizeof(pam_response)));
    if (isPrompt) {
        (*out)->resp = strdup(answers.front());
        answers.pop_front();
    }
    return PAM_SUCCESS;
}

struct Stack {
    Stack(const char* service, std::deque<const char*> typed) : answers(std::move(typed))
    {
        EXPECT(pam_start_confdir(service, "eve", &conversation, folder.c_str(), &handle),
               PAM_SUCCESS);
    }
    ~Stack() { pam_end(handle, PAM_SUCCESS); }

    std::deque<const char*> answers;
    const pam_conv conversation{converse, &answers};
    pam_handle_t* handle = nullptr;
};

void prepareElement(const std::string& module)
{
    fs::remove_all(folder);
    fs::create_directories(folder / "var");
    const std::string line = " required " + module + " config_dir=" + folder.string() + " context=";
    for (const std::string context : {"http", "cli"})
        for (const std::string type : {"auth", "account", "password", "session"})
            std::ofstream(folder / context, std::ios::app) << type << line << context << "\n";
    write("borea.conf", "[common]\nVarConfigDir=" + folder.string() + "/var\n");
    // Nobody listens there.
    write("var/borea.conf", "[cu/params/101]\nNMSServerUrl=http://127.0.0.1:1/\n");
    write("var/modacc", modules);
    write("var/users", eve);
}

// A grant outlasts the user's record, but is his alone and gives his group's right of now.
void testGrant()
{
    const Stack stack("http", {"old"});
    EXPECT(pam_authenticate(stack.handle, 0), PAM_SUCCESS);
    write("var/users", "");
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_SUCCESS);
    pam_set_item(stack.handle, PAM_USER, "zoe");
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_PERM_DENIED);
    pam_set_item(stack.handle, PAM_USER, "eve");
    write("var/modacc", "http;3@0\n");
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_PERM_DENIED);
    write("var/modacc", modules);
    EXPECT(pam_authenticate(stack.handle, 0), PAM_CONV_ERR); // takes the grant back
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_PERM_DENIED);
    EXPECT(pam_getenv(stack.handle, "GREX_LEVEL") == nullptr, true);
}

// The application uses the library too: its context and its random numbers go on as they were.
void testHost(void* library)
{
    const auto groups = reinterpret_cast<bool (*)(const char**)>(dlsym(library, "getGroupList"));
    const auto context =
        static_cast<grex::Context**>(dlsym(library, "_ZN4grex7Context9instance_E"));
    std::deque<const char*> typed{"old", "new", "new", "lost", "lost", "lost", "new"};
    if (getuid() != 0)
        typed = {"old", "old", "new", "new", "new", "lost", "lost", "lost", "new"};
    const Stack stack("cli", typed);
    EXPECT(pam_authenticate(stack.handle, 0), PAM_SUCCESS); // names the folders
    const char* list = nullptr;
    EXPECT(groups(&list), true); // as "http"
    srandom(1);
    const long wanted = random();
    srandom(1);
    EXPECT(pam_chauthtok(stack.handle, 0), PAM_SUCCESS);
    EXPECT(random(), wanted);
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_SUCCESS); // as "cli"
    EXPECT((*context)->name == "http", true);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit nothing{0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &nothing);
    EXPECT(pam_chauthtok(stack.handle, 0), PAM_AUTHTOK_ERR);
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT(pam_authenticate(stack.handle, 0), PAM_AUTH_ERR);
    EXPECT(pam_authenticate(stack.handle, 0), PAM_SUCCESS);
}

void cycle(bool isGood)
{
    const Stack stack("http", {isGood ? "old" : "wrong"});
    EXPECT(pam_authenticate(stack.handle, 0), isGood ? PAM_SUCCESS : PAM_AUTH_ERR);
    EXPECT(pam_setcred(stack.handle, PAM_ESTABLISH_CRED), isGood ? PAM_SUCCESS : PAM_PERM_DENIED);
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_SUCCESS);
    EXPECT(pam_open_session(stack.handle, 0), PAM_SUCCESS);
    EXPECT(pam_close_session(stack.handle, 0), PAM_SUCCESS);
}

// Under a leak sanitizer the heap is the sanitizer's, and mallinfo2() tells nothing.
void testLeaks()
{
    for (int i = 0; i < 250; ++i) // until the heap has settled
        cycle(i % 2 == 0);
    const auto descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), {});
    const std::size_t bytes = mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i)
        cycle(i % 2 == 0);
    EXPECT(std::distance(fs::directory_iterator("/proc/self/fd"), {}), descriptors);
    EXPECT(mallinfo2().uordblks < bytes + 32000, true); // 1,000 of the smallest blocks
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    std::signal(SIGXFSZ, SIG_IGN);
    folder = argv[3];
    prepareElement(argv[1]);
    fs::current_path(folder);
    testGrant();
    for (int i = 0; i < 2; ++i) { // loaded, unloaded, loaded again
        write("var/users", eve);
        void* const library = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
        testHost(library);
        dlclose(library);
        EXPECT(dlopen(argv[2], RTLD_NOW | RTLD_NOLOAD) == nullptr, true);
    }
    write("var/users", eve);
    testLeaks();
    return failures == 0 ? 0 : 1;
}
