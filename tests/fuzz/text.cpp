// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"
#include "common/stl/utils.h"
#include "tests/fuzz/fuzz.h"

namespace {

void trySplit(const std::string& text, char delimiter)
{
    std::vector<std::string> fields;
    HOLDS(sx::split(text, fields, delimiter) == std::string::npos);
    std::string joined;
    for (unsigned i = 0; i < fields.size(); ++i) {
        HOLDS(sx::section(text, delimiter, i) == fields[i]);
        joined += fields[i] + delimiter;
    }
    HOLDS(joined == text || joined == text + delimiter);
    HOLDS(sx::sections(text, delimiter, 0, ~0U) + delimiter == joined || fields.empty());
    std::vector<std::string> first;
    const std::string::size_type rest = sx::split(text, first, delimiter, 1);
    HOLDS(first.empty() || first[0] + (rest == std::string::npos ? "" : delimiter + text.substr(rest)) == text ||
          first[0] + delimiter == text);
}

template <class T> void tryNumber(const std::string& text)
{
    T value = 42;
    if (sx::fromString(text, value)) {
        T again = 0;
        HOLDS(sx::fromString(sx::toString(value), again) && again == value);
        HOLDS(sx::lstrip(text, "-0") == sx::lstrip(sx::toString(value), "-0"));
    } else {
        HOLDS(value == 42);
    }
}

void tryVersion(const std::string& text)
{
    utils::ProfileVersion version{7, 8, 9};
    const bool isRead = utils::parseVersion(text, version);
    HOLDS(isRead == (version.major != 0) && (isRead || (version.minor == 0 && version.build == 0)));
}

} // namespace

// A set of characters, then a text.
INPUT(text)
{
    const std::string set = takeLine(text);
    trySplit(text, set.empty() ? ':' : set[0]);
    std::vector<std::string> fields;
    sx::split(text, fields, set);
    for (const std::string& field : fields)
        HOLDS(!field.empty() && field.find_first_of(set) == std::string::npos);
    const std::string bare = sx::strip(text, set);
    HOLDS(sx::lstrip(sx::rstrip(text, set), set) == bare && sx::strip(bare, set) == bare);
    HOLDS(sx::lower(sx::upper(text)) == sx::lower(text) && sx::sprintf("%s", text.c_str()) == text.c_str());
    tryNumber<unsigned>(text);
    tryNumber<int>(text);
    tryNumber<std::uint16_t>(text);
    unsigned long long number = 0;
    HOLDS(!sx::fromString(text, number) || sx::isUInt(text));
    tryVersion(text);
}
