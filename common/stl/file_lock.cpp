// SPDX-License-Identifier: Apache-2.0
#include "common/stl/file_lock.h"

#include "common/stl/utils.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

namespace sx {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds pollInterval(10);

// Errors of a folder in which no lock file can be made.
bool isFolderUnusable(int errnum)
{
    switch (errnum) {
    case EROFS:
    case ENOSPC:
    case EDQUOT:
    case EACCES:
    case EPERM:
    case ENOENT:
    case ENOTDIR:
        return true;
    default:
        return false;
    }
}

} // namespace

FileLock::FileLock(const std::string& path) : name_(path + ".lock")
{
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(patience);
    while (attempt() == Attempt::Wait && Clock::now() < deadline)
        std::this_thread::sleep_for(pollInterval);
}

FileLock::~FileLock()
{
    // Removed while it is still locked: removed afterwards, it could be the next holder's.
    if (state_ == State::Held)
        unlink(name_.c_str());
}

FileLock::Attempt FileLock::attempt()
{
    // Memory may be out for it, so it comes before there is a lock file.
    const std::string folder = utils::folderOf(name_);
    Descriptor made = create(folder);
    if (made.isOpen())
        return lock(std::move(made));
    if (isFolderUnusable(errno))
        return failed(State::Unavailable);
    if (errno != EEXIST)
        return failed(State::Failed);

    Descriptor found(open(name_.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (found.isOpen())
        return lock(std::move(found));
    if (errno == ENOENT)
        return blocked(EWOULDBLOCK); // it was let go meanwhile
    return errno == EACCES || errno == EPERM ? blocked(errno) : failed(State::Failed);
}

FileLock::Attempt FileLock::lock(Descriptor file)
{
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0)
        return errno == EWOULDBLOCK || errno == EINTR ? blocked(errno) : failed(State::Failed);
    struct stat locked = {};
    struct stat named = {};
    if (fstat(file.get(), &locked) != 0 || lstat(name_.c_str(), &named) != 0)
        return blocked(errno == ENOENT ? EWOULDBLOCK : errno);
    // Who locked a file that its holder removed meanwhile shares it with nobody: a later process
    // makes a new one.
    if (locked.st_dev != named.st_dev || locked.st_ino != named.st_ino)
        return blocked(EWOULDBLOCK);
    file_ = std::move(file);
    state_ = State::Held;
    return Attempt::Done;
}

FileLock::Attempt FileLock::failed(State state)
{
    error_ = errno;
    state_ = state;
    return Attempt::Done;
}

// By somebody else; the reason is told if it lasts.
FileLock::Attempt FileLock::blocked(int reason)
{
    error_ = reason;
    return Attempt::Wait;
}

// The lock file gets the owner of its folder: one left behind by a killed root process locks no
// other account out.
Descriptor FileLock::create(const std::string& folder) const
{
    Descriptor made(open(name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    struct stat status = {};
    if (made.isOpen() && stat(folder.c_str(), &status) == 0)
        static_cast<void>(!fchown(made.get(), status.st_uid, status.st_gid));
    return made;
}

} // namespace sx
