#include "minidlna/pid_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "daemon/daemon_control.h"
#include "platform/files/file_io.h"

namespace dms {

PidFile::~PidFile() {
    if (file_ >= 0) {
        unlink(DMS_PID_FILE);
        close(file_);
    }
}

bool PidFile::Lock() {
    // Another dms that ends may delete the file between open and flock. Then the file has no name, and the
    // loop opens the new one.
    for (;;) {
        const int file =
            Uninterrupted([] { return open(DMS_PID_FILE, O_WRONLY | O_CREAT | O_CLOEXEC, 0644); });
        if (file < 0 || Uninterrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) != 0) {
            const int error = errno;
            log_.Write(Level::Error, error == EWOULDBLOCK
                                         ? "dms is already running"
                                         : std::string("cannot lock " DMS_PID_FILE ": ") + strerror(error));
            if (file >= 0) {
                close(file);
            }
            return false;
        }
        file_ = file;
        struct stat status = {};
        if (fstat(file, &status) != 0) {
            log_.Write(Level::Error,
                       std::string("cannot read the status of " DMS_PID_FILE ": ") + strerror(errno));
            return false;
        }
        if (status.st_nlink > 0) {
            return true;
        }
        file_ = -1;
        close(file);
    }
}

bool PidFile::Write() {
    if (Uninterrupted([&] { return ftruncate(file_, 0); }) == 0 &&
        WriteAll(file_, std::to_string(getpid()) + "\n")) {
        return true;
    }
    log_.Write(Level::Error, "cannot write " DMS_PID_FILE ": " + std::string(strerror(errno)));
    return false;
}

}  // namespace dms
