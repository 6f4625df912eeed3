// SPDX-License-Identifier: Apache-2.0
// The executable's own definitions come before those of the C library, libcrypt and libcurl.
#include "tests/support.h"

#include <crypt.h>
#include <cstdarg>
#include <curl/curl.h>
#include <dlfcn.h>
#include <sys/auxv.h>

Outside outside;

std::string hashOf(const std::string& password, const char* setting)
{
    static crypt_data data;
    return crypt_r(password.c_str(), setting, &data);
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
    outside.options[option] =
        isText ? static_cast<char*>(value) : std::to_string(reinterpret_cast<intptr_t>(value));
    if (option == CURLOPT_TIMEOUT && outside.isImpatient)
        return set(handle, CURLOPT_TIMEOUT_MS, 100L);
    return set(handle, option, value);
}
}
