// SPDX-License-Identifier: Apache-2.0
#include "grex/group_list.h"

#include "common/stl/no_throw.h"
#include "grex/constants.h"
#include "grex/context.h"
#include "grex/grex_db.h"

#include <vector>

namespace {

// NUL-terminated.
std::vector<char> joined(const std::deque<std::string>& lines)
{
    std::vector<char> text;
    for (const std::string& line : lines) {
        if (!text.empty())
            text.push_back('\n');
        text.insert(text.end(), line.begin(), line.end());
    }
    text.push_back('\0');
    return text;
}

} // namespace

bool getGroupList(const char** list)
{
    static std::vector<char> buffer; // what the last caller looks at
    if (!list)
        return false;
    return sx::noThrow(false, [=] {
        grex::Context::get().setContext("http");
        std::deque<std::string> lines;
        if (!grex::__private__::GrexDB().getGroupList(grex::superUserGid, lines))
            return false;
        buffer = joined(lines);
        *list = buffer.data();
        return true;
    });
}
