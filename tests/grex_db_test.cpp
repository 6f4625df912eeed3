// SPDX-License-Identifier: Apache-2.0
#include "grex/grex_db.h"

#include "common/stl/crypt++.h"
#include "common/stl/utils.h"
#include "tests/support.h"

class GrexDBTest : public Element {
protected:
    using Op = GrexDB::ChangeOp;
    void SetUp() override
    {
        Element::SetUp();
        users = dir + "users";
        write("cache.db", "net:1:h\nann:4:c\n");
    }
    /// The users file, with "HASH" in place of each hash that was made of `password`.
    std::string shape(const std::string& password) const
    {
        std::string text = read("users");
        for (std::size_t at = 0; (at = text.find("$6$", at)) != std::string::npos; ++at)
            if (crpt::compare(password, text.substr(at, text.find('\n', at) - at)))
                text.replace(at, text.find('\n', at) - at, "HASH");
        return text;
    }
    std::string cannot(const std::string& act, const std::string& why) const
    {
        return "3 can't " + act + " file: '" + users + "': '" + why + "'\n";
    }
    static std::string notSaved(const std::string& path, const std::string& why)
    {
        return "3 save file: '" + path + "': save file fail: " + path + ": " + why + "\n";
    }
    std::string users;
    GrexDB db() const { return {}; }
    const std::string tool = GREX_SYNC_TOOL "\n";
    const char* const files = "cache.db modacc users users.sig ";
};

TEST_F(GrexDBTest, FindsRecords)
{
    std::string many; // so many that they are indexed
    for (int i = 0; i < 40; ++i)
        many += "u" + std::to_string(i) + ":1:h\n";
    for (const std::string& others : {""_s, many}) {
        write("users", "ann:1:h1\nann:2:h2\nbobby:1:h\nbob:1:2:x\n:1:x\n" + others +
                           "  eve:4:h\t\n#c:1:h\na b:x:\njoe:1\nu7:2:h\n");
        forEach({"ann~ann:1:h1", "bob~", "bobby~bobby:1:h", "~:1:x", "eve~eve:4:h", "#c~", "a b~a b:x:", "ann:1~",
                 "joe~", "Eve~", "eve\0~"_s, "net~"},
                [&](const Strings& c) {
                    const auto record = db().findUser(c[0]);
                    IS(ALL(c[1], c[1]), db().findUserLine(c[0]),
                       record == GrexDB::userfile_.lines.end() ? "" : *record);
                    IS(ALL(!c[1].empty(), !c[1].empty() || c[0] == "net"), db().userExists(GrexDB::userfile_, c[0]),
                       db().userExists(c[0]));
                });
    }
    IS("ann:4:c|net:1:h|u7:1:h|", db().findCacheUserLine("ann"), db().findUserLine(GrexDB::cachefile_, "net"),
       db().findUserLine("u7"));
    fs::remove(users); // what is held counts for nothing
    const GrexDB held;
    EXPECT_EQ(logged(), "");
    EXPECT_TRUE(held.findUserLine("ann").empty() && held.findUser("ann") == GrexDB::userfile_.lines.end());
    EXPECT_EQ(logged(), cannot("read", "file open error") + cannot("read", "file open error"));
}

TEST_F(GrexDBTest, MakesAMissingCacheFileAndSignsIt)
{
    db();
    EXPECT_EQ(names(), "cache.db modacc users "); // one that is there is not signed
    for (const std::string& folder : {"new"_s, "no"_s}) {
        fs::create_directory(dir + "new");
        grex::Settings::destroy();
        grex::Settings::get()->setVarConfigDir(dir + folder);
        logged();
        db();
        IS(ALL(dir + folder + "/users", dir + folder + "/modacc", dir + folder + "/cache.db"),
           GrexDB::userfile_.filename, GrexDB::modfile_.filename, GrexDB::cachefile_.filename);
    }
    IS("\n|68b329da9893e34099c7d8ad5cb9c940\n||", read("new/cache.db"), read("new/cache.db.sig"), outside.commands);
    EXPECT_NE(logged().find("\n3 save file: '" + dir + "no/cache.db': " + strerror(ENOENT) + "\n"), std::string::npos);
}

TEST_F(GrexDBTest, ChangesRecords)
{
    const std::string text = "# c\n\nann:2:h1\njoe:02:h2\nbad:1:2:3\nann:1:h3\nodd:x:h4\n", ann = "ann:2:h1\n",
                      joe = "joe:02:h2\n", odd = "bad:1:2:3\nann:1:h3\nodd:x:", end = odd + "h4\n",
                      every = ann + joe + end;
    // login, group, password, the file afterwards; without that all is as before and no tool is
    // started
    const auto expect = [&](Op::Op op, bool result, const Strings& rows, const std::string& log = "") {
        forEach(rows, [&](const Strings& c) {
            write("users", text), write("users.sig", "old"), db(), outside = {};
            EXPECT_EQ(db().changeUser(op, GrexDB::userfile_, c[0], c[1], c[2]), result);
            IS(c.size() < 4 ? ALL(text, "old", "", log) : ALL(c[3], crpt::fileMD5Checksum(users) + "\n", tool, log),
               shape(c[2]), read("users.sig"), outside.commands, logged());
            EXPECT_EQ(names(), files);
        });
    };
    expect(Op::Add, true,
           {"new~2~pw~" + every + "new:2:HASH\n", "a b~04~~" + every + "a b:04:HASH\n", "~1~pw~" + every + ":1:HASH\n",
            "bad~1~pw~" + every + "bad:1:HASH\n"});
    expect(Op::Remove, true, {"ann~~~" + joe + end, "nobody~~", "ann:2~~", "bad~~"});
    expect(Op::ChangePassword, true,
           {"joe~1~pw~" + ann + "joe:02:HASH\n" + end, "odd~~~" + ann + joe + odd + "HASH\n"});
    expect(Op::AddOrUpdate, true,
           {"joe~1~pw~" + ann + "joe:1:HASH\n" + end, "joe~4~~" + ann + "joe:4:h2\n" + end,
            "new~3~~" + every + "new:3:HASH\n"});
    expect(Op::ChangePassword, false, {"joe~~\0"_s, "nobody~~pw"});
    expect(Op::Add, false, {"ann~7~pw"}, "3 user already exists\n");
    for (const Op::Op op : {Op::Add, Op::AddOrUpdate})
        expect(op, false,
               {"a:1~1~pw", "ann:2~1~pw", "#new~1~pw", " new~1~pw", "new\b~1~pw", "a\nb~1~pw", "a\0~1~pw"_s, "new~5~pw",
                "new~0~pw", "new~x~pw", "new~~pw", "new~-1~pw", "new~1~p\0w"_s, "new~1~" + std::string(600, 'x')});
}

TEST_F(GrexDBTest, ChangesTheUsersFile)
{
    IS("0|0|83 wrong users group\n83 wrong users group\n|", db().addUser("new", 0, "pw"), db().addUser("new", 5, "pw"),
       logged());
    EXPECT_TRUE(db().addUser("new", 4, "pw") && db().changePassword("new", "word"));
    EXPECT_NE(shape("word").find("\nnew:4:HASH\n"), std::string::npos);
    for (const char* login : {"new", "root", "ann", "joe", "mo"})
        EXPECT_TRUE(db().removeUser(login) && !db().userExists(GrexDB::userfile_, login));
    IS("\n|68b329da9893e34099c7d8ad5cb9c940\n|7|", read("users"), read("users.sig"),
       outside.commands.size() / sizeof(GREX_SYNC_TOOL));
    IS("0|0|1|1|", db().signFile(write("empty", ""), dir + "e.sig"), db().signFile(dir, dir + "e.sig"),
       db().saveFile(dir + "f", "x"), db().signFile(dir + "f", dir + "f.sig"));
    IS("x\n|401b30e3b8b5d629635a5c613cdb7919\n|cache.db empty f f.sig modacc users users.sig |", read("f"),
       read("f.sig"), names());
    SysLog::get()->setDebugLevel(2), logged();
    IS("1792|7 sync grex files\n|", db().syncFiles(), logged());

    const long future = time(nullptr) + 5000; // every rewrite is seen
    write("users", "ann:2:h\njoe:1:h\n", future), write("users.sig", "", future + 7);
    EXPECT_TRUE(db().removeUser("ann"));
    IS(ALL(future + 1, future + 8), utils::fileModifTime(users, false), utils::fileModifTime(users + ".sig", false));
    EXPECT_TRUE(db().userExists("joe")); // another's change is kept although the file has the time that was seen
    write("users", "joe:1:h\nlate:1:h\n", future + 1);
    IS("1|late:1:h\n|", db().removeUser("joe"), read("users"));
}

TEST_F(GrexDBTest, NeverRewritesAFileThatCannotBeRead)
{
    const std::string before = read("users");
    setTime("users", 0); // what has no time is not read
    IS(ALL(0, 0, 0, before), db().addUser("new", 1, "pw"), db().removeUser("ann"), db().changePassword("ann", "x"),
       read("users"));
    fs::remove(users), fs::create_symlink("users", users); // a link to itself
    IS("0|1||", db().addUser("new", 1, "pw"), fs::is_symlink(users), outside.commands);
    fs::remove(users), fs::create_directories(users + "/x"),
        logged(); // no file to lose: a folder, none, none possible
    IS(ALL(1, cannot("read", "file read error") + notSaved(users, strerror(EISDIR)), 0), db().addUser("new", 1, "pw"),
       logged(), db().userExists("new"));
    fs::remove_all(users);
    IS("1|1|", db().addUser("new", 1, "pw"), db().userExists("new"));
    grex::Settings::get()->setUsersFilename(dir + "modacc/users");
    IS(ALL(1, 0, tool + tool + tool), db().addUser("new", 1, "pw"), db().userExists("new"), outside.commands);
}

TEST_F(GrexDBTest, LocksWhatItChangesUntilTheToolStarts)
{
    std::string seen;
    write("users.lock", ""), db(); // left over by a process that was killed
    outside.onCommand = [&] {
        seen = names();
        EXPECT_TRUE(db().addUser("tool", 1, "pw"));
    };
    IS(ALL(1, 1, files), db().addUser("new", 1, "pw"), db().userExists("tool"), seen);

    const std::string text = read("users");
    fs::create_directory(users + ".lock"); // a lock that cannot be had
    outside = {};
    EXPECT_FALSE(db().removeUser("ann") || db().addUser("late", 1, "pw"));
    IS(ALL(cannot("lock", strerror(EISDIR)) + cannot("lock", strerror(EISDIR)), text, ""), logged(), read("users"),
       outside.commands);
    EXPECT_FALSE(db().userExists(GrexDB::userfile_, "ann")); // not admitted by this process
}

TEST_F(GrexDBTest, HidesTheCallersEnvironmentFromTheToolOfBorrowedRights)
{
    setenv("PATH", "/callers", 1);
    std::string path;
    for (const bool isBorrowed : {true, false}) {
        outside.hasBorrowedRights = isBorrowed;
        outside.onCommand = [&] { path += getenv("PATH") + (getenv("HOME") ? "+|"_s : "|"_s); };
        setenv("HOME", "/callers", 1);
        db().syncFiles();
    }
    IS("/usr/sbin:/usr/bin:/sbin:/bin|/callers+||", path);
}

TEST_F(GrexDBTest, ListsGroupsAndUsers)
{
    const auto listed = [&](unsigned gid) {
        std::deque<std::string> groups = {"dropped"}, lines = {"kept"};
        std::string text = ALL(db().getGroupList(gid, groups), db().getUserList(gid, lines));
        groups.insert(groups.end(), lines.begin(), lines.end());
        for (const std::string& line : groups)
            text += line + " ";
        return text;
    };
    const std::string three = "1:0:User:Fixed Group 2:0:Admin:Fixed Group 4:0:Monitor:Fixed Group kept ";
    write("users", "root:3:h\nann:2:h\njoe:1:h\nfive:5:h\n"), write("modacc", "http;1@3;2@1;3@3;4@3");
    EXPECT_EQ(listed(2), "1|1|" + three + "ann:2 joe:1 five:5 ");
    EXPECT_EQ(listed(3), "1|1|3:0:SuperUser:Fixed Group " + three + "root:3 ann:2 joe:1 five:5 ");
    IS("1|0|kept |1|0|kept |1|0|kept ||", listed(0), listed(1), listed(4), logged());
    for (const char* bad : {"x:abc:h", "x:1", "x:1:h:y", "x::h"}) {
        write("users", "ann:2:h\n"_s + bad + "\njoe:1:h\n");
        IS(ALL("1|0|" + three + "ann:2 ", "3 wrong file format\n"), listed(2), logged());
    }
    write("users", "# nobody\n");
    IS(ALL("1|0|" + three, cannot("read", "")), listed(2), logged());
    write("modacc", "http;2@2;3@2");
    IS("1|0|kept |1|0|kept |", listed(2), listed(3));
}
