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

// All files of a directory share this temporary name: the lock makes it safe, and the next writer removes a
// file that a killed writer left.
constexpr char TEMPORARY_NAME[] = ".mediaserv.new";

// The names of kept files: NAME.kept, then NAME.kept.1 and so on.
constexpr char KEPT_SUFFIX[] = ".kept";
constexpr int MAX_KEPT_COPIES = 5;

constexpr mode_t DEFAULT_MODE = 0644;
constexpr int MAX_LINKS = 40;  // the kernel's own limit
constexpr timespec LOCK_RETRY_INTERVAL = {0, 5'000'000};

size_t NameStart(const std::string& path) { return path.rfind('/') + 1; }

std::string DirectoryOf(const std::string& path) {
    return NameStart(path) == 0 ? "." : path.substr(0, NameStart(path));
}

// Resolves symbolic links of the file itself. The result need not exist.
std::string FollowLinks(std::string path) {
    char target[PATH_MAX];
    for (int links = 0; links < MAX_LINKS; ++links) {
        const ssize_t length = Uninterrupted([&] { return readlink(path.c_str(), target, sizeof target); });
        if (length <= 0) {
            break;
        }
        // A relative target is relative to the link's directory.
        path.erase(target[0] == '/' ? 0 : NameStart(path));
        path.append(target, static_cast<size_t>(length));
    }
    return path;
}

// Returns 0, or an errno value: ETIMEDOUT if other processes held the lock for MAX_LOCK_SECONDS.
int Lock(int directory) {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const time_t end = now.tv_sec + MAX_LOCK_SECONDS;
    while (flock(directory, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return errno;
        }
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec > end) {
            return ETIMEDOUT;
        }
        nanosleep(&LOCK_RETRY_INTERVAL, nullptr);
    }
    return 0;
}

int ErrnoIfFailed(bool success) { return success ? 0 : errno; }

// Runs a system call again while a signal interrupts it. Returns whether it succeeded; errno is set on
// failure.
template <typename Call>
bool Succeeds(Call call) {
    return Uninterrupted(call) == 0;
}

// Ignores failures: the name may not exist.
void Remove(int directory, const char* name) {
    Succeeds([&] { return unlinkat(directory, name, 0); });
}

// Returns whether `name` is still a name of the file with this status.
bool IsNameOf(int directory, const char* name, const struct stat& file) {
    struct stat current = {};
    return Succeeds([&] { return fstatat(directory, name, &current, AT_SYMLINK_NOFOLLOW); }) &&
           current.st_dev == file.st_dev && current.st_ino == file.st_ino;
}

// Returns 0, or an errno value. On failure the temporary file is removed.
int WriteAndRename(int directory, const char* name, std::string_view content, const struct stat* old) {
    Remove(directory, TEMPORARY_NAME);
    const Descriptor file(Uninterrupted([&] {
        return openat(directory, TEMPORARY_NAME, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    }));
    const int number = file.Get();
    const mode_t mode = old == nullptr ? DEFAULT_MODE : old->st_mode & 07777U;
    const int error = ErrnoIfFailed(
        file.IsOpen() && WriteAll(number, content) &&
        (old == nullptr || Succeeds([&] { return fchown(number, old->st_uid, old->st_gid); })) &&
        Succeeds([&] { return fchmod(number, mode); }) && Succeeds([&] { return fsync(number); }) &&
        Succeeds([&] { return renameat(directory, TEMPORARY_NAME, directory, name); }));
    if (error != 0) {
        Remove(directory, TEMPORARY_NAME);
        return error;
    }
    // EINVAL: this file system can't sync directories.
    return Succeeds([&] { return fsync(directory); }) || errno == EINVAL ? 0 : errno;
}

// Returns whether the file itself may still be writable: the error can mean that only the directory (its
// mode, a read-only file system), the old owner or a mount point (EBUSY) prevented the replacement.
bool MayWriteInPlace(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY;
}

// Without reserved space, a full disk would leave the file half-written. Not every file system supports this.
bool ReserveSpace(int file, size_t size) {
    return size == 0 ||
           Succeeds([&] { return fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)); }) ||
           errno == EOPNOTSUPP || errno == ENOSYS;
}

int WriteInPlace(int file, std::string_view content) {
    return ErrnoIfFailed(ReserveSpace(file, content.size()) && WriteAll(file, content) &&
                         Succeeds([&] { return ftruncate(file, static_cast<off_t>(content.size())); }) &&
                         Succeeds([&] { return fsync(file); }));
}

// Gives the file a second name for a kept copy and returns it in `copy`, which stays empty if all names
// exist. Returns 0, or an errno value.
int KeepCopy(int directory, const std::string& name, std::string& copy) {
    for (int number = 0; number < MAX_KEPT_COPIES; ++number) {
        const std::string candidate = name + KEPT_SUFFIX + (number == 0 ? "" : "." + std::to_string(number));
        if (Succeeds([&] { return linkat(directory, name.c_str(), directory, candidate.c_str(), 0); })) {
            copy = candidate;
            return 0;
        }
        if (errno != EEXIST) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

FileReplacement::FileReplacement(const char* path)
    : path_(FollowLinks(path)), directory_(Uninterrupted([&] {
          return open(DirectoryOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      })) {
    lockError_ = directory_.IsOpen() ? Lock(directory_.Get()) : errno;
    if (lockError_ == ETIMEDOUT) {
        const std::string reason =
            "its directory has been locked for " + std::to_string(MAX_LOCK_SECONDS) + " seconds";
        Fail(reason.c_str());
    }
}

Saved FileReplacement::Replace(std::string_view content) {
    if (lockError_ != 0) {
        errno = lockError_;
        return lockError_ == ETIMEDOUT ? Saved::CantWrite : Saved::CantOpen;
    }
    const char* name = path_.c_str() + NameStart(path_);
    const Descriptor old(Uninterrupted(
        [&] { return openat(directory_.Get(), name, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
    struct stat status = {};
    if (old.IsOpen() ? !Succeeds([&] { return fstat(old.Get(), &status); }) : errno != ENOENT) {
        return Saved::CantOpen;
    }
    if (old.IsOpen() && !S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return Saved::CantOpen;
    }
    const bool keepsOld = old.IsOpen() && !unreadable_.empty();
    std::string copy;
    if (const int error = keepsOld ? KeepCopy(directory_.Get(), name, copy) : 0; error != 0) {
        const std::string reason = std::string("it can't be read and can't be kept: ") + strerror(error);
        return Fail(reason.c_str());
    }
    int error = EFBIG;
    if (content.size() <= MAX_FILE_SIZE) {
        error = WriteAndRename(directory_.Get(), name, content, old.IsOpen() ? &status : nullptr);
    }
    // The copy and the old file are one inode: writing in place would overwrite both.
    if (MayWriteInPlace(error) && copy.empty()) {
        if (!old.IsOpen()) {
            errno = error;
            return Saved::CantOpen;
        }
        error = WriteInPlace(old.Get(), content);
    }
    if (error == 0) {
        if (keepsOld) {
            LogKept(copy);
        }
        return Saved::Yes;
    }
    // If only the last sync failed, the copy is the only name of the old file.
    if (!copy.empty() && IsNameOf(directory_.Get(), name, status)) {
        Remove(directory_.Get(), copy.c_str());
    }
    return Fail(strerror(error));
}

void FileReplacement::LogKept(const std::string& copy) const {
    const std::string result =
        !copy.empty() ? "it is kept as " + copy
                      : "it is not kept, there are " + std::to_string(MAX_KEPT_COPIES) + " copies already";
    syslog(LOG_ERR, "%s can't be read (%s): %s", EscapeForLog(path_).c_str(), unreadable_.c_str(),
           result.c_str());
}

Saved FileReplacement::Fail(const char* reason) const {
    syslog(LOG_ERR, "%s can't be saved: %s", EscapeForLog(path_).c_str(), reason);
    return Saved::CantWrite;
}
