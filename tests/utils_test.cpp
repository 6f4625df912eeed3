// SPDX-License-Identifier: Apache-2.0
#include "common/stl/utils.h"

#include "tests/support.h"

#undef major
#undef minor

using UtilsTest = ThrowAwayDir;
using namespace utils;

TEST_F(UtilsTest, ReadsChangedFilesAlone)
{
    const std::string path = write("f", "a\r\n\r\nb"), missing = dir + "none", below = path + "/x";
    setTime("f", 1234, 5999999);
    const int fd = open(path.c_str(), O_RDONLY);
    IS("6|-1|1234|1234005|0|-1|1234005|-1|0|", fileSize(path), fileSize(missing), fileModifTime(path, false),
       fileModifTime(path, true), fileModifTime(missing, false), fileModifTime(below, true), fileModifTime(fd, true),
       fileModifTime(-1, false), close(fd));
    long long time = 1234;
    IS("1|0|1|1|0|", isFileModified(path, 1233), isFileModified(path, time), isFileModified(below, -1),
       isFileModified(missing, 1), isFileModified(missing, 0));
    IS("1|0|1234005|", isFileModified(path, time, true), isFileModified(path, time, true), std::to_string(time));
    IS("1|1|", isFileModified(below, time, false), isFileModified(below, time, false));
    IS("-1|1|0|99000|", time, setModifTime(path, 99), setModifTime(missing, 99), fileModifTime(path, true));

    std::string text = "old";
    std::vector<unsigned char> bytes = {'o'};
    std::deque<std::string> lines = {"old"};
    const auto contents = [&] {
        return ALL(text, std::string(bytes.begin(), bytes.end()), lines.front(), lines.size());
    };
    IS("0|0|0|old|o|old|1||", readFile(path, 99, text), readFile(path, 99, bytes), readFile(path, 99, lines),
       contents());
    IS("1|1|1|a\nb\n|a\r\n\r\nb|a|3||", readFile(path, 98, text), readFile(path, 100, bytes), readFile(path, 0, lines),
       contents());
    setTime("f", 0);
    IS("-1|-1|file read error|", readFile(path, 50, text), readFile(dir, 0, lines), errString());
    IS("-1|file error: fread()|", readFile(dir, 0, bytes), errString());
    IS("-1|file open error|a\nb\n|a\r\n\r\nb|a|3||", readFile(missing, 0, text), errString(), contents());
}

TEST_F(UtilsTest, SavesInOneStepOrLeavesNothing)
{
    const std::string path = dir + "f", folder = dir + "folder", isFolder = strerror(EISDIR);
    const long future = time(nullptr) + 1000;
    long long told = 0;
    struct stat status = {};
    forEach({"x~x\n", "x\n~x\n", "~\n"}, [&](const Strings& c) {
        IS(ALL(1, c[1]), saveFile(path, c[0], &told, false), read("f"));
        EXPECT_EQ(told, fileModifTime(path, false));
    });
    setTime("f", future); // a saved file is later than the one it replaces
    IS(ALL(1, "b\0y"_s), saveFile(path, "b\0y", 3, &told, true), read("f"));
    IS(ALL(1000LL * future + 1000, future + 1), told, fileModifTime(path, false));
    IS(ALL(0, 0644), stat(path.c_str(), &status), std::to_string(status.st_mode & 07777U));
    std::string name;
    const int fd = openTempFile(path, name);
    IS(ALL(1, "f " + name.substr(dir.size()) + " ", path + "."), fcntl(fd, F_GETFD), names(),
       name.substr(0, name.size() - 6));
    IS("1|1|0|", unlinkFile(name), unlinkFile(name), close(fd));
    ASSERT_TRUE(fs::create_directories(folder + "/full"));
    IS(ALL(-1, strerror(ENOENT)), saveFile(dir + "no/f", "x", nullptr, false), errString());
    IS(ALL(-1, strerror(ENOTDIR)), openTempFile(path + "/x", name), errString());
    IS(ALL(-1, "save file fail: " + folder + ": " + isFolder), saveFile(folder, "x", 1, nullptr, false), errString());
    IS(ALL(-1, "remove file fail: " + folder + ": " + isFolder), unlinkFile(folder), errString());
    EXPECT_EQ(names(), "f folder ");
}

TEST_F(UtilsTest, ParsesVersions)
{
    forEach({"1.2.3~1|1|2|3|", "2.1~1|2|1|9|", "3~1|3|8|9|", "65535.65535.4294967295~1|65535|65535|4294967295|",
             "1.2.3.4~0|0|0|0|", "x.2~0|0|0|0|", "1.x~0|0|0|0|", "1.2.x~0|0|0|0|", "0.9.1~0|0|0|0|", "~0|0|0|0|",
             "1.2.~0|0|0|0|", "65536.1~0|0|0|0|"},
            [](const Strings& c) {
                ProfileVersion version = {7, 8, 9};
                const bool isVersion = parseVersion(c[0], version);
                IS(c[1], isVersion, version.major, version.minor, version.build);
            });
}
