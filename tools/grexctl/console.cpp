// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/console.h"

#include "common/stl/sx.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace grexctl {

namespace {

bool hasColours = false;

std::string styled(const char* code, const std::string& text)
{
    return hasColours ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

// The bytes of the character at `at` that the locale can show, and its columns; no bytes for any
// other.
std::pair<std::size_t, int> visibleAt(const std::string& text, std::size_t at)
{
    wchar_t wide = 0;
    std::mbstate_t state = {};
    const std::size_t bytes = std::mbrtowc(&wide, text.data() + at, text.size() - at, &state);
    const bool isCharacter = bytes != 0 && bytes <= text.size() - at;
    if (!isCharacter || std::iswprint(static_cast<std::wint_t>(wide)) == 0)
        return {0, 0};
    return {bytes, std::max(wcwidth(wide), 0)};
}

std::size_t columns(const std::string& text)
{
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size();) {
        const auto [bytes, width] = visibleAt(text, at);
        at += std::max<std::size_t>(bytes, 1);
        count += static_cast<std::size_t>(width);
    }
    return count;
}

// Breaks at blanks; a word that is too long stands alone.
std::vector<std::string> wrapped(const std::string& text, std::size_t width)
{
    std::vector<std::string> words;
    sx::split(text, words, ' ');
    std::vector<std::string> lines(1);
    for (const std::string& word : words) {
        std::string& line = lines.back();
        if (line.empty())
            line = word;
        else if (columns(line) + 1 + columns(word) <= width)
            line += ' ' + word;
        else
            lines.push_back(word);
    }
    return lines;
}

std::string padded(const std::string& text, std::size_t width)
{
    const std::size_t used = columns(text);
    return text + std::string(used < width ? width - used : 0, ' ');
}

} // namespace

std::string printable(const std::string& text)
{
    std::string shown;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t bytes = visibleAt(text, at).first;
        if (text[at] == '\\')
            shown += "\\\\";
        else if (bytes != 0)
            shown += text.substr(at, bytes);
        else
            shown +=
                sx::sprintf("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(text[at])));
        at += std::max<std::size_t>(bytes, 1);
    }
    return shown;
}

std::string inQuotes(const std::string& text)
{
    return "'" + printable(text) + "'";
}

std::string bold(const std::string& text)
{
    return styled("1", text);
}

std::string green(const std::string& text)
{
    return styled("32", text);
}

std::string red(const std::string& text)
{
    return styled("31", text);
}

std::string toText(const Json& json)
{
    if (!json.is_structured())
        return json.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string text;
    for (const auto& [key, value] : json.items()) {
        if (!text.empty())
            text += ", ";
        if (json.is_object())
            text += toText(Json(key)) + ": ";
        text += toText(value);
    }
    return json.is_object() ? "{" + text + "}" : "[" + text + "]";
}

Table::Table(std::vector<std::string> head)
{
    add(std::move(head));
}

void Table::add(std::vector<std::string> row)
{
    rows_.push_back(std::move(row));
}

std::string Table::text() const
{
    constexpr std::size_t gap = 2;
    const std::size_t last = rows_.front().size() - 1;
    std::vector<std::size_t> widths(last, 0);
    std::size_t indent = 0;
    for (std::size_t i = 0; i < last; ++i) {
        for (const auto& row : rows_)
            widths[i] = std::max(widths[i], columns(row[i]));
        indent += widths[i] + gap;
    }
    constexpr std::size_t narrowest = 20;
    const std::size_t room = std::max(screenWidth, indent + narrowest) - indent;
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t i = 0; i < last; ++i)
            line += padded(row[i], widths[i] + gap);
        const std::vector<std::string> pieces = wrapped(row[last], room);
        for (std::size_t i = 0; i < pieces.size(); ++i)
            line += (i == 0 ? "" : '\n' + std::string(indent, ' ')) + pieces[i];
        sx::rstrip(line);
        text += (&row == &rows_.front() ? bold(line) : line) + '\n';
    }
    return text;
}

Output::Output()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(fd, F_GETFD) == -1)
            static_cast<void>(open("/dev/null", O_RDONLY)); // gets the lowest number, which is fd
    fd_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

Output::~Output()
{
    if (fd_ >= 0)
        close(fd_);
}

bool Output::isTerminal() const
{
    return isatty(fd_) == 1;
}

bool Output::write(const std::string& text) const
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(fd_, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        done += static_cast<std::size_t>(written);
    }
    return true;
}

void allowColours(bool isTerminal)
{
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = !terminal || std::string(terminal) == "dumb";
    hasColours = isTerminal && !isDumb && !(noColour && *noColour);
}

void report(const std::string& message)
{
    std::fprintf(stderr, "grexctl: %s\n", message.c_str());
}

} // namespace grexctl
