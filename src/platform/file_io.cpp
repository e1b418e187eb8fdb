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

int OpenToRead(const char* path) { return open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); }

bool ReadToEnd(int descriptor, off_t size, std::string& content) {
    content.clear();
    content.reserve(static_cast<size_t>(size));
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
    const Descriptor file(OpenToRead(path));
    struct stat status = {};
    if (!file.IsOpen() || fstat(file.Get(), &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return false;
    }
    return ReadToEnd(file.Get(), status.st_size, content);
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
