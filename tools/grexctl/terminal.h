// SPDX-License-Identifier: Apache-2.0
#ifndef GREXCTL_TERMINAL_H
#define GREXCTL_TERMINAL_H

#include <cstddef>
#include <string>

namespace grexctl {

/// A text that is wiped when the scope ends, and whenever it moves to a larger buffer.
class Secret {
public:
    Secret();
    ~Secret();
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    void append(char c);
    void removeLast() { text_.pop_back(); }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// Overwrites the text with zeros; its length stays.
void wipe(std::string& text);

/// One line of standard input without its line end, unechoed and after a prompt on a terminal.
/// Throws UsageError when there is none.
void readPassword(const std::string& prompt, Secret& password);
/// The same for a password that is to be set: asked for twice on a terminal. Throws Refused when
/// the two differ.
void readNewPassword(const std::string& login, Secret& password);

/// A bar on standard error when that is a terminal, removed in the end.
class Progress {
public:
    Progress(std::string what, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    /// One more is done.
    void advance();

private:
    void draw() const;

    std::string what_;
    std::size_t total_;
    std::size_t done_ = 0;
    bool isShown_;
};

} // namespace grexctl

#endif
