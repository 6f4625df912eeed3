// SPDX-License-Identifier: Apache-2.0
// The executable's own definitions come before those of the C library, libcrypt and libcurl.
#include "tests/support.h"

#include <crypt.h>
#include <cstdarg>
#include <curl/curl.h>
#include <dlfcn.h>
#include <sys/auxv.h>
#include <sys/capability.h>

Outside outside;

std::string hashOf(const std::string& password, const char* setting)
{
    static crypt_data data;
    return crypt_r(password.c_str(), setting, &data);
}

static bool isDone(const std::string& call)
{
    outside.calls += call + " ";
    errno = EPERM;
    return call != outside.failing;
}

extern "C" {

void plainVsyslog(int priority, const char* format, va_list args) __asm__("vsyslog")
    __attribute__((format(printf, 2, 0)));
void plainVsyslog(int priority, const char* format, va_list args)
{
    char text[4096];
    vsnprintf(text, sizeof(text), format, args);
    outside.log += std::to_string(priority) + " " + text + "\n";
}
// What vsyslog becomes under _FORTIFY_SOURCE.
void checkedVsyslog(int priority, int, const char* format, va_list args) __asm__("__vsyslog_chk")
    __attribute__((format(printf, 3, 0)));
void checkedVsyslog(int priority, int, const char* format, va_list args)
{
    plainVsyslog(priority, format, args);
}
void openlog(const char* ident, int options, int facility)
{
    outside.logSetup += ALL(ident ? ident : "(null)", options, facility);
}
void closelog()
{
    outside.logSetup = "close|";
}
int setlogmask(int mask) noexcept
{
    outside.logSetup += ALL(mask);
    return 0xff;
}
int isatty(int) noexcept
{
    return outside.isTty ? 1 : 0;
}
int system(const char* command)
{
    outside.commands += command + "\n"_s;
    std::exchange(outside.onCommand, [] {})();
    return 0x700;
}
char* crypt(const char* phrase, const char* setting) noexcept
{
    static std::string hash;
    outside.hashes.append(setting, strnlen(setting, 3));
    return (hash = hashOf(phrase, setting)).data();
}
int usleep(useconds_t time)
{
    outside.napped += time;
    return 0;
}
char* gettext(const char* key) noexcept
{
    const auto found = outside.catalogue.find(key);
    return found == outside.catalogue.end() ? const_cast<char*>(key) : found->second.data();
}
unsigned long getauxval(unsigned long type) noexcept
{
    static const auto ask = reinterpret_cast<decltype(&getauxval)>(dlsym(RTLD_NEXT, "getauxval"));
    return type == AT_SECURE ? outside.hasBorrowedRights : ask(type);
}
uid_t getuid() noexcept
{
    return outside.uid;
}
gid_t getgid() noexcept
{
    return outside.uid;
}
#define CALL(type, name, parameters, text, done, failed)                                                               \
    type name parameters                                                                                               \
    {                                                                                                                  \
        return isDone(text) ? (done) : (failed);                                                                       \
    }
CALL(cap_t, cap_get_proc, (), "get", cap_init(), nullptr)
CALL(int, cap_set_flag, (cap_t, cap_flag_t, int, const cap_value_t* v, cap_flag_value_t), "flag" + ALL(v[0], v[1]), 0,
     -1)
CALL(int, cap_clear, (cap_t), "clear", 0, -1)
CALL(int, cap_set_proc, (cap_t), "set", 0, -1)
CALL(int, setregid, (gid_t real, gid_t effective) noexcept, "gid" + ALL(real, effective), 0, -1)
CALL(int, setreuid, (uid_t real, uid_t effective) noexcept, "uid" + ALL(real, effective), 0, -1)
CURLcode setOption(CURL* handle, int option, ...) __asm__("curl_easy_setopt");
CURLcode setOption(CURL* handle, int option, ...)
{
    using Set = CURLcode(CURL*, int, ...);
    static const auto set = reinterpret_cast<Set*>(dlsym(RTLD_NEXT, "curl_easy_setopt"));
    va_list args;
    va_start(args, option);
    void* const value = va_arg(args, void*); // as wide as a long here
    va_end(args);
    if (option == outside.refusedOption)
        return CURLE_UNKNOWN_OPTION;
    const bool isText = option == CURLOPT_COOKIEJAR || option == CURLOPT_PROXY;
    outside.options[option] = isText ? static_cast<char*>(value) : std::to_string(reinterpret_cast<intptr_t>(value));
    if (option == CURLOPT_URL && !outside.authority.empty())
        set(handle, CURLOPT_CAINFO, outside.authority.c_str());
    if (option == CURLOPT_TIMEOUT && outside.isImpatient)
        return set(handle, CURLOPT_TIMEOUT_MS, 100L);
    return set(handle, option, value);
}
}
