// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_CONTEXT_H
#define GREX_CONTEXT_H

#include "common/stl/export.h"

#include <string>

namespace grex {

/// The module on whose behalf the process asks: rights are those on this module. One for the
/// process, made on demand and released at process exit. Not for several threads.
class GREX_API Context {
public:
    /// Makes the instance, with an empty name; on an existing one starts over with an empty name.
    /// Not the caller's, never null: std::bad_alloc when memory is out.
    static Context* create();
    /// The instance, made on demand.
    static Context& get();
    static void release();

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    virtual ~Context();

    /// Takes the name of a module that the module-access file lists, or "" for none. False, with
    /// the name as it was, for any other.
    bool setContext(const std::string& module) const;
    const std::string& contextName() const;

    mutable std::string name; ///< the current module; empty for none

    static Context* instance_;

private:
    Context() = default;
};

} // namespace grex

#endif
