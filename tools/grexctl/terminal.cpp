// SPDX-License-Identifier: Apache-2.0
#include "tools/grexctl/terminal.h"

#include "tools/grexctl/answer.h"
#include "tools/grexctl/console.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace grexctl {

namespace {

// For the signal handler: the terminal as it was.
struct termios shownTerminal;

extern "C" void restoreAndEnd(int signum)
{
    tcsetattr(STDIN_FILENO, TCSANOW, &shownTerminal);
    std::signal(signum, SIG_DFL);
    std::raise(signum); // delivered when this handler returns
}

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGQUIT, SIGHUP};

// The terminal shows nothing that is typed while this lives, and is as it was afterwards, also when
// a signal ends the process.
class HiddenInput {
public:
    HiddenInput()
    {
        tcgetattr(STDIN_FILENO, &shownTerminal);
        struct sigaction action = {};
        action.sa_handler = restoreAndEnd;
        for (std::size_t i = 0; i < std::size(endingSignals); ++i)
            sigaction(endingSignals[i], &action, &before_[i]);
        action.sa_handler = SIG_IGN; // a shell would get the terminal back without its echo
        sigaction(SIGTSTP, &action, &beforeStop_);
        struct termios hidden = shownTerminal;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenInput()
    {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &shownTerminal);
        for (std::size_t i = 0; i < std::size(endingSignals); ++i)
            sigaction(endingSignals[i], &before_[i], nullptr);
        sigaction(SIGTSTP, &beforeStop_, nullptr);
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

private:
    struct sigaction before_[std::size(endingSignals)] = {};
    struct sigaction beforeStop_ = {};
};

// Byte by byte: a buffer of stdio would keep the password. False at the end of the input.
bool readLine(Secret& line)
{
    bool isAnything = false;
    for (;;) {
        char c = 0;
        const ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        isAnything = true;
        if (c == '\n')
            break;
        line.append(c);
    }
    if (!line.text().empty() && line.text().back() == '\r')
        line.removeLast();
    return isAnything;
}

bool readHiddenLine(const std::string& prompt, Secret& line)
{
    const HiddenInput hidden;
    std::fprintf(stderr, "%s: ", prompt.c_str());
    const bool isRead = readLine(line);
    std::fputc('\n', stderr);
    return isRead;
}

bool isAsked()
{
    return isatty(STDIN_FILENO) == 1;
}

} // namespace

void wipe(std::string& text)
{
    explicit_bzero(text.data(), text.size());
}

Secret::Secret()
{
    constexpr std::size_t usual = 256;
    text_.reserve(usual);
}

Secret::~Secret()
{
    wipe(text_);
}

void Secret::append(char c)
{
    if (text_.size() == text_.capacity()) {
        std::string larger;
        larger.reserve(2 * text_.capacity());
        larger = text_;
        wipe(text_);
        text_.swap(larger);
    }
    text_ += c;
}

void readPassword(const std::string& prompt, Secret& password)
{
    const bool isRead = isAsked() ? readHiddenLine(prompt, password) : readLine(password);
    if (!isRead)
        throw UsageError("no password: give it as one line of standard input");
}

void readNewPassword(const std::string& login, Secret& password)
{
    readPassword("New password of " + inQuotes(login), password);
    if (!isAsked())
        return;
    Secret again;
    readPassword("Once more", again);
    if (again.text() != password.text())
        throw Refused("the two passwords differ; nothing was changed");
}

Progress::Progress(std::string what, std::size_t total)
    : what_(std::move(what)), total_(total), isShown_(total > 0 && isatty(STDERR_FILENO) == 1)
{
    draw();
}

Progress::~Progress()
{
    if (isShown_)
        std::fputs("\r\033[K", stderr);
}

void Progress::advance()
{
    ++done_;
    draw();
}

void Progress::draw() const
{
    if (!isShown_)
        return;
    constexpr std::size_t width = 40;
    const std::size_t filled = width * done_ / total_;
    std::fprintf(stderr, "\r%s [%s%s] %zu/%zu", what_.c_str(), std::string(filled, '#').c_str(),
                 std::string(width - filled, ' ').c_str(), done_, total_);
    std::fflush(stderr);
}

} // namespace grexctl
