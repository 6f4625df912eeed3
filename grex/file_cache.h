// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_FILE_CACHE_H
#define GREX_FILE_CACHE_H

#include "common/stl/export.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

/// The meaningful lines of one text file, read again when its modification time has changed:
/// stripped of white space at both ends, without empty lines and without lines that begin with '#'.
///
/// A larger file that stands unchanged while it is asked for records is indexed by login. The index
/// is used while `modifTime` and the number of lines are as when it was made, and an answer from it
/// is checked against its line. Code that edits `lines` and keeps their number therefore sets
/// `modifTime` to 0. Not for several threads.
class GREX_API FileCache {
public:
    /// Bound to no file.
    FileCache();
    ~FileCache();
    /// Bound to `path`, as by setFilename().
    explicit FileCache(const std::string& path);
    FileCache(const FileCache&) = delete;
    FileCache& operator=(const FileCache&) = delete;

    /// Binds the cache to another file, drops the held lines and reads; answers as update(). With
    /// the name it is bound to already it answers false and does nothing.
    bool setFilename(const std::string& path);

    /// Makes the held lines those of the file. False, and an error in the log, when the file cannot
    /// be read; the lines held before stay then, and whoever asks for a user must not answer from
    /// them.
    bool update() const;

    /// Unbinds the cache and makes it hold the records of some logins of the file at `path`, and
    /// nothing else; answers as update(). Costs the reading of a large file, and not its lines in
    /// memory.
    bool readRecords(const std::string& path, const std::set<std::string, std::less<>>& logins);

    /// Strips the held lines and drops those that say nothing.
    void stripContent() const;

    /// Whether a line is a record "login:gid:hash", with exactly two ":".
    static bool isRecord(const std::string& line);

    /// The first record of `login`, or the end of `lines`, which are taken as they are held. A text
    /// with a ":" is no login. The iterator is good until the lines change.
    std::deque<std::string>::iterator findRecord(const std::string& login) const;

    mutable long long modifTime =
        0;                ///< seconds since 1970, of the file when it was read; 0: never read
    std::string filename; ///< empty: bound to no file
    mutable std::deque<std::string> lines; ///< in file order, without line ends

private:
    // Where the first record of each login stands: open addressing, 8 bytes a slot, three slots for
    // two lines, and no copy of a text.
    struct Slot {
        std::uint32_t hash;
        std::uint32_t line; // its position + 1; 0: the slot is free
    };
    struct Index {
        long long modifTime = 0;
        std::size_t lineCount = 0;
        int lookups = 0;         // before it was made
        std::vector<Slot> slots; // empty: not made
    };

    bool isIndexed() const;
    void buildIndex() const;
    void addToIndex(const std::string& line, std::uint32_t number) const;
    std::size_t askIndex(const std::string& login) const;

    mutable Index index_;
};

#endif
