// SPDX-License-Identifier: Apache-2.0
#include "pam/scopes.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/random.h>
#include <system_error>

Secret::Secret(const char* text) : text_(text) {}

Secret::~Secret()
{
    explicit_bzero(text_.data(), text_.size());
}

ContextScope::ContextScope(const std::string& module)
    : hostName_(grex::Context::get().contextName()), isSet_(grex::Context::get().setContext(module))
{
}

ContextScope::~ContextScope()
{
    // Not by setContext(), which could refuse. The instance is there since the constructor; a swap
    // throws nothing.
    if (grex::Context::instance_)
        grex::Context::instance_->name.swap(hostName_);
}

SaltScope::SaltScope()
{
    unsigned seed = 0;
    if (getrandom(&seed, sizeof(seed), 0) != sizeof(seed))
        throw std::system_error(errno, std::generic_category(), "getrandom");
    hostState_ = initstate(seed, state_, sizeof(state_));
}

SaltScope::~SaltScope()
{
    setstate(hostState_);
    explicit_bzero(state_, sizeof(state_));
}
