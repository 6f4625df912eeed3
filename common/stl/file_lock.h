// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_FILE_LOCK_H
#define GREX_COMMON_STL_FILE_LOCK_H

#include "common/stl/descriptor.h"

#include <string>

namespace sx {

/// An exclusive lock between processes that change one file: flock(2) on a lock file beside it, its
/// name and ".lock", of mode 0600, so that no other account can hold it. The lock file is removed
/// before the lock is let go.
class FileLock {
public:
    enum class State {
        Held,
        Unavailable, ///< there is no lock file and none can be made here: nobody else can hold the
                     ///< lock either
        Failed,      ///< somebody else held it for `patience`, or the system refused; the reason is
                     ///< error()
    };

    static constexpr int patience = 15; ///< seconds

    /// Waits for the lock of `path`.
    explicit FileLock(const std::string& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    State state() const { return state_; }
    /// Why it Failed, as an errno value.
    int error() const { return error_; }

private:
    enum class Attempt { Done, Wait };

    Attempt attempt();
    Attempt lock(Descriptor file);
    Attempt failed(State state);
    Attempt blocked(int reason);
    Descriptor create(const std::string& folder) const;

    std::string name_;
    Descriptor file_;
    State state_ = State::Failed;
    int error_ = 0;
};

} // namespace sx

#endif
