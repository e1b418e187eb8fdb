#include "platform/files/file_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

Descriptor::~Descriptor() {
    if (IsOpen()) {
        close(number_);
    }
}

int OpenToRead(const char* path) {
    return Uninterrupted([&] { return open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); });
}

bool ReadToEnd(int descriptor, std::string& content) {
    content.clear();
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        content.reserve(std::min(static_cast<size_t>(status.st_size), MAX_FILE_SIZE));
    }
    std::array<char, 16U << 10U> piece;
    for (;;) {
        const ssize_t count = Uninterrupted([&] { return read(descriptor, piece.data(), piece.size()); });
        if (count <= 0) {
            return count == 0;
        }
        content.append(piece.data(), static_cast<size_t>(count));
        if (content.size() > MAX_FILE_SIZE) {
            errno = EFBIG;
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
    return ReadToEnd(file.Get(), content);
}

bool WriteAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count =
            Uninterrupted([&] { return write(descriptor, content.data(), content.size()); });
        if (count < 0) {
            return false;
        }
        content.remove_prefix(static_cast<size_t>(count));
    }
    return true;
}

int VLIBCFileExist(const char* path) {
    struct stat status = {};
    return Uninterrupted([&] { return stat(path, &status); }) == 0 ? 1 : 0;
}

int IsFileExist(const char* path, long long* information) {
    *information = 0;
    return VLIBCFileExist(path);
}
