// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_NO_THROW_H
#define GREX_COMMON_STL_NO_THROW_H

#include <utility>

namespace sx {

/// Runs `action` and answers `onFailure` if it throws: the callers of the library get no exception.
/// What can be thrown here is std::bad_alloc; `onFailure` is therefore always the answer that
/// admits nobody.
template <class Result, class Action> Result noThrow(Result onFailure, Action&& action) noexcept
{
    try {
        return std::forward<Action>(action)();
    } catch (...) {
        return onFailure;
    }
}

} // namespace sx

#endif
