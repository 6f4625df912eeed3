// SPDX-License-Identifier: Apache-2.0
#include "common/stl/file_stream.h"

#include "tests/support.h"

using FileStreamTest = ThrowAwayDir;

TEST_F(FileStreamTest, ReadsAndWrites)
{
    const std::string big(1500, 'x'), text = "a\r\n\n" + big + "\nn\0l\r\n\r\nlast\r"_s, path = write("f", text);
    std::string lines, first, normalised = "+", whole = "+";
    std::vector<unsigned char> bytes = {'+'};
    FileStream in(path, "r");
    for (std::string line; in.getline(line, true);)
        lines += ALL(line);
    EXPECT_EQ(lines + in.error(), "a||" + big + "|n\0l||last\r|"_s);
    EXPECT_TRUE(FileStream(path, "r").getline(first, false) && FileStream(path, "r").readAll(bytes));
    EXPECT_TRUE(FileStream(path, "r").readAll(normalised, true) && FileStream(path, "r").readAll(whole, false));
    IS(ALL("a\r\n", "+a\n" + big + "\nn\0l\nlast\r\n"_s, "+" + text, "+" + text), first, normalised, whole,
       std::string(bytes.begin(), bytes.end()));

    FileStream out(path, "w+");
    EXPECT_TRUE(out.puts("ab\0"_s) && out.write("cd", 2) && out.printf("%s%i", "e", 7) && out.flush());
    EXPECT_TRUE(read("f") == "ab\0cde7"_s && out.fsync() && out.seek(-2, SEEK_END));
    IS("7|5|1|2|1|", out.size(), out.tell(), out.setsize(2), out.size(), fcntl(out.fd(), F_GETFD));
    IS("1|1|0|-1|", out.isOpen(), out.close(), out.isOpen(), out.fd());
    EXPECT_TRUE(FileStream(open(path.c_str(), O_WRONLY | O_TRUNC), "w").puts("closed"));
    EXPECT_EQ(read("f"), "closed");
}

TEST_F(FileStreamTest, KeepsTheReasonOfAFailure)
{
    std::string text, big(100000, 'x');
    std::vector<unsigned char> bytes;
    const std::map<std::string, std::function<bool(FileStream&)>> operations = {
        {"close", [](FileStream& f) { return f.puts("x") && f.close(); }},
        {"getline", [&](FileStream& f) { return f.getline(text, true); }},
        {"text", [&](FileStream& f) { return f.readAll(text, true); }},
        {"bytes", [&](FileStream& f) { return f.readAll(bytes); }},
        {"puts", [&](FileStream& f) { return f.puts(big); }},
        {"fsync", [](FileStream& f) { return f.fsync(); }},
        {"printf", [](FileStream& f) { return f.printf("x"); }},
        {"seek", [](FileStream& f) { return f.seek(-1, SEEK_SET); }},
        {"setsize", [](FileStream& f) { return f.setsize(1); }},
        {"tell", [](FileStream& f) { return f.tell() != -1 || f.size() != -1; }},
        {"write", [](FileStream& f) { return f.write("", 0) || f.flush() || f.close(); }}};
    ASSERT_EQ(mkfifo((dir + "pipe").c_str(), 0600), 0);
    forEach({"getline~/~r~file read error", "text~/~r~file read error", "bytes~/~r~file error: fread()",
             "puts~/dev/full~w~file write error", "close~/dev/full~w~file error: fflush()",
             "fsync~/dev/null~w~file error: fsync()", "printf~/dev/null~r~file error: vfprintf()",
             "seek~" + write("f", "") + "~r~file error: fseeko()", "setsize~" + dir + "f~r~file error: ftrancate()",
             "tell~" + dir + "pipe~r+~file error: ftello()", "write~~r~file closed"},
            [&](const Strings& c) {
                FileStream stream(c[1], c[2].c_str());
                IS(ALL(0, c[3]), operations.at(c[0])(stream), stream.error());
                IS("0|file open error|", stream.open("/nowhere/f", "r"), stream.error());
                IS("0|file closed|", operations.at(c[0])(stream), stream.error());
            });
    EXPECT_EQ(FileStream(-1, "r").error(), "file open error");
}
