// SPDX-License-Identifier: Apache-2.0
#ifndef GREX_COMMON_STL_FILE_STREAM_H
#define GREX_COMMON_STL_FILE_STREAM_H

#include "common/stl/export.h"

#include <cstddef>
#include <cstdio>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// A stream of stdio that closes itself. Operations answer false (-1 where they give a number) when
/// they fail and keep the reason in error(); on a closed stream they fail with "file closed". A NUL
/// byte in a file is a byte like any other. Functions that fill a container throw std::bad_alloc
/// when memory is out.
class GREX_API FileStream {
public:
    /// A closed stream.
    FileStream();
    ~FileStream();
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;
    /// Opens `path`, see open().
    FileStream(const std::string& path, const char* mode);
    /// Takes over `fd`, which is closed with the stream, and at once when no stream can be made of
    /// it.
    FileStream(int fd, const char* mode);

    /// Closes what was open and opens `path` in a mode of fopen(3), close-on-exec. Error: "file
    /// open error".
    bool open(const std::string& path, const char* mode);
    /// False, error() "file error: fflush()", when buffered bytes could not be written. Closed in
    /// any case.
    bool close();
    bool isOpen() const;
    /// The descriptor, still the stream's; -1 when closed.
    int fd() const;
    /// The text of the last failure, translated; empty when nothing failed.
    const std::string& error() const;

    /// Reads one line of any length; with `strip` without its "\n" or "\r\n". False at the end of
    /// the file when nothing was read, error() as it was; false after a read error, "file read
    /// error", `line` as it was.
    bool getline(std::string& line, bool strip);
    /// Error of both: "file write error".
    bool puts(const std::string& text);
    bool write(const void* data, std::size_t size);
    /// Error: "file error: vfprintf()".
    bool printf(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Hands the buffered bytes to the system. Error: "file error: fflush()".
    bool flush();
    /// flush(), then fsync(2). Error: "file error: fsync()".
    bool fsync();

    /// fseeko(3); `whence` is SEEK_SET, SEEK_CUR or SEEK_END. Error: "file error: fseeko()".
    bool seek(long long offset, int whence);
    /// The position in bytes. Error: "file error: ftello()".
    long long tell();
    /// The size in bytes; the position stays. Errors of seek() and tell().
    long long size();
    /// Cuts or extends the file to `size` bytes. Error: "file error: ftrancate()".
    bool setsize(long long size);

    /// Appends the rest of the file. With `normalise` empty lines are dropped and each kept line,
    /// its line end removed, gets one "\n"; otherwise the text is appended as it is. Error: "file
    /// read error".
    bool readAll(std::string& text, bool normalise);
    /// Appends the rest of the file line by line, as getline() with `strip` would give them, and
    /// faster. `keep` may change a line, and drops it by answering false. Error: "file read error",
    /// with the lines before it appended.
    bool readLines(std::deque<std::string>& lines, const std::function<bool(std::string&)>& keep);
    /// Appends the rest of the file as bytes. Error: "file error: fread()".
    bool readAll(std::vector<unsigned char>& bytes);

private:
    struct Close {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };
    struct Free {
        void operator()(char* memory) const noexcept;
    };

    enum class Read { Line, End, Error };

    bool failed(const char* message);
    bool usable();
    Read nextLine(std::string& line, bool strip);

    std::unique_ptr<std::FILE, Close> file_;
    std::string error_;
    // The line that getline(3) filled last: it grows the buffer itself, so it is malloc's.
    std::unique_ptr<char, Free> line_;
    std::size_t lineCapacity_ = 0;
};

#endif
