// SPDX-License-Identifier: Apache-2.0
#include "user_store.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <set>
#include <stdexcept>
#include <system_error>

#include <nlohmann/json.hpp>

namespace customerdb {

namespace {

using Json = nlohmann::json;

const std::set<std::string> knownKeys = {"login", "password", "group", "name", "id", "tag"};

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.is_open() || in.bad())
        throw std::runtime_error(std::strerror(errno));
    return text;
}

// The parser's own message is not passed on: it quotes what it read last, perhaps a password.
Json parseJson(const std::string& text)
{
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& e) {
        const auto read = static_cast<std::ptrdiff_t>(std::min(e.byte, text.size()));
        const auto line = 1 + std::count(text.begin(), text.begin() + read, '\n');
        throw std::runtime_error("line " + std::to_string(line) + ": not valid JSON");
    }
}

// JSON texts are UTF-8; XML 1.0 excludes control characters, U+FFFE and U+FFFF.
bool fitsXml(const std::string& text)
{
    const auto isControl = [](char c) { return (c >= 0 && c < ' ') || c == '\x7f'; };
    return std::none_of(text.begin(), text.end(), isControl) &&
           text.find("\xef\xbf\xbe") == std::string::npos &&
           text.find("\xef\xbf\xbf") == std::string::npos;
}

std::string textOf(const Json& object, const char* key)
{
    const auto found = object.find(key);
    if (found == object.end())
        throw std::runtime_error(std::string("\"") + key + "\" is missing");
    if (!found->is_string() || found->get_ref<const std::string&>().empty())
        throw std::runtime_error(std::string("\"") + key + "\" is not a non-empty text");
    if (!fitsXml(found->get_ref<const std::string&>()))
        throw std::runtime_error(std::string("\"") + key + "\" holds a control character");
    return found->get<std::string>();
}

std::uint32_t numberOf(const Json& object, const char* key, std::uint32_t max)
{
    const auto found = object.find(key);
    if (found == object.end())
        throw std::runtime_error(std::string("\"") + key + "\" is missing");
    const std::uint64_t number = found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
    if (number < 1 || number > max) {
        throw std::runtime_error(std::string("\"") + key + "\" is not a whole number from 1 to " +
                                 std::to_string(max));
    }
    return static_cast<std::uint32_t>(number);
}

User userOf(const Json& object)
{
    if (!object.is_object())
        throw std::runtime_error("not an object");
    for (const auto& item : object.items()) {
        if (knownKeys.count(item.key()) == 0)
            throw std::runtime_error("unknown key " + Json(item.key()).dump(-1, ' ', true));
    }
    User user;
    user.login = textOf(object, "login");
    user.password = textOf(object, "password");
    user.name = textOf(object, "name");
    user.group = numberOf(object, "group", 4);
    user.id = numberOf(object, "id", std::numeric_limits<std::uint32_t>::max());
    // Elements keep the tag as the password of a user whose session they have checked, so that it
    // has to be as hard to guess as one.
    user.tag = object.contains("tag") ? textOf(object, "tag") : randomText();
    return user;
}

// The time depends on the length of `given` alone. `expected` must not be empty.
bool equalTexts(const std::string& given, const std::string& expected)
{
    unsigned difference = given.size() != expected.size();
    for (std::size_t i = 0; i < given.size(); ++i)
        difference |= static_cast<unsigned char>(given[i] ^ expected[i % expected.size()]);
    return difference == 0;
}

std::map<std::string, User> usersOf(const Json& list)
{
    if (!list.is_array())
        throw std::runtime_error("not a list of users");
    std::map<std::string, User> users;
    std::set<std::uint32_t> ids;
    std::size_t position = 0;
    try {
        for (const Json& object : list) {
            ++position;
            User user = userOf(object);
            if (!ids.insert(user.id).second)
                throw std::runtime_error("\"id\" stands twice");
            if (!users.emplace(user.login, user).second)
                throw std::runtime_error("\"login\" stands twice");
        }
    } catch (const std::runtime_error& e) {
        throw std::runtime_error("user " + std::to_string(position) + ": " + e.what());
    }
    return users;
}

} // namespace

std::string randomText()
{
    std::array<unsigned char, 16> bytes;
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::system_error(errno, std::generic_category(), "getrandom");
    std::string text;
    for (const unsigned char byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

UserStore::UserStore(const std::string& path)
{
    try {
        users_ = usersOf(parseJson(readFile(path)));
    } catch (const std::runtime_error& e) {
        throw std::runtime_error(path + ": " + e.what());
    }
    nobody_.password = randomText();
}

const User* UserStore::authenticate(const std::string& login, const std::string& password) const
{
    const auto found = users_.find(login);
    const User& user = found == users_.end() ? nobody_ : found->second;
    const bool equal = equalTexts(password, user.password);
    return equal && &user != &nobody_ ? &user : nullptr;
}

std::string SessionStore::open(const User& user)
{
    std::string id = randomText();
    const std::lock_guard<std::mutex> lock(mutex_);
    users_.emplace(id, &user);
    order_.push_back(id);
    if (order_.size() > limit_) {
        users_.erase(order_.front());
        order_.pop_front();
    }
    return id;
}

const User* SessionStore::find(const std::string& id) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = users_.find(id);
    return found == users_.end() ? nullptr : found->second;
}

} // namespace customerdb
