// SPDX-License-Identifier: Apache-2.0
#include "grex/module_access.h"

#include "tests/support.h"

using ModuleAccessTest = Element;
static const grex::ModuleAccess modules;

TEST_F(ModuleAccessTest, ReadsTheFile)
{
    forEach({"1@1;2@3;3@3;4@1~3", "2@7~0", "2@x~0", " 2@3 ~3", "2@1;2@3~1", "2@x;2@3~0", "12@1;2@2~2", "~0", "2@~0",
             ";;2@1~1", "2@4~0", "2@-1~0"},
            [](const Strings& c) { EXPECT_EQ(std::to_string(modules.parseModuleAccess(2, c[0])), c[1]); });
    write("modacc", "http;1@1;2@3;3@3;4@1\n snmp ;2@2\nbare\nhttp;1@3\nsnmp\n;1@3\n#c;1@3\n");
    forEach({"http~1~013310", "snmp~1~002000", "HTTP~0~000000", "bare~1~000000", "~0~000000", "http;1@1~0~000000"},
            [](const Strings& c) {
                EXPECT_EQ(std::to_string(modules.exists(c[0])), c[1]);
                grex::Context::get().name = c[0];
                for (unsigned gid = 0; gid <= 5; ++gid) {
                    const unsigned level = static_cast<unsigned>(c[2][gid] - '0');
                    IS(ALL(level, level), modules.moduleAccess(gid, c[0]), modules.moduleAccess(gid));
                    for (unsigned need = 0; need <= 4; ++need) {
                        const bool is = need != 0 && (level & need) == need;
                        IS(ALL(is, is, is), modules.checkModuleAccess(gid, c[0], need),
                           modules.checkModuleAccess(gid, need), GrexDB::checkAccess(gid, need));
                    }
                }
            });
    write("modacc", "http;1@2\n");
    IS("2||", modules.moduleAccess(1, "http"), logged());
    fs::remove(dir + "modacc");
    IS(ALL(0, "3 can't read file: '" + dir + "modacc': 'file open error'\n", 0), modules.moduleAccess(1, "http"),
       logged(), modules.exists("http"));
}

TEST_F(ModuleAccessTest, FillsTables)
{
    write("modacc", "b;2@1\na;2@3;1@1\nb;2@3\n");
    std::map<std::string, unsigned> table = {{"a", 9}, {"b", 9}, {"no", 9}}, empty;
    const auto levels = [&] { return ALL(table["a"], table["b"], table["no"]); };
    IS("1|3|1|0||", modules.getModuleAccessTable(2, table), levels());
    IS("1|1|0|0||", modules.checkModulesAccess(2, table, {{"a", 2}, {"b", 2}, {"no", 1}}), levels());
    IS("1|0|0|0||", modules.checkModulesAccess(2, table, {{"a", 0}, {"c", 1}}), levels());
    std::pair<const std::string, unsigned> entry("a", 3);
    const std::map<std::string, unsigned> needs = {{"a", 2}};
    grex::CheckAccess{needs}(entry), table["a"] = entry.second, grex::resetParamAccess(entry);
    IS("1|0|0||0|", levels(), entry.second);
    IS("0|0|0|0||", modules.getModuleAccessTable(5, table), levels());
    table["a"] = 9, modules.checkModulesAccess(0, table, {{"a", 1}});
    outside.catalogue["grex::ModuleAccess|table of access to modules is empty"] = "leer";
    IS("0|0|0||0|", levels(), modules.getModuleAccessTable(1, empty));
    EXPECT_EQ(logged(), "3 wrong users group\n3 wrong users group\n3 leer\n");
}
