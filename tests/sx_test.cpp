// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"

#include "tests/support.h"

TEST(Sx, StripsAndSplits)
{
    EXPECT_EQ(sx::defaultDelimeter, " \t\n\r\v\b");
    forEach({" a b\t\n~a b\t\n~ a b~a b", "\v\b\r~~~", "~~~", "\fa\0~\fa\0~\fa\0~\fa\0"_s}, [](const Strings& c) {
        IS(ALL(c[1], c[2], c[3]), sx::lstrip(c[0]), sx::rstrip(c[0]), sx::strip(c[0]));
        std::string left = c[0], right = c[0], both = c[0];
        IS(ALL(c[1], c[2], c[3]), sx::lstrip(left), sx::rstrip(right), sx::strip(both));
        IS(ALL(c[1], c[2], c[3]), left, right, both);
    });
    EXPECT_EQ(sx::strip("[[x ]"_s, "[]"), "x ");
    // text, delimiters (one character: the form for one), most fields, the fields, where the rest
    // begins
    forEach({"a::b~:~0~a||b|~-1", ":~:~0~||~-1", "~:~0~~-1", "a;b,c~;~1~a|~2", "a;~;~1~a|~-1", "a;~;~0~a||~-1",
             "a;b;~;~2~a|b|~-1", "a;b;c~;~2~a|b|~4", ",;a,;b;~,;~0~a|b|~-1", "a,;b~,;~1~a|~3", ",;~,;~0~~-1",
             "::c~::~0~c|~-1"},
            [](const Strings& c) {
                Strings fields = {"old"};
                const unsigned max = c[2] == "0" ? 0 : c[2] == "1" ? 1 : 2;
                const auto rest =
                    c[1].size() == 1 ? sx::split(c[0], fields, c[1][0], max) : sx::split(c[0], fields, c[1], max);
                std::string text;
                for (const std::string& field : fields)
                    text += ALL(field);
                IS(ALL("old|" + c[3], c[4]), text, static_cast<long>(rest));
            });
    const std::string text = "a::c";
    IS("a||c||", sx::section(text, ':', 0), sx::section(text, ':', 1), sx::section(text, ':', 2),
       sx::section(text, ':', 3));
    IS(":c|a::c|||", sx::sections(text, ':', 1, 2), sx::sections(text, ':', 0, 9), sx::sections(text, ':', 2, 1),
       sx::sections(text, ':', 3, 4));
    Strings fields;
    EXPECT_TRUE(sx::split(" a \t b", fields) == std::string::npos && fields == (Strings{"a", "b"}));
}

template <class T, class... Base> std::string parsed(const std::string& text, Base... base)
{
    T value = 0, other = 1;
    const bool isNumber = sx::fromString(text, value, base...);
    EXPECT_EQ(sx::fromString(text, other, base...), isNumber);
    return isNumber && value == other ? ALL(value) : value == 0 && other == 1 ? "no" : "half";
}

TEST(Sx, ReadsWholeNumbersAloneAndWritesThem)
{
    for (const std::string& text : {""_s, "+1"_s, " 1"_s, "1 "_s, "0x1"_s, "1\0"_s, "--1"_s, "2147483648"_s})
        EXPECT_EQ(parsed<int>(text), "no") << text;
    EXPECT_EQ(parsed<int>("-2147483648") + parsed<long>("-007") + parsed<int>("fF", 16) + parsed<int>("8", 8),
              "-2147483648|-7|255|no");
    EXPECT_EQ(parsed<unsigned>("4294967295") + parsed<unsigned>("-1") + parsed<unsigned short>("65536"),
              "4294967295|nono");
    EXPECT_EQ(parsed<double>("-1.5e2") + parsed<float>("0.25") + parsed<double>("1.5x") + parsed<double>(" 1") +
                  parsed<float>("1e99"),
              "-150|0.25|nonono");
    EXPECT_EQ(parsed<bool>("1") + parsed<bool>("0") + parsed<bool>("true") + parsed<bool>("false") + parsed<bool>("2"),
              "1|0|1|0|no");
    IS("-7|18446744073709551615|2.3|", sx::toString(-7), sx::toString(~0ULL), sx::toString(2.345, 1));
    EXPECT_EQ(sx::sprintf("%s-%i", std::string(5000, 'x').c_str(), 3), std::string(5000, 'x') + "-3");
    IS("abz\xc4|ABZ1\xe4|", sx::lower("AbZ\xc4"), sx::upper("aBz1\xe4"));
    IS("1|0|0|0|", sx::isUInt("0129"), sx::isUInt(""), sx::isUInt("-1"), sx::isUInt("1a"));
    IS("1|0|0|", sx::isPrintable(" ~a"), sx::isPrintable("\x7f"), sx::isPrintable("a\n"));
}
