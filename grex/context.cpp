// SPDX-License-Identifier: Apache-2.0
#include "grex/context.h"

#include "common/stl/no_throw.h"
#include "grex/module_access.h"

#include <cstdlib>

namespace grex {

Context* Context::instance_ = nullptr;

Context* Context::create()
{
    static const int registered = std::atexit(release);
    static_cast<void>(registered);
    if (!instance_)
        instance_ = new Context;
    instance_->name.clear();
    return instance_;
}

Context& Context::get()
{
    return instance_ ? *instance_ : *create();
}

void Context::release()
{
    delete instance_;
    instance_ = nullptr;
}

Context::~Context() = default;

bool Context::setContext(const std::string& module) const
{
    return sx::noThrow(false, [&] {
        if (!module.empty() && !ModuleAccess().exists(module))
            return false;
        name = module;
        return true;
    });
}

const std::string& Context::contextName() const
{
    return name;
}

} // namespace grex
