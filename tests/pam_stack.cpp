// SPDX-License-Identifier: Apache-2.0
// What stacks leave behind in an application that opens and closes them for as long as it lives.
// Usage: pam_stack MODULE LIBGREX FOLDER
#include "grex/context.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <security/pam_appl.h>
#include <string>

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
int converse(int, const pam_message**, pam_response** out, void* data)
{
    auto& answers = *static_cast<std::deque<const char*>*>(data);
    if (answers.empty())
        return PAM_CONV_ERR;
    *out = static_cast<pam_response*>(std::calloc(1, sizeof(pam_response)));
    (*out)->resp = strdup(answers.front());
    answers.pop_front();
    return PAM_SUCCESS;
}

struct Stack {
    Stack(const char* service, std::deque<const char*> typed) : answers(std::move(typed))
    {
        EXPECT(pam_start_confdir(service, "eve", &conversation, folder.c_str(), &handle), PAM_SUCCESS);
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
}

// A grant outlasts the user's record, but is his alone and gives his group's right of now.
void testGrant()
{
    write("var/users", eve);
    const Stack stack("http", {"old"});
    const auto account = [&](const char* user, const char* rights) {
        pam_set_item(stack.handle, PAM_USER, user);
        write("var/modacc", rights);
        return pam_acct_mgmt(stack.handle, 0);
    };
    EXPECT(pam_authenticate(stack.handle, 0), PAM_SUCCESS);
    write("var/users", "");
    EXPECT(account("zoe", modules), PAM_PERM_DENIED);
    EXPECT(account("eve", "http;3@0\n"), PAM_PERM_DENIED);
    EXPECT(account("eve", modules), PAM_SUCCESS);
    EXPECT(pam_authenticate(stack.handle, 0), PAM_CONV_ERR); // takes the grant back
    EXPECT(account("eve", modules), PAM_PERM_DENIED);
    EXPECT(pam_getenv(stack.handle, "GREX_LEVEL") == nullptr, true);
}

// The application uses the library too: its context and its random numbers go on as they were.
void testHost(const char* libgrex)
{
    write("var/users", eve);
    void* const library = dlopen(libgrex, RTLD_NOW | RTLD_LOCAL);
    const auto groups = reinterpret_cast<bool (*)(const char**)>(dlsym(library, "getGroupList"));
    const auto context = static_cast<grex::Context**>(dlsym(library, "_ZN4grex7Context9instance_E"));
    {
        const Stack stack("cli", {"old", "old", "old", "old"});
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
    }
    dlclose(library);
    EXPECT(dlopen(libgrex, RTLD_NOW | RTLD_NOLOAD) == nullptr, true);
}

void cycle(bool isGood)
{
    const Stack stack("http", {isGood ? "old" : "wrong"});
    EXPECT(pam_authenticate(stack.handle, 0), isGood ? PAM_SUCCESS : PAM_AUTH_ERR);
    EXPECT(pam_acct_mgmt(stack.handle, 0), PAM_SUCCESS);
    EXPECT(pam_open_session(stack.handle, 0), PAM_SUCCESS);
    EXPECT(pam_close_session(stack.handle, 0), PAM_SUCCESS);
}

// Under a leak sanitizer the heap is the sanitizer's, and mallinfo2() tells nothing.
void testLeaks()
{
    std::ptrdiff_t descriptors = 0;
    std::size_t bytes = 0;
    for (int i = 0; i < 1250; ++i) {
        cycle(i % 2 == 0);
        const auto open = std::distance(fs::directory_iterator("/proc/self/fd"), {});
        if (i == 250) { // the heap has settled
            descriptors = open;
            bytes = mallinfo2().uordblks;
        }
        EXPECT(i < 250 || open == descriptors, true);
    }
    EXPECT(mallinfo2().uordblks < bytes + 32000, true); // 1,000 of the smallest blocks
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    folder = argv[3];
    prepareElement(argv[1]);
    fs::current_path(folder);
    testGrant();
    for (int i = 0; i < 2; ++i) // loaded, unloaded, loaded again
        testHost(argv[2]);
    testLeaks();
    return failures == 0 ? 0 : 1;
}
