// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_DESCRIPTOR_H
#define GREX_COMMON_STL_DESCRIPTOR_H

#include <unistd.h>
#include <utility>

namespace sx {

/// Owns a file descriptor; -1 owns nothing.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~Descriptor()
    {
        if (fd_ >= 0)
            close(fd_);
    }

    bool isOpen() const { return fd_ >= 0; }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_ = -1;
};

} // namespace sx

#endif
