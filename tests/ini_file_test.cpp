// SPDX-License-Identifier: Apache-2.0
#include "grex/ini_file.h"

#include "tests/support.h"

using IniFileTest = ThrowAwayDir;

TEST_F(IniFileTest, FindsValues)
{
    const std::string big(2000, 'x'); // text, section, key, value
    forEach({"[Common]\ndata = /x\n~common~Data~/x", "[c]\nkey=\n~C~key~", "[c]\n  #k=1\n~c~#k~no",
             "[c]\n;k=2\n~c~;k~no", "[c]\na=b # c\n~c~a~b # c", "[c]\na = \"q \" v\"\n~c~a~q \" v",
             "[c]\na = \"\"2\"\"\n~c~a~2", "[c]\na = \"lead\n~c~a~\"lead", "[c]\na = \"\n~c~a~",
             "[c]\nKEY=1\nkey=2\n~c~Key~2", "[c]\na=1\n[d]\na=2\n[C]\nb=3~c~a~1", "[c]\na=" + big + "~c~a~" + big,
             "[ c\t]\r\na = b = c \r\n~c~a~b = c", "[[x]]\na=1\n~x~a~1", "top=1\n[c]\n~~TOP~1",
             "[c]\n[d\nno\n=v\na=1~c~a~1", "[c]\n=v\n~c~~no"},
            [&](const Strings& c) { EXPECT_EQ(IniFile(write("conf", c[0])).value(c[1], c[2], "no"), c[3]); });
    const std::string first = write("first", "[c]\na=1\nb=1\n");
    IniFile conf(first, write("second", "[C]\nB=2\n"));
    IS("1|2|-|", conf.value("c", "a", ""), conf.value("c", "b", ""), conf.value("d", "a", "-"));
    IS("1|0|0|", conf.load(write("third", "[c]\na=3\n")), conf.load(dir), conf.load(dir + "none"));
    setTime("first", 0); // a time of 0 is that of no file, and no file is opened
    IS("3|2|-|-|", conf.value("c", "a", ""), conf.value("c", "b", ""), IniFile(first).value("c", "a", "-"),
       IniFile(dir + "none").value("c", "a", "-"));
    const IniFile::CIStringLess less;
    IS("1|0|0|", less("a", "B"), less("B", "a"), less("LogDebug", "logdebug"));
}
