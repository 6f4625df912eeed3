// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sys_log.h"

#include "common/stl/translate.h"
#include "tests/support.h"

using SysLogTest = Element;

TEST_F(SysLogTest, ReopensOnChangeAlone)
{
    const SysLog& log = *SysLog::get();
    IS("|0|8|0|", log.ident(), log.options(), log.facility(), log.debugLevel());
    // 127 and 255: the masks; 1 LOG_PID, 2 LOG_CONS, 4 LOG_ODELAY, 32 LOG_PERROR; 8 LOG_USER, 128
    // LOG_LOCAL0
    const auto expect = [](const std::string& opened, const char* text = "") {
        const std::string setup = std::exchange(outside.logSetup, {});
        const std::size_t start = setup.rfind("close|"); // a new identity closes the log twice
        IS(ALL(opened, text), start == std::string::npos ? setup : setup.substr(start + 6), logged());
    };
    log.setIdent(""), log.setForceUseStderr(false), log.setDebugLevel(0), expect("");
    log.setIdent("me"), expect("127|me|5|8|");
    log.setForceUseStderr(true), expect("127|me|37|8|");
    log.setForceUseStderr(false), expect("127|me|5|8|");
    log.setDebugLevel(-2), expect("127|me|5|8|");
    log.setDebugLevel(7), expect("255|me|5|8|", "7 debug level changed to 3\n");
    log.setDebugLevel(7), expect("255|me|5|8|", "7 debug level changed to 3\n");
    log.setDebugLevel(3), log.setIdent("me"), expect("");
    log.setOptions(2, LOG_LOCAL0 | 3, false), expect("255|me|3|128|", "7 debug level changed to 3\n");
    outside.isTty = true;
    log.setDebugLevel(0), expect("127|me|3|128|");
    log.setOptions(0, LOG_USER, true), expect("127|me|37|8|");
    outside.isTty = false;
    log.setIdent(""), expect("127|(null)|5|8|");
    SysLog::release();
    EXPECT_TRUE(outside.logSetup == "close|" && !SysLog::instance_ && SysLog::get()->options() == 0);
}

TEST_F(SysLogTest, WritesAtItsPriorities)
{
    for (int level = 0; level <= 3; ++level) {
        SysLog::get()->setDebugLevel(level), logged();
        syslogLog(83, "a %i", 1), syslogErr("b %s", "x"), syslogErr("c %i %s"_s, 2, "y"), syslogWarn("d");
        syslogWarn("e %i"_s, 3), syslogInfo("f %c", 'z'), SysLog::get()->debug("g %i", 4), syslogDebug2("h %i", 5);
        EXPECT_EQ(logged(), "83 a 1\n3 b x\n3 c 2 y\n4 d\n4 e 3\n6 f z\n"_s + (level > 0 ? "7 g 4\n" : "") +
                                (level > 1 ? "7 h 5\n" : ""));
    }
    outside.catalogue = {{"A|x %i", "y %i"}, {"A|same", "A|same"}, {"x %i", "wrong"}};
    IS("y %i|x %i|same|", translate("A|", "x %i"), translate("B|", "x %i"), translate("A|", "same"));
}
