// Reading and writing of whole files and descriptors.
#pragma once

#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>

// The size limit, in bytes, of a file that this program reads or writes as a whole.
constexpr size_t MAX_FILE_SIZE = 64U << 20U;

// Repeats a system call that a signal interrupts (EINTR).
template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Owns a file descriptor and closes it. A negative number means that nothing is open.
class Descriptor {
  public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor();
    int Get() const { return number_; }
    bool IsOpen() const { return number_ >= 0; }

  private:
    int number_;
};

// Opens `path` for reading. Does not block if the file is a FIFO without a writer. Returns the descriptor, or
// -1 with errno set on failure.
int OpenToRead(const char* path);

// Reads to the end of the descriptor. Returns false with errno set on failure (EFBIG if there are more than
// MAX_FILE_SIZE bytes); `content` then holds the bytes read so far.
bool ReadToEnd(int descriptor, std::string& content);

// Reads the regular file at `path` to its end. Returns false with errno set if it can't be opened or read, or
// is not a regular file (EINVAL).
bool ReadFile(const char* path, std::string& content);

// Writes all of `content`. Returns false with errno set on failure.
bool WriteAll(int descriptor, std::string_view content);

// Both functions return 1 if `path` exists (symbolic links are followed), otherwise 0 with errno set. The
// appliance's system library has both; `information` is its output argument, which has no use here and is set
// to 0.
int VLIBCFileExist(const char* path);
int IsFileExist(const char* path, long long* information);
