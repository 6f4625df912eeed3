// SPDX-License-Identifier: Apache-2.0
#include "grex/settings.h"

#include "tests/support.h"

using grex::Settings;
using SettingsTest = Element;

static std::string paths(Settings& s)
{
    return ALL(s.configFile(), s.varConfigFile(), s.usersFile(), s.groupsFile(), s.modulesFile(), s.cacheFile());
}
static std::string values(Settings& s) // authURL() re-reads, connectTimeout() does not
{
    return ALL(s.authURL(), s.connectTimeout(), s.sysLanguage(), SysLog::get()->debugLevel());
}

TEST_F(SettingsTest, HaveDefaultsWithoutFiles)
{
    if (fs::exists(GREX_CONFIG_DIR) || fs::exists(GREX_VAR_CONFIG_DIR))
        GTEST_SKIP() << "this machine is an element";
    write("borea.conf", "[cu/params/1]\nsysLanguage=1\n");
    EXPECT_EQ(values(*Settings::get()), "|15|1|0|");
    for (const char* expected : {"|15|2|0|", "|15|3|0|"}) { // the file read last is gone; none was read
        Settings::destroy();
        const std::string v = GREX_VAR_CONFIG_DIR "/";
        EXPECT_EQ(paths(*Settings::get()), ALL(GREX_CONFIG_DIR "/borea.conf", v + "borea.conf", v + "users",
                                               v + "groups", v + "modacc", v + "cache.db"));
        IS(ALL(expected, GREX_DATA_DIR), values(*Settings::get()), Settings::get()->dataDir());
    }
}

TEST_F(SettingsTest, ReadsTheVariableFileWhenItsTimeChanges)
{
    const std::string url = "[cu/params/101]\nNMSServerUrl=", language = "[cu/params/1]\nsysLanguage=",
                      timeout = "[CU/params/101]\nnmsconnecttimeout=", debug = "[cu/params/3]\nLogDebug=";
    Settings& settings = *Settings::get();
    forEach({url + " http://h \n" + timeout + "7\n" + language + "0\n" + debug + "2~http://h|7|0|2|",
             timeout + "x\n" + language + "x\n" + debug + "x~|15|2|0|", timeout + "-4\n" + language + "7~|-4|3|0|",
             language + "-1\n" + debug + "9~|15|3|3|", language + "2~|15|2|0|", "~|15|2|0|"},
            [&](const Strings& c) {
                write("borea.conf", c[0]);
                EXPECT_EQ(values(settings), c[1]);
            });
    write("borea.conf", url + "u\n" + timeout + "5\n", lastTime);
    EXPECT_EQ(values(settings), "|15|2|0|");
    setTime("borea.conf", ++lastTime);
    EXPECT_EQ(settings.connectTimeout(), 15);
    EXPECT_EQ(values(settings), "u|5|2|0|");
    fs::create_directory(dir + "other"); // the time is the process's: another file of that time is not read
    write("other/borea.conf", "", lastTime);
    settings.setVarConfigDir(dir + "other");
    EXPECT_EQ(values(settings), "u|5|2|0|");
    setTime("other/borea.conf", ++lastTime), settings.update();
    EXPECT_EQ(settings.connectTimeout(), 15);
}

TEST_F(SettingsTest, KeepsThePathsThatOnlySetVarConfigDirEmpties)
{
    Settings& settings = *Settings::get();
    const std::string one = dir + "one/", two = dir + "two/";
    IS(ALL(dir + "cache.db", dir + "users"), settings.cacheFile(), settings.usersFile());
    fs::create_directory(one);
    write("one/borea.conf", "[COMMON]\ndata=/srv/d\nvarconfigdir=" + dir + "two\n");
    settings.setConfigDir(dir + "one"); // the users file and the cache were given out before
    EXPECT_EQ(paths(settings), ALL(one + "borea.conf", two + "borea.conf", dir + "users", two + "groups",
                                   two + "modacc", dir + "cache.db"));
    settings.setUsersFilename("/u"), settings.setGroupsFilename("/g"), settings.setModulesFilename("/m");
    IS("/u|/g|/m|/srv/d|", settings.usersFile(), settings.groupsFile(), settings.modulesFile(), settings.dataDir());
    settings.setVarConfigDir(dir + "one");
    EXPECT_EQ(paths(settings), ALL(one + "borea.conf", one + "borea.conf", one + "users", one + "groups",
                                   one + "modacc", dir + "cache.db"));
    settings.setDataDir(""), write("one/borea.conf", "[common]\nData=/srv/e\n");
    EXPECT_EQ(settings.dataDir(), GREX_DATA_DIR); // the fixed file is read when asked
    settings.load();
    EXPECT_EQ(settings.dataDir(), "/srv/e");
}
