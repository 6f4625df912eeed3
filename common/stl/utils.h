// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_UTILS_H
#define GREX_COMMON_STL_UTILS_H

#include "common/stl/export.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

/// Whole files: when they changed, reading them, replacing them in one step.
///
/// Modification times are seconds since 1970, or milliseconds where `ms` asks for them; 0 stands
/// for a file that does not exist, -1 for a time that cannot be read. Functions that answer with an
/// int give 1 for done, 0 for unchanged and -1 for failed; the reason of the last failure is
/// errString()'s. Functions that fill a container throw std::bad_alloc when memory is out, the
/// files being as they were.
namespace utils {

/// The text of the last failure of this process; empty before the first. Saves clear it when they
/// start.
GREX_API std::string errString();

/// The folder in which `path` stands: all up to its last "/", or ".".
GREX_API std::string folderOf(const std::string& path);

/// Bytes, from stat(2); -1 when it fails.
GREX_API long fileSize(const std::string& path);

GREX_API long long fileModifTime(const std::string& path, bool ms);
GREX_API long long fileModifTime(int fd, bool ms);
/// Sets the times of access and modification, in seconds.
GREX_API bool setModifTime(const std::string& path, long t);
/// True when the time in seconds is not `t` or cannot be read; a missing file has the time 0.
GREX_API bool isFileModified(const std::string& path, long long t);
/// The same against `t`, which becomes the time read in every case.
GREX_API bool isFileModified(const std::string& path, long long& t, bool ms);

/// Read a whole file unless its time still is `t` seconds: 1 read, the output replaced; 0
/// unchanged; -1 failed. The output keeps its content on 0 and -1. A file of the time 0 or before
/// cannot be read. The text form drops empty lines and ends every other one with one "\n"; the line
/// form keeps them all, without their line ends.
GREX_API int readFile(const std::string& path, long t, std::string& text);
GREX_API int readFile(const std::string& path, long t, std::vector<unsigned char>& data);
GREX_API int readFile(const std::string& path, long t, std::deque<std::string>& lines);
/// The line form for readers who keep what they read: on 1, `t` becomes the time that the file had
/// when reading began. Asked for afterwards, the time could be that of a newer file, whose lines
/// would never be read. `keep` may change a line, and drops it by answering false.
GREX_API int readNewerFile(const std::string& path, long long& t, std::deque<std::string>& lines,
                           const std::function<bool(std::string&)>& keep);

/// Makes `path`.XXXXXX with mkstemp(3), mode 0600, close-on-exec. The descriptor is the caller's;
/// -1 when failed. `tmpName` is set in both cases.
GREX_API int openTempFile(const std::string& path, std::string& tmpName);
/// Replace `path` in one step by a file of mode 0644 that is on the disk before it appears: written
/// beside it, synchronised, renamed, and the folder synchronised. Nothing of the temporary file is
/// left after a failure ("save file fail: PATH: REASON"). The time of the new file is, in whole
/// seconds, later than that of the file it replaces, so that readers who compare seconds see every
/// change; `mtime`, if not null, receives it. The text form ends the text with a "\n" where it has
/// none, also an empty one.
GREX_API int saveFile(const std::string& path, const void* data, unsigned size, long long* mtime,
                      bool ms);
GREX_API int saveFile(const std::string& path, const std::string& text, long long* mtime, bool ms);
/// 1 when the file was removed or was not there.
GREX_API int unlinkFile(const std::string& path);

/// A version "major.minor.build".
struct ProfileVersion {
    std::uint16_t major;
    std::uint16_t minor;
    std::uint32_t build;
};

/// Reads "3", "2.1" or "1.2.3". Parts that the text does not have keep their value in `version`; a
/// text that is none of the three, and a major number of 0, give false and set all three to 0.
GREX_API bool parseVersion(const std::string& text, ProfileVersion& version);

} // namespace utils

#endif
