// SPDX-License-Identifier: Apache-2.0
#ifndef PAM_SCOPES_H
#define PAM_SCOPES_H

#include "grex/context.h"

#include <cstdint>
#include <string>

/// A copy of a password, overwritten with zeros when the scope ends.
class Secret {
public:
    explicit Secret(const char* text);
    ~Secret();
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    const std::string& text() const { return text_; }

private:
    std::string text_;
};

/// Gives the process's context another name for the scope, and then the old one back, whether or
/// not the module-access file lists it still.
class ContextScope {
public:
    explicit ContextScope(const std::string& module);
    ~ContextScope();
    ContextScope(const ContextScope&) = delete;
    ContextScope& operator=(const ContextScope&) = delete;

    /// False: the module-access file lists no such module, the name is the old one.
    bool isSet() const { return isSet_; }

private:
    std::string hostName_;
    bool isSet_;
};

/// Lets random(3), of which the library makes salts, run on a state of our own for the scope. The
/// host's sequence goes on behind it as if nobody had asked. std::system_error when the system has
/// no randomness.
class SaltScope {
public:
    SaltScope();
    ~SaltScope();
    SaltScope(const SaltScope&) = delete;
    SaltScope& operator=(const SaltScope&) = delete;

private:
    alignas(std::int64_t) char state_[256];
    char* hostState_;
};

#endif
