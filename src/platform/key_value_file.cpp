#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "platform/file_io.h"
#include "platform/system_library.h"

namespace {

// Takes the next line, its end included, off `rest`.
std::string_view NextLine(std::string_view& rest) {
    const size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end == std::string_view::npos ? end : end + 1);
    rest.remove_prefix(line.size());
    return line;
}

bool IsLineOf(std::string_view line, std::string_view key) {
    return line.starts_with(key) && line.substr(key.size()).starts_with('=');
}

std::string_view ValueOf(std::string_view line, std::string_view key) {
    std::string_view value = line.substr(key.size() + 1);
    for (const char end : {'\n', '\r'}) {
        if (value.ends_with(end)) {
            value.remove_suffix(1);
        }
    }
    if (!value.starts_with('"')) {
        return value;
    }
    value.remove_prefix(1);
    // A quote that is never closed leaves the rest of the line.
    return value.substr(0, value.rfind('"'));
}

std::string FormatLine(const char* format, const char* key, const char* value) {
    char* text = nullptr;
    const int length = asprintf(&text, format, key, value);
    std::string line;
    if (length > 0) {
        line.assign(text, static_cast<size_t>(length));
        free(text);
    }
    return line;
}

std::string ReplaceLine(std::string_view content, std::string_view key, const std::string& newLine) {
    std::string result;
    result.reserve(content.size() + newLine.size() + 1);
    bool placed = false;
    while (!content.empty()) {
        const std::string_view line = NextLine(content);
        if (!IsLineOf(line, key)) {
            result += line;
        } else if (!placed) {
            result += newLine;
            placed = true;
        }
    }
    if (!placed) {
        if (!result.empty() && !result.ends_with('\n')) {
            result += '\n';
        }
        result += newLine;
    }
    return result;
}

// Where `path` leads through symbolic links; empty when its directory is missing or a link leads nowhere.
std::string ResolvePath(const std::string& path) {
    char resolved[PATH_MAX];
    if (realpath(path.c_str(), resolved) != nullptr) {
        return resolved;
    }
    struct stat status = {};
    const bool missing = lstat(path.c_str(), &status) != 0;
    const size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    if (!missing || realpath(directory.c_str(), resolved) == nullptr) {
        return {};
    }
    return std::string(resolved) + "/" + path.substr(slash + 1);
}

// A new file beside the old one, with its mode and owner, on the disk when this returns true.
bool WriteBeside(const std::string& path, const std::string& content, const struct stat* old) {
    // A fixed name, safe under the directory's lock: what a killed writer left is replaced, not added to.
    unlink(path.c_str());
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    return file.IsOpen() && WriteAll(file.Get(), content) &&
           (old == nullptr || fchown(file.Get(), old->st_uid, old->st_gid) == 0) &&
           fchmod(file.Get(), old == nullptr ? 0644 : old->st_mode & 07777U) == 0 && fsync(file.Get()) == 0;
}

int SetLine(const std::string& path, const char* key, const std::string& line) {
    const std::string directoryPath = path.substr(0, path.rfind('/') + 1);
    const Descriptor directory(open(directoryPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.IsOpen() || flock(directory.Get(), LOCK_EX) != 0) {
        return -1;
    }
    std::string content;
    struct stat old = {};
    const bool exists = ReadFile(path.c_str(), content);
    if (exists ? stat(path.c_str(), &old) != 0 : errno != ENOENT) {
        return -1;
    }
    const std::string beside = path + ".new";
    if (!WriteBeside(beside, ReplaceLine(content, key, line), exists ? &old : nullptr) ||
        rename(beside.c_str(), path.c_str()) != 0) {
        unlink(beside.c_str());
        return -1;
    }
    // Some file systems can't sync a directory and say so.
    return fsync(directory.Get()) == 0 || errno == EINVAL ? 0 : -1;
}

}  // namespace

int VLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int /*flags*/) {
    std::string content;
    if (size <= 0 || !ReadFile(path, content)) {
        return -1;
    }
    for (std::string_view rest = content; !rest.empty();) {
        const std::string_view line = NextLine(rest);
        if (IsLineOf(line, key)) {
            const std::string_view value = ValueOf(line, key);
            const size_t count = std::min(value.size(), static_cast<size_t>(size) - 1);
            memcpy(buffer, value.data(), count);
            buffer[count] = '\0';
            return 1;
        }
    }
    return 0;
}

int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format) {
    const std::string line = FormatLine(format, key, value);
    const std::string target = ResolvePath(path);
    if (target.empty() || !line.ends_with('\n') || line.find('\n') != line.size() - 1) {
        return -1;
    }
    return SetLine(target, key, line);
}

int VLIBCFileExist(const char* path) {
    struct stat status = {};
    return stat(path, &status) == 0 ? 1 : 0;
}

int IsFileExist(const char* path, long long* information) {
    *information = 0;
    return VLIBCFileExist(path);
}
