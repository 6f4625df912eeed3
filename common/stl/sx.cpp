// SPDX-License-Identifier: Apache-2.0
#include "common/stl/sx.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

namespace sx {

const std::string defaultDelimeter = " \t\n\r\v\b";

namespace {

constexpr std::string::size_type npos = std::string::npos;

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

char toLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char toUpper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// What a text with the position `rest` as its next character answers: a position behind the end is
// "used up".
std::string::size_type restOf(const std::string& text, std::string::size_type rest)
{
    return rest < text.size() ? rest : npos;
}

template <class Real> bool realFromString(const std::string& text, Real& value)
{
    Real parsed{};
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, parsed);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

} // namespace

std::string& strip(std::string& text, const std::string& set)
{
    return lstrip(rstrip(text, set), set);
}

std::string& lstrip(std::string& text, const std::string& set)
{
    return text.erase(0, text.find_first_not_of(set));
}

std::string& rstrip(std::string& text, const std::string& set)
{
    text.resize(text.find_last_not_of(set) + 1); // npos + 1 is 0: nothing is left
    return text;
}

std::string strip(const std::string& text, const std::string& set)
{
    std::string copy = text;
    return strip(copy, set);
}

std::string lstrip(const std::string& text, const std::string& set)
{
    std::string copy = text;
    return lstrip(copy, set);
}

std::string rstrip(const std::string& text, const std::string& set)
{
    std::string copy = text;
    return rstrip(copy, set);
}

std::string::size_type split(const std::string& text, std::vector<std::string>& fields,
                             char delimiter, unsigned max)
{
    if (text.empty())
        return npos;
    std::string::size_type start = 0;
    for (unsigned taken = 0; max == 0 || taken < max; ++taken) {
        const std::string::size_type end = text.find(delimiter, start);
        fields.push_back(text.substr(start, end - start));
        if (end == npos)
            return npos;
        start = end + 1;
    }
    return restOf(text, start);
}

std::string::size_type split(const std::string& text, std::vector<std::string>& fields,
                             const std::string& delimiters, unsigned max)
{
    std::string::size_type start = text.find_first_not_of(delimiters);
    for (unsigned taken = 0; start != npos && (max == 0 || taken < max); ++taken) {
        const std::string::size_type end = text.find_first_of(delimiters, start);
        fields.push_back(text.substr(start, end - start));
        start = end == npos ? npos : text.find_first_not_of(delimiters, end);
    }
    return start;
}

std::string section(const std::string& text, char delimiter, unsigned n)
{
    return sections(text, delimiter, n, n);
}

std::string sections(const std::string& text, char delimiter, unsigned first, unsigned last)
{
    std::string::size_type start = 0;
    for (unsigned skipped = 0; skipped < first; ++skipped) {
        start = text.find(delimiter, start);
        if (start == npos)
            return {};
        ++start;
    }
    if (last < first)
        return {};
    std::string::size_type end = text.find(delimiter, start);
    for (unsigned more = first; more < last && end != npos; ++more)
        end = text.find(delimiter, end + 1);
    return text.substr(start, end == npos ? npos : end - start);
}

bool fromString(const std::string& text, double& value)
{
    return realFromString(text, value);
}

bool fromString(const std::string& text, float& value)
{
    return realFromString(text, value);
}

bool fromString(const std::string& text, bool& value)
{
    const bool yes = text == "1" || text == "true";
    if (!yes && text != "0" && text != "false")
        return false;
    value = yes;
    return true;
}

std::string toString(double value, int precision)
{
    return sprintf("%.*f", precision, value);
}

std::string sprintf(const char* format, ...)
{
    std::va_list args;
    va_start(args, format);
    std::va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text;
    try {
        text.resize(length > 0 ? static_cast<std::string::size_type>(length) : 0);
    } catch (...) {
        va_end(again);
        throw;
    }
    // The byte behind the last character is the string's own NUL, which vsnprintf writes once more.
    if (!text.empty())
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

std::string lower(const std::string& text)
{
    std::string copy = text;
    std::transform(copy.begin(), copy.end(), copy.begin(), toLower);
    return copy;
}

std::string upper(const std::string& text)
{
    std::string copy = text;
    std::transform(copy.begin(), copy.end(), copy.begin(), toUpper);
    return copy;
}

bool isUInt(const std::string& text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

bool isPrintable(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

} // namespace sx
