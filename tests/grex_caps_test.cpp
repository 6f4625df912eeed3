// SPDX-License-Identifier: Apache-2.0
#include "grex/grex_caps.h"

#include "tests/support.h"

using GrexCapsTest = ThrowAwayDir;

TEST_F(GrexCapsTest, RaisesTwoSwitchesAndClears)
{
    const std::string raise = "get flag6|7| set ", clear = "get clear set ";
    forEach({"0~0~", "0~7~gid7|7| uid7|7| ", "8~8~" + raise, "8~7~" + raise + "gid7|7| uid7|7| "},
            [&](const Strings& c) {
                outside.uid = static_cast<unsigned>(std::stoul(c[0]));
                const unsigned id = static_cast<unsigned>(std::stoul(c[1]));
                {
                    GrexCaps caps;
                    caps.setProcessUids(id, id);
                    EXPECT_EQ(std::exchange(outside.calls, {}), c[2] + clear);
                    caps.setCaps();
                    EXPECT_EQ(std::exchange(outside.calls, {}), raise);
                }
                EXPECT_EQ(std::exchange(outside.calls, {}), clear); // by the destructor
            });
}

TEST_F(GrexCapsTest, EndsTheProcessAtAFailure)
{
    const auto end = [](const std::string& failing, void (*act)(GrexCaps&)) {
        outside.failing = failing;
        std::atexit([] { std::cerr << logged(); });
        act(*new GrexCaps); // left to the end of the process
    };
    const auto raise = [](GrexCaps& caps) { caps.setCaps(); };
    const auto clear = [](GrexCaps& caps) { caps.clearCaps(); };
    const auto leave = [](GrexCaps& caps) { caps.setProcessUids(7, 7); };
    const std::tuple<const char*, void (*)(GrexCaps&), const char*> rows[] = {
        {"get", raise, "cap_get_proc()"},    {"flag6|7|", raise, "cap_set_flag()"}, {"set", raise, "cap_set_proc()"},
        {"get", clear, "cap_get_proct()"},   {"clear", clear, "cap_clear()"},       {"set", clear, "cap_set_proc()"},
        {"gid7|7|", leave, "SetProcUids()"}, {"uid7|7|", leave, "SetProcUids()"}};
    for (const auto& [failing, act, what] : rows)
        EXPECT_EXIT(end(failing, act), testing::ExitedWithCode(1),
                    testing::Matcher<const std::string&>("3 "_s + what + ": " + strerror(EPERM) + "\n"))
            << failing << what;
}
