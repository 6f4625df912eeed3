// SPDX-License-Identifier: Apache-2.0
#ifndef CUSTOMERDB_USER_STORE_H
#define CUSTOMERDB_USER_STORE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace customerdb {

/// One user; no text is empty, and every text can stand in an XML document.
struct User {
    std::string login;
    std::string password;
    std::string name;
    std::string tag;
    unsigned group = 0;   ///< 1 User, 2 Admin, 3 SuperUser, 4 Monitor
    std::uint32_t id = 0; ///< not 0
};

/// 128 bits of the kernel's random numbers as 32 hexadecimal digits. Throws std::system_error.
std::string randomText();

/// The users of a JSON file. They do not change once they are read.
class UserStore {
public:
    /// Throws std::runtime_error; its text names the file, the place and what is wrong, never a
    /// password.
    explicit UserStore(const std::string& path);

    /// The user with this login and password. Null for an unknown login as for a wrong password,
    /// and as late: the time depends on the length of the password given.
    const User* authenticate(const std::string& login, const std::string& password) const;

private:
    std::map<std::string, User> users_;
    User nobody_; ///< an unknown login is compared with this one's password
};

/// The open sessions, from any thread. A new session above the limit ends the oldest one.
class SessionStore {
public:
    explicit SessionStore(std::size_t limit) : limit_(limit) {}

    /// The identifier of a new session of `user`, who must outlive the store.
    std::string open(const User& user);

    /// The user of the session, null for an unknown one.
    const User* find(const std::string& id) const;

private:
    const std::size_t limit_;
    mutable std::mutex mutex_;
    std::map<std::string, const User*> users_;
    std::deque<std::string> order_; ///< identifiers, the oldest first
};

} // namespace customerdb

#endif
