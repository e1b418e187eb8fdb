#include "platform/files/file_replacement.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/text/log_text.h"

namespace {

// One name for all files of a directory, safe under its lock: what a killed writer left, the next one
// removes.
constexpr char NEW_FILE[] = ".mediaserv.new";

constexpr mode_t FIRST_MODE = 0644;
constexpr int MAX_LINKS = 40;  // as many as the kernel follows
constexpr timespec LOCK_PAUSE = {0, 5'000'000};

size_t NameStart(const std::string& path) { return path.rfind('/') + 1; }

std::string DirectoryOf(const std::string& path) {
    return NameStart(path) == 0 ? "." : path.substr(0, NameStart(path));
}

// Where `path` leads, which need not exist.
std::string FollowLinks(std::string path) {
    char target[PATH_MAX];
    for (int links = 0; links < MAX_LINKS; ++links) {
        const ssize_t length = readlink(path.c_str(), target, sizeof target);
        if (length <= 0) {
            break;
        }
        // A relative target starts from the link's directory.
        path.erase(target[0] == '/' ? 0 : NameStart(path));
        path.append(target, static_cast<size_t>(length));
    }
    return path;
}

// Returns 0, or why the lock can't be had: ETIMEDOUT when others have held it all the time.
int Lock(int directory) {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const time_t end = now.tv_sec + LOCK_SECONDS;
    while (flock(directory, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return errno;
        }
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec > end) {
            return ETIMEDOUT;
        }
        nanosleep(&LOCK_PAUSE, nullptr);
    }
    return 0;
}

int ErrorOf(bool success) { return success ? 0 : errno; }

// Returns 0, or why the new file couldn't take the old one's place; then it is gone again.
int ReplaceBeside(int directory, const char* name, std::string_view content, const struct stat* old) {
    unlinkat(directory, NEW_FILE, 0);
    const Descriptor file(
        openat(directory, NEW_FILE, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    const int error = ErrorOf(file.IsOpen() && WriteAll(file.Get(), content) &&
                              (old == nullptr || fchown(file.Get(), old->st_uid, old->st_gid) == 0) &&
                              fchmod(file.Get(), old == nullptr ? FIRST_MODE : old->st_mode & 07777U) == 0 &&
                              fsync(file.Get()) == 0 && renameat(directory, NEW_FILE, directory, name) == 0);
    if (error != 0) {
        unlinkat(directory, NEW_FILE, 0);
        return error;
    }
    // Some file systems can't sync a directory and say so.
    return fsync(directory) == 0 || errno == EINVAL ? 0 : errno;
}

// Whether it is the directory that refuses: by its mode, as part of a read-only system, by an owner that
// can't be taken over, or because the file is a mount point.
bool IsDirectorysRefusal(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

// Room is taken first, lest the disk fills up half-way. Not every file system can do that.
bool TakeRoom(int file, size_t size) {
    return size == 0 || fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0 ||
           errno == EOPNOTSUPP || errno == ENOSYS;
}

int WriteInPlace(int file, std::string_view content) {
    return ErrorOf(TakeRoom(file, content.size()) && WriteAll(file, content) &&
                   ftruncate(file, static_cast<off_t>(content.size())) == 0 && fsync(file) == 0);
}

}  // namespace

FileReplacement::FileReplacement(const char* path)
    : path_(FollowLinks(path)),
      directory_(open(DirectoryOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    error_ = directory_.IsOpen() ? Lock(directory_.Get()) : errno;
    if (error_ == ETIMEDOUT) {
        const std::string reason =
            "its directory has been locked for " + std::to_string(LOCK_SECONDS) + " seconds";
        Refuse(reason.c_str());
    }
}

Saved FileReplacement::Replace(std::string_view content) {
    if (error_ != 0) {
        errno = error_;
        return error_ == ETIMEDOUT ? Saved::CantWrite : Saved::CantOpen;
    }
    const char* name = path_.c_str() + NameStart(path_);
    const Descriptor old(openat(directory_.Get(), name, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (old.IsOpen() ? fstat(old.Get(), &status) != 0 : errno != ENOENT) {
        return Saved::CantOpen;
    }
    if (old.IsOpen() && !S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return Saved::CantOpen;
    }
    int error = EFBIG;
    if (content.size() <= MAX_FILE_SIZE) {
        error = ReplaceBeside(directory_.Get(), name, content, old.IsOpen() ? &status : nullptr);
    }
    if (IsDirectorysRefusal(error)) {
        if (!old.IsOpen()) {
            errno = error;
            return Saved::CantOpen;
        }
        error = WriteInPlace(old.Get(), content);
    }
    return error == 0 ? Saved::Yes : Refuse(strerror(error));
}

Saved FileReplacement::Refuse(const char* reason) const {
    syslog(LOG_ERR, "%s can't be saved: %s", EscapeForLog(path_).c_str(), reason);
    return Saved::CantWrite;
}
