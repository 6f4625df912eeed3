// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_GREX_DB_H
#define GREX_GREX_DB_H

#include "common/stl/export.h"
#include "grex/file_cache.h"

#include <deque>
#include <string>
#include <vector>

namespace grex::__private__ {

/// The users file, the cache of users whom the remote service admitted, and the module-access file.
///
/// A record of the first two is a line "login:gid:hash" that holds exactly two ":": the login,
/// compared byte for byte; the group's number in decimal; a hash of crypt(5). Of equal logins the
/// first record counts; a text with a ":" is no login. Beside each file stands its signature,
/// FILE.sig, its MD5 in 32 hexadecimal digits.
///
/// The files' lines are held by the process, not by the object: make one where it is needed. A
/// lookup reads a changed file anew, and finds nobody in a file that cannot be read. Nothing is
/// thrown; not for several threads.
class GREX_API GrexDB {
public:
    struct ChangeOp {
        enum Op {
            Remove,         ///< the record of the login, if there is one
            Add,            ///< a new record; fails if there is one
            ChangePassword, ///< of a record that there is
            AddOrUpdate,    ///< a record, new or not; an empty password keeps its hash
        };
    };

    /// One change of one record; ChangeOp tells which of the fields count.
    struct Change {
        ChangeOp::Op op = ChangeOp::Remove;
        std::string login;
        std::string group;     ///< the group's number in decimal, 1 to 4
        std::string password;  ///< as typed
        std::string hash = {}; ///< of crypt(5), stored as it is in place of the password's
    };

    /// Binds the caches to the paths of the Settings; a cache file that is missing is made, empty,
    /// and signed.
    GrexDB();

    /// A copy of the login's first record; empty when there is none. In the users file unless told
    /// otherwise.
    std::string findUserLine(const FileCache& file, const std::string& login) const;
    std::string findUserLine(const std::string& login) const;
    std::string findCacheUserLine(const std::string& login) const;
    /// The login's first record in userfile_.lines, or their end. Good until the next operation on
    /// the users.
    std::deque<std::string>::iterator findUser(const std::string& login) const;
    bool userExists(const FileCache& file, const std::string& login) const;
    /// In the users file or in the cache.
    bool userExists(const std::string& login) const;

    /// Whether the group has all `bits` on the module of the current context; false when `bits` is
    /// 0.
    static bool checkAccess(unsigned gid, unsigned bits);

    /// Replaces a whole file in one step, see utils::saveFile(). A failure is logged.
    bool saveFile(const std::string& name, const std::string& content) const;
    /// Writes the signature of `file` into `sigFile`; false, nothing written, for a file that is
    /// empty or unreadable.
    bool signFile(const std::string& file, const std::string& sigFile) const;
    /// Runs the synchronisation tool and waits for it; the status is system(3)'s. In a process with
    /// more rights than its caller (getauxval(AT_SECURE) is not 0) the tool gets no environment but
    /// a fixed PATH.
    int syncFiles() const;

    /// Makes one change of `file`: writes it, signs it and runs the synchronisation tool. False
    /// when the change is refused, when the file is there but cannot be read, when it stays locked
    /// by another process for 15 s, when memory is out, or when it was written and could not be
    /// signed. A removal of nobody is true, and a write that failed is logged and true as well: who
    /// must know looks into the file.
    ///
    /// Comments and blank lines of the file are lost. A new record comes last. Hashing takes 0.35 s
    /// and more, before the lock is taken. The held lines are the new ones afterwards, also when
    /// the write failed: until the file's time changes or until the next change, which starts from
    /// the file. After a lock that could not be had, a record to be removed is gone from the held
    /// lines alone, so that this process admits nobody by it.
    ///
    /// Add and AddOrUpdate refuse a login that the file could not give back: with ":", a line feed
    /// or a NUL, with '#' as its first character, or with white space (sx::defaultDelimeter) at an
    /// end.
    bool changeUser(ChangeOp::Op op, FileCache& file, const std::string& login,
                    const std::string& group, const std::string& password) const;
    /// Makes several changes as one, all or none, with one write, one signature and one run of the
    /// tool; results and failures are changeUser()'s. A login may be named once. Hashes take 0.35 s
    /// and more each.
    bool changeUsers(FileCache& file, const std::vector<Change>& changes) const;

    /// Changes of the users file. addUser() logs a `gid` other than 1 to 4 and refuses it.
    bool addUser(const std::string& login, unsigned gid, const std::string& password) const;
    bool removeUser(const std::string& login) const;
    bool changePassword(const std::string& login, const std::string& password) const;

    /// The groups that the group `gid` may give to a user, as "gid:0:name:Fixed Group": all four
    /// for a SuperUser, that group first, the three others for an Admin, none for others and
    /// without the listing right. True, unless memory is out.
    bool getGroupList(unsigned gid, std::deque<std::string>& groups) const;
    /// Appends the users that the group `gid` may see, as "login:gid". False for others than Admin
    /// and SuperUser, without the listing right, for an empty file, and at the first line that is
    /// no record; those before it stay.
    bool getUserList(unsigned gid, std::deque<std::string>& users) const;

    static FileCache userfile_;
    static FileCache modfile_;
    static FileCache cachefile_;
};

} // namespace grex::__private__

#endif
