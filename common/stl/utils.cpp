// SPDX-License-Identifier: Apache-2.0
#include "common/stl/utils.h"

#include "common/stl/descriptor.h"
#include "common/stl/file_stream.h"
#include "common/stl/sx.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

namespace utils {

namespace {

std::string lastError;

int failed(const std::string& reason)
{
    lastError = reason;
    return -1;
}

int failed(int errnum)
{
    return failed(std::string(std::strerror(errnum)));
}

long long timeOf(const struct stat& status, bool ms)
{
    const long long seconds = status.st_mtim.tv_sec;
    return ms ? seconds * 1000 + status.st_mtim.tv_nsec / 1000000 : seconds;
}

// Opens `path` unless its time is `t`, and lets `read` take the content. The time is asked of the
// descriptor, not of the path: once another process has renamed a new file over it, the path would
// give the new file's time for the old file's content, and the change would go unseen.
template <class Read> int readIfNewer(const std::string& path, long long& t, Read read)
{
    sx::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    errno = 0;
    const long long time = file.isOpen() ? fileModifTime(file.get(), false) : 0;
    if (file.isOpen() && time <= 0)
        return failed(errno);
    if (file.isOpen() && time == t)
        return 0; // as most calls end: a stream is made only of what is read
    FileStream in(file.release(), "r");
    if (!in.isOpen() || !read(in))
        return failed(in.error());
    t = time;
    return 1;
}

// A file that is removed again unless it was renamed to its place.
class TempFile {
public:
    explicit TempFile(const std::string& path) : fd_(openTempFile(path, name_)), exists_(fd_ >= 0)
    {
    }
    ~TempFile()
    {
        if (exists_)
            unlink(name_.c_str());
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    bool exists() const { return exists_; }
    int fd() const { return fd_; } // owned by the stream that writes it
    bool renameTo(const std::string& path)
    {
        if (std::rename(name_.c_str(), path.c_str()) != 0)
            return false;
        exists_ = false;
        return true;
    }

private:
    std::string name_;
    int fd_;
    bool exists_;
};

// After a power loss the new name must lead to the new file. Not every file system can do it, and
// the change is made either way, so a failure is nobody's.
void syncFolder(const std::string& folder)
{
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    static_cast<void>(::fsync(fd));
    close(fd);
}

// Readers compare whole seconds; a file that replaces one of this second or of the future gets the
// next second.
bool makeLaterThan(const std::string& path, int fd)
{
    const long long before = fileModifTime(path, false);
    const long long now = fileModifTime(fd, false);
    if (before <= 0 || now > before)
        return true;
    const struct timespec later = {static_cast<time_t>(before + 1), 0};
    const struct timespec times[2] = {later, later};
    return futimens(fd, times) == 0;
}

bool publish(TempFile& file, FileStream& out, const std::string& path, long long* mtime, bool ms)
{
    if (mtime) {
        *mtime = fileModifTime(out.fd(), ms);
        if (*mtime <= 0)
            return false;
    }
    return fchmod(out.fd(), 0644) == 0 && file.renameTo(path);
}

template <class Write> int save(const std::string& path, Write write, long long* mtime, bool ms)
{
    const std::string folder = folderOf(path); // what memory may be out for comes before the rename
    TempFile file(path);
    if (!file.exists())
        return -1;
    FileStream out(file.fd(), "w");
    lastError.clear();
    errno = 0;
    // The time is set between the last write and the sync: a later write would set it anew.
    const bool saved = write(out) && out.flush() && makeLaterThan(path, out.fd()) && out.fsync() &&
                       publish(file, out, path, mtime, ms);
    if (!saved) {
        const std::string reason = out.error().empty() ? std::strerror(errno) : out.error();
        return failed(sx::sprintf("save file fail: %s: %s", path.c_str(), reason.c_str()));
    }
    syncFolder(folder);
    return 1;
}

// Parses the last of `parts` first, as far as they are numbers; the major number is set when all
// were.
bool parseParts(const std::vector<std::string>& parts, ProfileVersion& version)
{
    if (parts.size() == 3 && !sx::fromString(parts[2], version.build))
        return false;
    if (parts.size() >= 2 && !sx::fromString(parts[1], version.minor))
        return false;
    return sx::fromString(parts[0], version.major);
}

} // namespace

std::string errString()
{
    return lastError;
}

std::string folderOf(const std::string& path)
{
    const std::string::size_type slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

long fileSize(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? static_cast<long>(status.st_size) : -1;
}

long long fileModifTime(const std::string& path, bool ms)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return errno == ENOENT ? 0 : -1;
    return timeOf(status, ms);
}

long long fileModifTime(int fd, bool ms)
{
    struct stat status = {};
    if (fstat(fd, &status) != 0)
        return errno == ENOENT ? 0 : -1;
    return timeOf(status, ms);
}

bool setModifTime(const std::string& path, long t)
{
    const struct utimbuf times = {t, t};
    return utime(path.c_str(), &times) == 0;
}

bool isFileModified(const std::string& path, long long t)
{
    return isFileModified(path, t, false);
}

bool isFileModified(const std::string& path, long long& t, bool ms)
{
    const long long before = t;
    t = fileModifTime(path, ms);
    return t == -1 || t != before;
}

int readFile(const std::string& path, long t, std::string& text)
{
    std::string fresh;
    long long seen = t;
    const int result =
        readIfNewer(path, seen, [&](FileStream& in) { return in.readAll(fresh, true); });
    if (result == 1)
        text.swap(fresh);
    return result;
}

int readFile(const std::string& path, long t, std::vector<unsigned char>& data)
{
    std::vector<unsigned char> fresh;
    long long seen = t;
    const int result = readIfNewer(path, seen, [&](FileStream& in) { return in.readAll(fresh); });
    if (result == 1)
        data.swap(fresh);
    return result;
}

int readFile(const std::string& path, long t, std::deque<std::string>& lines)
{
    long long seen = t;
    return readNewerFile(path, seen, lines, [](std::string&) { return true; });
}

int readNewerFile(const std::string& path, long long& t, std::deque<std::string>& lines,
                  const std::function<bool(std::string&)>& keep)
{
    std::deque<std::string> fresh;
    const int result =
        readIfNewer(path, t, [&](FileStream& in) { return in.readLines(fresh, keep); });
    if (result == 1)
        lines.swap(fresh);
    return result;
}

int openTempFile(const std::string& path, std::string& tmpName)
{
    tmpName = path + ".XXXXXX";
    const int fd = mkstemp(tmpName.data());
    if (fd < 0)
        return failed(errno);
    static_cast<void>(fcntl(fd, F_SETFD, FD_CLOEXEC));
    return fd;
}

int saveFile(const std::string& path, const void* data, unsigned size, long long* mtime, bool ms)
{
    return save(
        path, [=](FileStream& out) { return out.write(data, size); }, mtime, ms);
}

int saveFile(const std::string& path, const std::string& text, long long* mtime, bool ms)
{
    const bool ended = !text.empty() && text.back() == '\n';
    return save(
        path, [&](FileStream& out) { return out.puts(text) && (ended || out.puts("\n")); }, mtime,
        ms);
}

int unlinkFile(const std::string& path)
{
    if (access(path.c_str(), F_OK) != 0 || unlink(path.c_str()) == 0)
        return 1;
    return failed(sx::sprintf("remove file fail: %s: %s", path.c_str(), std::strerror(errno)));
}

bool parseVersion(const std::string& text, ProfileVersion& version)
{
    version.major = 0;
    std::vector<std::string> parts;
    sx::split(text, parts, '.');
    const bool wellFormed = !parts.empty() && parts.size() <= 3 && parseParts(parts, version);
    if (wellFormed && version.major != 0)
        return true;
    version.minor = 0;
    version.build = 0;
    return false;
}

} // namespace utils
