// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_SECRET_H
#define GREX_COMMON_STL_SECRET_H

#include <cstring>
#include <string>

namespace sx {

/// Overwrites a text that held a password with zeros when the scope ends, also by an exception.
class Wiper {
public:
    explicit Wiper(std::string& secret) : secret_(secret) {}
    ~Wiper() { explicit_bzero(secret_.data(), secret_.size()); }
    Wiper(const Wiper&) = delete;
    Wiper& operator=(const Wiper&) = delete;

private:
    std::string& secret_;
};

} // namespace sx

#endif
