// SPDX-License-Identifier: Apache-2.0
#include "common/stl/file_stream.h"

#include "common/stl/translate.h"

#include <cstdarg>
#include <cstdlib>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>

namespace {

constexpr char prefix[] = "FileStream|";

// "e" makes the descriptor close-on-exec: the synchronisation tool inherits none of ours.
std::string closeOnExec(const char* mode)
{
    return std::string(mode) + "e";
}

// Appends the lines of a file that comes in pieces.
class LineReader {
public:
    using Keep = std::function<bool(std::string&)>;

    LineReader(std::deque<std::string>& lines, const Keep& keep) : lines_(lines), keep_(keep) {}

    void add(std::string_view piece)
    {
        while (!piece.empty()) {
            const std::string_view::size_type end = piece.find('\n');
            std::string& line = isOpen_ ? lines_.back().append(piece.substr(0, end))
                                        : lines_.emplace_back(piece.substr(0, end));
            isOpen_ = end == std::string_view::npos;
            if (isOpen_)
                return;
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            settle(line);
            piece.remove_prefix(end + 1);
        }
    }

    void finish()
    {
        if (isOpen_)
            settle(lines_.back());
    }

private:
    void settle(std::string& line)
    {
        if (!keep_(line))
            lines_.pop_back();
    }

    std::deque<std::string>& lines_;
    const Keep& keep_;
    bool isOpen_ = false; // whether the last line goes on in the next piece
};

} // namespace

void FileStream::Free::operator()(char* memory) const noexcept
{
    std::free(memory);
}

FileStream::FileStream() = default;

FileStream::~FileStream() = default;

FileStream::FileStream(const std::string& path, const char* mode)
{
    open(path, mode);
}

FileStream::FileStream(int fd, const char* mode) : file_(fdopen(fd, mode))
{
    if (file_)
        return;
    if (fd >= 0)
        ::close(fd);
    failed(translate(prefix, "file open error"));
}

bool FileStream::failed(const char* message)
{
    error_ = message;
    return false;
}

bool FileStream::usable()
{
    return file_ || failed(translate(prefix, "file closed"));
}

bool FileStream::open(const std::string& path, const char* mode)
{
    file_.reset(std::fopen(path.c_str(), closeOnExec(mode).c_str()));
    return file_ || failed(translate(prefix, "file open error"));
}

bool FileStream::close()
{
    if (!usable())
        return false;
    const bool flushed = flush();
    file_.reset();
    return flushed;
}

bool FileStream::isOpen() const
{
    return file_ != nullptr;
}

int FileStream::fd() const
{
    return file_ ? fileno(file_.get()) : -1;
}

const std::string& FileStream::error() const
{
    return error_;
}

FileStream::Read FileStream::nextLine(std::string& line, bool strip)
{
    if (!usable())
        return Read::Error;
    char* buffer = line_.release();
    const ssize_t got = ::getline(&buffer, &lineCapacity_, file_.get());
    line_.reset(buffer);
    // getline(3) hands out what it had when a read failed; taken for a line it would be cut in two.
    if (std::ferror(file_.get()) != 0 || (got < 0 && std::feof(file_.get()) == 0)) {
        std::clearerr(file_.get());
        failed(translate(prefix, "file read error"));
        return Read::Error;
    }
    if (got < 0)
        return Read::End;
    std::size_t length = static_cast<std::size_t>(got);
    if (strip && buffer[length - 1] == '\n') {
        --length;
        if (length > 0 && buffer[length - 1] == '\r')
            --length;
    }
    line.assign(buffer, length);
    return Read::Line;
}

bool FileStream::getline(std::string& line, bool strip)
{
    return nextLine(line, strip) == Read::Line;
}

bool FileStream::puts(const std::string& text)
{
    return write(text.data(), text.size());
}

bool FileStream::write(const void* data, std::size_t size)
{
    if (!usable())
        return false;
    return std::fwrite(data, 1, size, file_.get()) == size ||
           failed(translate(prefix, "file write error"));
}

bool FileStream::printf(const char* format, ...)
{
    if (!usable())
        return false;
    std::va_list args;
    va_start(args, format);
    const int length = std::vfprintf(file_.get(), format, args);
    va_end(args);
    return length >= 0 || failed(translate(prefix, "file error: vfprintf()"));
}

bool FileStream::flush()
{
    if (!usable())
        return false;
    return std::fflush(file_.get()) == 0 || failed(translate(prefix, "file error: fflush()"));
}

bool FileStream::fsync()
{
    if (!flush())
        return false;
    return ::fsync(fd()) == 0 || failed(translate(prefix, "file error: fsync()"));
}

bool FileStream::seek(long long offset, int whence)
{
    if (!usable())
        return false;
    return fseeko(file_.get(), static_cast<off_t>(offset), whence) == 0 ||
           failed(translate(prefix, "file error: fseeko()"));
}

long long FileStream::tell()
{
    if (!usable())
        return -1;
    const off_t position = ftello(file_.get());
    if (position < 0)
        failed(translate(prefix, "file error: ftello()"));
    return position;
}

long long FileStream::size()
{
    const long long here = tell();
    if (here < 0 || !seek(0, SEEK_END))
        return -1;
    const long long end = tell();
    return seek(here, SEEK_SET) ? end : -1;
}

bool FileStream::setsize(long long size)
{
    if (!flush())
        return false;
    return ftruncate(fd(), static_cast<off_t>(size)) == 0 ||
           failed(translate(prefix, "file error: ftrancate()"));
}

bool FileStream::readAll(std::string& text, bool normalise)
{
    std::string line;
    Read read = Read::End;
    while ((read = nextLine(line, normalise)) == Read::Line) {
        if (normalise && line.empty())
            continue;
        text += line;
        if (normalise)
            text += '\n';
    }
    return read == Read::End;
}

bool FileStream::readLines(std::deque<std::string>& lines,
                           const std::function<bool(std::string&)>& keep)
{
    if (!usable())
        return false;
    constexpr std::size_t pieceSize = 65536;
    const std::unique_ptr<char[]> piece(new char[pieceSize]);
    LineReader reader(lines, keep);
    std::size_t length = pieceSize;
    while (length == pieceSize) { // short at the end of the file and after an error alone
        length = std::fread(piece.get(), 1, pieceSize, file_.get());
        reader.add({piece.get(), length});
    }
    reader.finish();
    if (std::ferror(file_.get()) == 0)
        return true;
    std::clearerr(file_.get());
    return failed(translate(prefix, "file read error"));
}

bool FileStream::readAll(std::vector<unsigned char>& bytes)
{
    if (!usable())
        return false;
    unsigned char piece[4096];
    std::size_t length = sizeof(piece);
    while (length == sizeof(piece)) { // short at the end of the file and after an error alone
        length = std::fread(piece, 1, sizeof(piece), file_.get());
        bytes.insert(bytes.end(), piece, piece + length);
    }
    if (std::ferror(file_.get()) == 0)
        return true;
    std::clearerr(file_.get());
    return failed(translate(prefix, "file error: fread()"));
}
