// SPDX-License-Identifier: Apache-2.0
#include "grex/group_access.h"

#include "grex/group_list.h"
#include "tests/support.h"

using grex::GroupAccess;
using GroupAccessTest = Element;
using Table = std::map<std::string, std::string>;

TEST_F(GroupAccessTest, KnowsTheFixedGroups)
{
    GroupAccess group;
    IS("0||", group.gid, group.groupName);
    forEach({"1~User~1", "2~Admin~2", "3~SuperUser~3", "4~Monitor~4", "5~~0", "0~~0"}, [&](const Strings& c) {
        const unsigned gid = static_cast<unsigned>(std::stoul(c[0]));
        IS(ALL(1, c[2], c[1], c[1]), group.reset(gid), std::to_string(group.gid), group.groupName,
           group.fixedGroupName(gid));
    });
    group.reset(2);
    std::deque<std::string> users = {"kept"}, groups = {"dropped"};
    IS("1|0|0|1|1|3|4|", group.checkAccess(3), group.checkAccess(0), group.checkAccess(4), group.getUserList(users),
       group.getGroupList(groups), groups.size(), users.size());
}

TEST_F(GroupAccessTest, FindsGroups)
{
    write("users", "ann:2:h\nfive:5:h\ntext:x:h\nboth:1:h\nzero:0:h\nplus:+1:h\n");
    write("cache.db", "both:3:h\nnet:4:h\nfive:2:h\n");
    forEach({"ann~2", "five~0", "text~0", "both~1", "zero~0", "plus~0", "net~4", "no~0"},
            [](const Strings& c) { EXPECT_EQ(std::to_string(GroupAccess::gidByLogin(c[0])), c[1]); });
    Table table = {{"old", "old"}};
    EXPECT_TRUE(GroupAccess::getGroupsTable(table, false));
    EXPECT_EQ(table, (Table{{"1", "User"}, {"2", "Admin"}, {"3", "SuperUser"}, {"4", "Monitor"}}));
    EXPECT_TRUE(GroupAccess::getGroupsTable(table, true));
    EXPECT_EQ(table, (Table{{"User", "1"}, {"Admin", "2"}, {"SuperUser", "3"}, {"Monitor", "4"}}));
    EXPECT_EQ(grex::MakeGroupMapItem{true}("7:0:G:x:y"), std::make_pair("G"_s, "7"_s));
    forEach({"superuser~0", "User~0", "Admin~0", "Monitor~0", "1~0", "~0"},
            [](const Strings& c) { EXPECT_EQ(std::to_string(GroupAccess::gidByName(c[0])), c[1]); });
    fs::remove_all(dir);
    logged();
    IS("3|3||", GroupAccess::gidByName("su"), GroupAccess::gidByName("SuperUser"),
       logged()); // no file is read
}

TEST_F(GroupAccessTest, ListsTheGroupsForC)
{
    grex::Context::release();
    const char* list = nullptr;
    EXPECT_TRUE(getGroupList(&list));
    EXPECT_STREQ(list, "3:0:SuperUser:Fixed Group\n1:0:User:Fixed Group\n2:0:Admin:Fixed "
                       "Group\n4:0:Monitor:Fixed Group");
    EXPECT_EQ(grex::Context::get().contextName(), "http");
    write("modacc", "http;3@2\n");
    EXPECT_TRUE(getGroupList(&list) && *list == '\0' && !getGroupList(nullptr));
}
