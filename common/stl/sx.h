// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_SX_H
#define GREX_COMMON_STL_SX_H

#include "common/stl/export.h"

#include <charconv>
#include <string>
#include <type_traits>
#include <vector>

/// Helpers for byte strings. A NUL is a byte like any other. Nothing here depends on the locale.
/// Functions that return or fill a string throw std::bad_alloc when memory is out, and nothing
/// else.
namespace sx {

/// Blank, tab, line feed, carriage return, vertical tab and backspace.
GREX_API extern const std::string defaultDelimeter;

/// Remove the characters of `set` from both ends, the start or the end. The in-place forms return
/// `text`.
GREX_API std::string& strip(std::string& text, const std::string& set = defaultDelimeter);
GREX_API std::string& lstrip(std::string& text, const std::string& set = defaultDelimeter);
GREX_API std::string& rstrip(std::string& text, const std::string& set = defaultDelimeter);
GREX_API std::string strip(const std::string& text, const std::string& set = defaultDelimeter);
GREX_API std::string lstrip(const std::string& text, const std::string& set = defaultDelimeter);
GREX_API std::string rstrip(const std::string& text, const std::string& set = defaultDelimeter);

/// Appends the fields of `text` to `fields`; at most `max` of them, 0 for all. Every `delimiter`
/// separates, so that empty fields are kept; an empty text has no field. Returns the position of
/// the first character that was not taken (the delimiter that ends the last field is taken with
/// it), npos when the text was used up.
GREX_API std::string::size_type split(const std::string& text, std::vector<std::string>& fields,
                                      char delimiter, unsigned max = 0);
/// The same with a set of delimiters: their runs count as one and leading ones are skipped, so no
/// field is empty.
GREX_API std::string::size_type split(const std::string& text, std::vector<std::string>& fields,
                                      const std::string& delimiters = defaultDelimeter,
                                      unsigned max = 0);

/// Field `n`, counted from 0, of `text` split at `delimiter`; empty when there is no such field.
GREX_API std::string section(const std::string& text, char delimiter, unsigned n);
/// Fields `first` to `last` (included), joined with the delimiter; missing fields are left out.
GREX_API std::string sections(const std::string& text, char delimiter, unsigned first,
                              unsigned last);

/// Converts the whole of `text`: digits of `base` (2 to 36), one "-" before them for signed types.
/// False, and `value` as it was, when the text is anything else ("+1", " 1", "0x1", "") or out of
/// the type's range.
template <class T> bool fromString(const std::string& text, T& value, int base = 10)
{
    static_assert(std::is_integral<T>::value,
                  "integers here; double, float and bool have forms of their own");
    if (base < 2 || base > 36)
        return false;
    T parsed{};
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, parsed, base);
    if (result.ec != std::errc() || result.ptr != end)
        return false;
    value = parsed;
    return true;
}
/// Decimal, with a point and an exponent as C++ writes them; never infinite, never "nan".
GREX_API bool fromString(const std::string& text, double& value);
GREX_API bool fromString(const std::string& text, float& value);
/// "1", "0", "true" or "false".
GREX_API bool fromString(const std::string& text, bool& value);

/// Decimal text of an integer.
template <class T, class = std::enable_if_t<std::is_integral<T>::value>>
std::string toString(T value)
{
    return std::to_string(+value);
}
/// "%.<precision>f".
GREX_API std::string toString(double value, int precision);

/// printf(3) into a string of any length; empty when the format is refused.
GREX_API std::string sprintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// ASCII letters only.
GREX_API std::string lower(const std::string& text);
GREX_API std::string upper(const std::string& text);

/// At least one character, all of them decimal digits.
GREX_API bool isUInt(const std::string& text);
/// All characters are printable ASCII (blank to tilde).
GREX_API bool isPrintable(const std::string& text);

} // namespace sx

#endif
