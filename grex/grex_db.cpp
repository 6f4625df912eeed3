// SPDX-License-Identifier: Apache-2.0
#include "grex/grex_db.h"

#include "common/stl/crypt++.h"
#include "common/stl/file_lock.h"
#include "common/stl/no_throw.h"
#include "common/stl/secret.h"
#include "common/stl/sx.h"
#include "common/stl/sys_log.h"
#include "common/stl/translate.h"
#include "common/stl/utils.h"
#include "grex/constants.h"
#include "grex/module_access.h"
#include "grex/settings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace grex::__private__ {

FileCache GrexDB::userfile_;
FileCache GrexDB::modfile_;
FileCache GrexDB::cachefile_;

namespace {

using Lines = std::deque<std::string>;
using Change = GrexDB::Change;
using Op = GrexDB::ChangeOp;

constexpr char prefix[] = "grex::__private__::GrexDB|";
constexpr unsigned listingRight = 1; // the bit of a module's level

std::string signatureOf(const std::string& file)
{
    return file + ".sig";
}

void logLockFailure(const std::string& file, const sx::FileLock& lock)
{
    syslogErr(translate(prefix, "can't lock file: '%s': '%s'"), file.c_str(),
              std::strerror(lock.error()));
}

// A path at which no file stands that a rewrite could lose: nothing at all, or a folder.
bool holdsNoFile(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return errno == ENOENT || errno == ENOTDIR;
    return S_ISDIR(status.st_mode);
}

bool isWhiteSpace(char c)
{
    return sx::defaultDelimeter.find(c) != std::string::npos;
}

// Whether a record with this text as its login is read back as it was written.
bool isStorable(const std::string& login)
{
    if (login.empty())
        return true;
    return login.find_first_of(std::string{colon, '\n', '\0'}) == std::string::npos &&
           login.front() != comment && !isWhiteSpace(login.front()) && !isWhiteSpace(login.back());
}

bool isGroup(const std::string& text)
{
    unsigned gid = 0;
    return sx::fromString(text, gid, 10) && isFixedGroup(gid);
}

bool isHash(const std::string& text)
{
    return sx::isPrintable(text) &&
           text.find_first_of(std::string{colon, ' '}) == std::string::npos;
}

std::string join(const std::string& login, const std::string& group, const std::string& hash)
{
    return login + colon + group + colon + hash;
}

std::string join(const Lines& lines)
{
    std::string text;
    std::string::size_type size = 0;
    for (const std::string& line : lines)
        size += line.size() + 1;
    text.reserve(size);
    for (const std::string& line : lines) {
        if (!text.empty())
            text += '\n';
        text += line;
    }
    return text;
}

// Whether the change is possible for a login that has a record or has none.
bool isAllowed(const Change& change, bool exists)
{
    switch (change.op) {
    case Op::Remove:
        return true;
    case Op::ChangePassword:
        return exists;
    case Op::Add:
    case Op::AddOrUpdate:
        break;
    }
    if (!isStorable(change.login))
        return false;
    if (change.op == Op::Add && exists) {
        syslogErr(translate(prefix, "user already exists"));
        return false;
    }
    return isGroup(change.group);
}

bool keepsHash(const Change& change, bool exists)
{
    const bool givesNone = change.hash.empty() && change.password.empty();
    return change.op == Op::Remove || (change.op == Op::AddOrUpdate && exists && givesNone);
}

// One change on its way into the file. The slow hash is made before the file is locked, on what a
// first look at the file tells, and made up for under the lock in the rare case that the file has
// changed since.
class PendingChange {
public:
    explicit PendingChange(const Change& change) : change_(change), hash_(change.hash) {}

    const Change& change() const { return change_; }

    bool prepare(bool exists)
    {
        if (!isAllowed(change_, exists) || !isHash(hash_))
            return false;
        if (hash_.empty() && !keepsHash(change_, exists))
            crpt::makeHash(change_.password, hash_);
        return !hash_.empty() || keepsHash(change_, exists);
    }

    // Edits the lines; false when there was nothing to edit.
    bool apply(Lines& lines, const Lines::iterator& record) const
    {
        const bool exists = record != lines.end();
        if (change_.op == Op::Remove) {
            if (exists)
                lines.erase(record);
            return exists;
        }
        if (!exists) {
            lines.push_back(join(change_.login, change_.group, hash_));
            return true;
        }
        const bool keepsGroup = change_.op == Op::ChangePassword;
        const std::string group = keepsGroup ? sx::section(*record, colon, 1) : change_.group;
        const std::string hash =
            keepsHash(change_, exists) ? sx::section(*record, colon, 2) : hash_;
        *record = join(change_.login, group, hash);
        return true;
    }

private:
    const Change& change_;
    std::string hash_;
};

using PendingChanges = std::vector<PendingChange>;

using Logins = std::set<std::string, std::less<>>;

Logins loginsOf(const std::vector<Change>& changes)
{
    Logins logins;
    for (const Change& change : changes)
        logins.insert(change.login);
    return logins;
}

bool prepareAll(PendingChanges& changes, const FileCache& file)
{
    return std::all_of(changes.begin(), changes.end(), [&](PendingChange& pending) {
        const Change& change = pending.change();
        // A removal is prepared alike whether there is a record or none, and saves the look.
        return pending.prepare(change.op != Op::Remove &&
                               file.findRecord(change.login) != file.lines.end());
    });
}

bool applyAll(const PendingChanges& changes, FileCache& file)
{
    bool edited = false;
    for (const PendingChange& pending : changes)
        edited = pending.apply(file.lines, file.findRecord(pending.change().login)) || edited;
    return edited;
}

// Whether there is anything to do but the removal of nobody.
bool changesAnything(const std::vector<Change>& changes, const FileCache& file)
{
    return std::any_of(changes.begin(), changes.end(), [&](const Change& change) {
        return change.op != Op::Remove || file.findRecord(change.login) != file.lines.end();
    });
}

// So that this process admits nobody by a record that it was told to remove.
void removeFromHeldLines(FileCache& file, const std::vector<Change>& changes)
{
    if (!holdsNoFile(file.filename))
        file.update();
    for (const Change& change : changes) {
        const auto record = file.findRecord(change.login);
        if (change.op == Op::Remove && record != file.lines.end())
            file.lines.erase(record);
    }
}

// What a change starts from, whatever the file's time; what the first look has logged of a missing
// file is not logged again. The held lines go first, as large files are not held twice: of a file
// that cannot be read they count for nothing.
bool refreshUnderLock(const FileCache& file)
{
    file.lines.clear();
    file.modifTime = 0;
    return holdsNoFile(file.filename) || file.update();
}

bool saveOrLog(const std::string& name, const std::string& content)
{
    if (utils::saveFile(name, content, nullptr, false) == 1)
        return true;
    syslogErr(translate(prefix, "save file: '%s': %s"), name.c_str(), utils::errString().c_str());
    return false;
}

// Writes and signs what the file's lines have become. A write that failed counts as done: the
// callers' users must be able to go on with what is held. A signature that failed does not, as the
// others would refuse the file; nor does a write that memory is out for, of which no log tells.
bool publish(const GrexDB& db, const FileCache& file)
{
    if (!saveOrLog(file.filename, join(file.lines)))
        return true;
    if (db.signFile(file.filename, signatureOf(file.filename)))
        return true;
    syslogErr(translate(prefix, "can't sign file: '%s': '%s'"), file.filename.c_str(),
              utils::errString().c_str());
    return false;
}

enum class Outcome { Failed, Unchanged, Changed };

// What a first look tells of the changes, and what it prepares for them. What is held may be ahead
// of the file, after a write or a lock that failed, and stays as it is: somebody whose record was
// to be removed must not come back by it. Failed for a file that is there but cannot be read: a
// rewrite would lose it.
Outcome lookAt(const std::string& filename, const std::vector<Change>& changes,
               PendingChanges& pending)
{
    const Logins logins = loginsOf(changes);
    FileCache look;
    if (logins.size() != changes.size() ||
        !(look.readRecords(filename, logins) || holdsNoFile(filename)))
        return Outcome::Failed;
    if (!changesAnything(changes, look))
        return Outcome::Unchanged;
    return prepareAll(pending, look) ? Outcome::Changed : Outcome::Failed;
}

// From a look at the file that nobody else is changing to its signature.
Outcome changeLocked(const GrexDB& db, FileCache& file, const std::vector<Change>& changes,
                     PendingChanges& pending)
{
    const sx::FileLock lock(file.filename);
    if (lock.state() == sx::FileLock::State::Failed) {
        logLockFailure(file.filename, lock);
        removeFromHeldLines(file, changes);
        return Outcome::Failed;
    }
    if (!refreshUnderLock(file) || !prepareAll(pending, file))
        return Outcome::Failed;
    // Forgotten while the lines are edited: those of an edit that memory ran out in are read anew,
    // and no index of before is used.
    const long long time = std::exchange(file.modifTime, 0);
    const bool isEdited = applyAll(pending, file);
    const bool isPublished = isEdited && publish(db, file);
    file.modifTime = time;
    if (!isEdited)
        return Outcome::Unchanged;
    return isPublished ? Outcome::Changed : Outcome::Failed;
}

void makeCacheFile(const GrexDB& db, const std::string& name)
{
    const sx::FileLock lock(name);
    if (lock.state() == sx::FileLock::State::Failed)
        return logLockFailure(name, lock);
    if (access(name.c_str(), F_OK) == 0)
        return; // made by another process, whose user may be in it already
    if (db.saveFile(name, ""))
        db.signFile(name, signatureOf(name));
}

// In a process with more rights than its caller (su, sudo and passwd through PAM) the environment
// is the caller's, and PATH would choose the programs that the synchronisation tool runs with our
// rights.
class CallersEnvironmentHidden {
public:
    CallersEnvironmentHidden() : before_(environ)
    {
        if (getauxval(AT_SECURE) != 0)
            environ = fixed_;
    }
    ~CallersEnvironmentHidden() { environ = before_; }
    CallersEnvironmentHidden(const CallersEnvironmentHidden&) = delete;
    CallersEnvironmentHidden& operator=(const CallersEnvironmentHidden&) = delete;

private:
    char path_[48] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    char* fixed_[2] = {path_, nullptr};
    char** before_;
};

std::string groupLine(unsigned gid)
{
    return sx::toString(gid) + ":0:" + fixedGroupName(gid) + ":Fixed Group";
}

bool isAdministrator(unsigned gid)
{
    return (gid == adminGid || gid == superUserGid) && GrexDB::checkAccess(gid, listingRight);
}

} // namespace

GrexDB::GrexDB()
{
    // A path that memory is out for leaves its cache bound to nothing, and nobody is found in it.
    sx::noThrow(false, [this] {
        Settings& settings = *Settings::get();
        userfile_.setFilename(settings.usersFile());
        modfile_.setFilename(settings.modulesFile());
        const std::string& name = settings.cacheFile();
        if (name.empty() || name == cachefile_.filename)
            return false;
        if (access(name.c_str(), F_OK) != 0)
            makeCacheFile(*this, name);
        return cachefile_.setFilename(name);
    });
}

std::string GrexDB::findUserLine(const FileCache& file, const std::string& login) const
{
    return sx::noThrow(std::string(), [&] {
        if (!file.update())
            return std::string();
        const auto record = file.findRecord(login);
        return record != file.lines.end() ? *record : std::string();
    });
}

std::string GrexDB::findUserLine(const std::string& login) const
{
    return findUserLine(userfile_, login);
}

std::string GrexDB::findCacheUserLine(const std::string& login) const
{
    return findUserLine(cachefile_, login);
}

std::deque<std::string>::iterator GrexDB::findUser(const std::string& login) const
{
    if (!userfile_.update())
        return userfile_.lines.end();
    return sx::noThrow(userfile_.lines.end(), [&] { return userfile_.findRecord(login); });
}

bool GrexDB::userExists(const FileCache& file, const std::string& login) const
{
    return !findUserLine(file, login).empty();
}

bool GrexDB::userExists(const std::string& login) const
{
    return userExists(userfile_, login) || userExists(cachefile_, login);
}

bool GrexDB::checkAccess(unsigned gid, unsigned bits)
{
    return bits != 0 && (ModuleAccess().moduleAccess(gid) & bits) == bits;
}

bool GrexDB::saveFile(const std::string& name, const std::string& content) const
{
    return sx::noThrow(false, [&] { return saveOrLog(name, content); });
}

bool GrexDB::signFile(const std::string& file, const std::string& sigFile) const
{
    return sx::noThrow(false, [&] {
        const std::string checksum = crpt::fileMD5Checksum(file);
        return !checksum.empty() && saveFile(sigFile, checksum);
    });
}

int GrexDB::syncFiles() const
{
    syslogDebug2(translate(prefix, "sync grex files"));
    const CallersEnvironmentHidden hidden;
    return std::system(GREX_SYNC_TOOL);
}

bool GrexDB::changeUser(ChangeOp::Op op, FileCache& file, const std::string& login,
                        const std::string& group, const std::string& password) const
{
    return sx::noThrow(false, [&] {
        // Filled in place: a string that is moved leaves its password behind.
        std::vector<Change> changes(1);
        Change& change = changes.front();
        const sx::Wiper wiper(change.password);
        change.op = op;
        change.login = login;
        change.group = group;
        change.password = password;
        return changeUsers(file, changes);
    });
}

bool GrexDB::changeUsers(FileCache& file, const std::vector<Change>& changes) const
{
    return sx::noThrow(false, [&] {
        PendingChanges pending(changes.begin(), changes.end());
        Outcome outcome = lookAt(file.filename, changes, pending);
        if (outcome == Outcome::Changed)
            outcome = changeLocked(*this, file, changes, pending);
        // The lock is free again: the tool may use the library.
        if (outcome == Outcome::Changed)
            syncFiles();
        return outcome != Outcome::Failed;
    });
}

bool GrexDB::addUser(const std::string& login, unsigned gid, const std::string& password) const
{
    if (!isFixedGroup(gid)) {
        syslogLog(LOG_AUTHPRIV | LOG_ERR, translate(prefix, "wrong users group"));
        return false;
    }
    return sx::noThrow(false, [&] {
        return changeUser(ChangeOp::Add, userfile_, login, sx::toString(gid), password);
    });
}

bool GrexDB::removeUser(const std::string& login) const
{
    return changeUser(ChangeOp::Remove, userfile_, login, "", "");
}

bool GrexDB::changePassword(const std::string& login, const std::string& password) const
{
    return changeUser(ChangeOp::ChangePassword, userfile_, login, "", password);
}

bool GrexDB::getGroupList(unsigned gid, std::deque<std::string>& groups) const
{
    groups.clear();
    return sx::noThrow(false, [&] {
        if (!isAdministrator(gid))
            return true;
        std::deque<std::string> listed;
        if (gid == superUserGid)
            listed.push_back(groupLine(superUserGid));
        for (const unsigned other : {userGid, adminGid, monitorGid})
            listed.push_back(groupLine(other));
        groups.swap(listed);
        return true;
    });
}

bool GrexDB::getUserList(unsigned gid, std::deque<std::string>& users) const
{
    if (!isAdministrator(gid))
        return false;
    return sx::noThrow(false, [&] {
        if (!userfile_.update() || userfile_.lines.empty()) {
            const std::string& name = Settings::get()->usersFile();
            if (!name.empty())
                syslogErr(translate(prefix, "can't read file: '%s': '%s'"), name.c_str(), "");
            return false;
        }
        for (const std::string& line : userfile_.lines) {
            unsigned group = 0;
            if (!FileCache::isRecord(line) ||
                !sx::fromString(sx::section(line, colon, 1), group, 10)) {
                syslogErr(translate(prefix, "wrong file format"));
                return false;
            }
            if (gid == superUserGid || group != superUserGid)
                users.push_back(line.substr(0, line.rfind(colon)));
        }
        return true;
    });
}

} // namespace grex::__private__
