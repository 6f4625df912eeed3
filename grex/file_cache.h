// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_FILE_CACHE_H
#define GREX_FILE_CACHE_H

#include "common/stl/export.h"

#include <deque>
#include <string>

/// The meaningful lines of one small text file, read again when its modification time has changed:
/// stripped of white space at both ends, without empty lines and without lines that begin with '#'.
/// Not for several threads.
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

    /// Strips the held lines and drops those that say nothing.
    void stripContent() const;

    mutable long long modifTime =
        0;                ///< seconds since 1970, of the file when it was read; 0: never read
    std::string filename; ///< empty: bound to no file
    mutable std::deque<std::string> lines; ///< in file order, without line ends
};

#endif
