// SPDX-License-Identifier: Apache-2.0
#include "grex/file_cache.h"

#include "tests/support.h"

using FileCacheTest = ThrowAwayDir;

TEST_F(FileCacheTest, HoldsWhatSaysSomethingUntilTheTimeChanges)
{
    FileCache cache;
    const auto held = [&] { return std::accumulate(cache.lines.begin(), cache.lines.end(), ALL(cache.modifTime)); };
    IS("0||0|1|", held(), cache.filename.size(), cache.setFilename(write("f", "\n  \n \t# c\n#\n\v\b\n")));
    EXPECT_EQ(cache.lines.size(), 0U);
    write("f", "  a:1:x \t\r\n#\n;b:2:#x # y\n;a\0b\n\f;c"_s, 50);
    IS(ALL(1, "50|a:1:x;b:2:#x # y;a\0b\f;c"_s), cache.update(), held());
    write("f", "new", 50);
    IS(ALL(1, "50|a:1:x;b:2:#x # y;a\0b\f;c"_s), cache.update(), held());
    setTime("f", 49); // earlier is a change too
    IS("0|1|49|new|", cache.setFilename(dir + "f"), cache.update(), held());
    fs::remove(dir + "f");
    EXPECT_EQ(logged(), "");
    outside.catalogue["FileCache|can't read file: '%s': '%s'"] = "%s? %s!";
    IS("0|0|49|new|", cache.update(), cache.update(), held());
    EXPECT_EQ(logged(), "3 " + dir + "f? file open error!\n3 " + dir + "f? file open error!\n");
    outside.catalogue.clear();
    IS(ALL(0, "0|", "3 can't read file: '" + dir + "': 'file read error'\n"), cache.setFilename(dir), held(), logged());
    cache.lines = {" a ", " #", "", "b"};
    cache.stripContent();
    EXPECT_EQ(held(), "0|ab");
}
