// SPDX-License-Identifier: Apache-2.0
#include "grex/session.h"

#include "tests/support.h"

using grex::Context;
using grex::Session;
using SessionTest = Element;

static std::string stateOf(const Session& s)
{
    std::string user = "-", group = "-";
    unsigned gid = 9;
    EXPECT_EQ(s.getUserInfo(user, group, gid), s.isAccess());
    EXPECT_EQ(ALL(user, group, gid), s.isAccess() ? ALL(s.userName(), s.groupName(), s.gid()) : "-|-|9|");
    return ALL(s.isAccess(), s.userName(), s.gid(), s.groupName(), s.checkAccess(1), s.checkAccess(2),
               s.checkAccess(0));
}

TEST_F(SessionTest, TheContextIsAModuleOrNone)
{
    Context::release();
    EXPECT_EQ(Context::instance_, nullptr);
    const Context& context = Context::get();
    EXPECT_TRUE(&context == Context::instance_ && context.contextName().empty());
    IS("1|0|snmp|", context.setContext("snmp"), context.setContext("SNMP"), context.name);
    EXPECT_TRUE(Context::create() == &context && context.name.empty() && context.setContext("none") &&
                logged().empty());
    fs::remove(dir + "modacc");
    IS("1||", context.setContext(""), context.name);
}

TEST_F(SessionTest, GrantsAndDenies)
{
    Session session;
    unsigned gid = 9;
    const auto login = [&](const char* name, const char* password) {
        const bool isGranted = session.authenticate(name, password, gid);
        return ALL(isGranted, gid) + stateOf(session) + logged();
    };
    const auto set = [&](const char* name, unsigned group) {
        const bool isGranted = session.setAccess(name, group);
        return ALL(isGranted) + stateOf(session) + logged();
    };
    EXPECT_EQ(stateOf(session), "0||0||0|0|0|");
    EXPECT_EQ(login("ann", "pw-ann"),
              "1|2|1|ann|2|Admin|1|1|0|86 authentication success: context 'http', user 'ann'\n");
    IS("3|1|", session.moduleAccess(), session.moduleAccess("snmp"));
    // A direct denial keeps the grant and the name of before.
    EXPECT_EQ(set("joe", 1), "1|1|ann|1|User|0|0|0|86 context 'http', user 'ann': access denied\n");
    EXPECT_EQ(set("mo", 4), "1|1|mo|4|Monitor|1|0|0|86 authentication success: context 'http', user 'mo'\n");
    outside.catalogue["grex::Session|context '%s', user '%s': access denied"] = "nein %s,%s";
    EXPECT_EQ(login("joe", "pw-joe"), "0|1|0||1|User|0|0|0|86 nein http,\n");
    EXPECT_EQ(set("ann", 2).substr(0, 6), "1|1|an");
    EXPECT_EQ(login("ann", "pw-joe"), "0|0|0||0||0|0|0|83 auth failed: wrong login or password\n");
    EXPECT_EQ(set("x", 7), "0|0||0||0|0|0|86 nein http,\n");
    IS("0|83 net auth is not configured\n|", session.validateSession("<x/>"), logged());
    Context::get().name = "";
    EXPECT_EQ(login("ann", "pw-ann"), "0|2|0||2|Admin|0|0|0|86 nein ,\n");
    IS("0|1|", session.moduleAccess(), session.moduleAccess("snmp")); // whatever the flag
    session.reset();
    EXPECT_EQ(session.moduleAccess("snmp"), 0U);
}

TEST_F(SessionTest, ReadsTheServiceAndTheFilesAnew)
{
    Session session;
    unsigned gid = 0;
    const auto service = [] { return ALL(GrexAuth::authURL_, GrexAuth::connectTimeout_); };
    write("borea.conf", "[cu/params/101]\nNMSServerUrl= http://127.0.0.1:1 \nNMSConnectTimeout=-3\n");
    IS("1|http://127.0.0.1:1|0||", session.authenticate("ann", "pw-ann", gid), service());
    write("borea.conf", "[cu/params/101]\nNMSConnectTimeout=4\n");
    IS("0||4||", session.validateSession(""), service());
    Session::setAuthService(" u ", 8);
    EXPECT_EQ(service(), "u|8|");
    write("cache.db", "net:2:h\nbig:7:h\n");
    Context::get().name = "snmp", logged();
    forEach({"root~2", "ann~1", "joe~0", "net~1", "big~0", "nobody~0"},
            [](const Strings& c) { IS(ALL(c[1], ""), Session::userModuleAccess(c[0]), logged()); });
}
