#include "platform/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

Descriptor::~Descriptor() {
    if (IsOpen()) {
        close(number_);
    }
}

bool ReadToEnd(int descriptor, std::string& content) {
    content.clear();
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && status.st_size > 0) {
        content.reserve(static_cast<size_t>(status.st_size));
    }
    std::array<char, 16U << 10U> piece;
    for (;;) {
        const ssize_t count = read(descriptor, piece.data(), piece.size());
        if (count > 0) {
            content.append(piece.data(), static_cast<size_t>(count));
        } else if (count == 0) {
            return true;
        } else if (errno != EINTR) {
            return false;
        }
    }
}

bool ReadFile(const char* path, std::string& content) {
    // Not to wait for a writer where a FIFO lies in the file's place.
    const Descriptor file(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    return ReadToEnd(file.Get(), content);
}

bool WriteAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = write(descriptor, content.data(), content.size());
        if (count >= 0) {
            content.remove_prefix(static_cast<size_t>(count));
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}
