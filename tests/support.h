// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_TESTS_SUPPORT_H
#define GREX_TESTS_SUPPORT_H

#include "common/stl/sys_log.h"
#include "grex/context.h"
#include "grex/grex_auth.h"
#include "grex/grex_db.h"
#include "grex/settings.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <set>
#include <sys/stat.h>

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

/// What the test executable's own openlog, vsyslog, system, crypt, usleep, gettext,
/// curl_easy_setopt, cap_set_proc and the like have seen, and what they are to answer.
struct Outside {
    std::string log;                              ///< "PRIORITY TEXT" and "\n" for each vsyslog
    std::string logSetup;                         ///< calls of openlog, closelog and setlogmask
    bool isTty = false;                           ///< what isatty answers
    std::string commands;                         ///< of system, which starts nothing, and "\n" each
    std::function<void()> onCommand = [] {};      ///< what the next one started does
    std::string hashes;                           ///< methods ("$6$") that crypt was asked for
    unsigned napped = 0;                          ///< microseconds of usleep, which does not sleep
    std::map<std::string, std::string> catalogue; ///< what gettext knows
    std::map<int, std::string> options;           ///< of curl_easy_setopt: numbers and short texts
    int refusedOption = 0;                        ///< one that libcurl is not to know
    bool isImpatient = false;                     ///< a transfer has 0.1 s
    bool hasBorrowedRights = false;               ///< getauxval(AT_SECURE)
    std::string authority;                        ///< file of the certificates that a transfer trusts
    unsigned uid = 0;                             ///< of getuid and getgid
    std::string calls;                            ///< of libcap, setregid and setreuid, which change nothing
    std::string failing;                          ///< the one of them that is to fail
};
extern Outside outside;

inline std::string logged()
{
    return std::exchange(outside.log, {});
}
inline std::string operator""_s(const char* text, std::size_t size)
{
    return {text, size};
}
/// A hash by the MD5 method, which is quick.
std::string hashOf(const std::string& password, const char* setting = "$1$salt$");

/// Values as one text, each followed by "|".
struct All : std::string {
    template <class... T> explicit All(const T&... values)
    {
        std::ostringstream out;
        ((out << values << '|'), ...);
        assign(out.str());
    }
};
#define ALL(...) std::string(All{__VA_ARGS__}) // braces: evaluated in their order
#define IS(expected, ...) EXPECT_EQ(ALL(__VA_ARGS__), expected)

/// Calls `check` with the fields, separated by "~", of each row; a failure tells which.
inline void forEach(const Strings& rows, const std::function<void(const Strings&)>& check)
{
    for (const std::string& row : rows) {
        const testing::ScopedTrace trace(__FILE__, __LINE__, testing::PrintToString(row));
        std::istringstream text(row + "~");
        Strings fields;
        for (std::string field; std::getline(text, field, '~');)
            fields.push_back(field);
        check(fields);
    }
}

/// A folder of the test's own, and nothing seen outside.
class ThrowAwayDir : public testing::Test {
protected:
    void SetUp() override
    {
        dir = testing::TempDir() + "grex.XXXXXX";
        ASSERT_NE(mkdtemp(dir.data()), nullptr);
        dir += '/';
        fs::current_path(dir); // libcurl's cookies are left there
        outside = {};
    }
    void TearDown() override
    {
        fs::current_path("/");
        fs::remove_all(dir);
    }

    /// Each file has a time of its own unless told otherwise: none passes for an unchanged one.
    std::string write(const std::string& name, const std::string& text, long time = ++lastTime)
    {
        std::ofstream(dir + name) << text;
        setTime(name, time);
        return dir + name;
    }
    void setTime(const std::string& name, long time, long nanoseconds = 0) const
    {
        const struct timespec times[2] = {{time, nanoseconds}, {time, nanoseconds}};
        ASSERT_EQ(utimensat(AT_FDCWD, (dir + name).c_str(), times, 0), 0);
    }
    std::string read(const std::string& name) const
    {
        std::ifstream in(dir + name);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    std::string names() const
    {
        std::set<std::string> found;
        for (const auto& entry : fs::directory_iterator(dir))
            found.insert(entry.path().filename().string() + " ");
        return std::accumulate(found.begin(), found.end(), std::string());
    }

    std::string dir;
    static inline long lastTime = 1000000000;
};

/// An element: its files in a folder of the test's own, four users whose password is "pw-LOGIN".
class Element : public ThrowAwayDir {
protected:
    using GrexDB = grex::__private__::GrexDB;
    using GrexAuth = grex::__private__::GrexAuth;

    void SetUp() override
    {
        ThrowAwayDir::SetUp();
        write("modacc", "# module;group@level\nhttp;1@0;2@3;3@3;4@1\n snmp ; 2@1 ;3@2;\nnone\n");
        write("users", record("root", 3) + record("ann", 2) + record("joe", 1) + record("mo", 4));
        grex::Settings::destroy();
        grex::Settings::get()->setVarConfigDir(dir.substr(0, dir.size() - 1));
        grex::Context::create()->name = "http";
        SysLog::release();
        GrexAuth::setAuthService("");
        outside = {};
    }
    static std::string record(const std::string& login, unsigned gid)
    {
        return login + ":" + std::to_string(gid) + ":" + hashOf("pw-" + login) + "\n";
    }
};

#endif
