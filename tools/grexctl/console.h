// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_CONSOLE_H
#define GREXCTL_CONSOLE_H

#include "tools/grexctl/answer.h"

#include <cstddef>
#include <string>
#include <vector>

namespace grexctl {

constexpr std::size_t screenWidth = 80;

/// The text as a terminal may get it: control characters, and bytes that the locale cannot show, as
/// "\xNN", a backslash doubled.
std::string printable(const std::string& text);
/// printable(), in quotes.
std::string inQuotes(const std::string& text);

std::string bold(const std::string& text);
std::string green(const std::string& text);
std::string red(const std::string& text);

/// One line, "{"key": value}", with whatever is no UTF-8 replaced.
std::string toText(const Json& json);

/// Columns of equal width below a head. The last column is wrapped so that lines fit the screen.
class Table {
public:
    explicit Table(std::vector<std::string> head);
    /// Cells must be printable() already.
    void add(std::vector<std::string> row);
    std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_; // the first one is the head
};

/// Standard output, kept for the tool alone: whatever else the process or its children print goes
/// to standard error, so that one JSON value stays one.
class Output {
public:
    /// Opens the standard descriptors that are closed, so that no file gets their numbers.
    Output();
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    bool isTerminal() const;
    /// False when not all was written; the reason is in errno.
    bool write(const std::string& text) const;

private:
    int fd_;
};

/// Colours from now on, unless NO_COLOR is set or the terminal is a dumb one.
void allowColours(bool isTerminal);

/// One line for standard error, behind the tool's name.
void report(const std::string& message);

} // namespace grexctl

#endif
