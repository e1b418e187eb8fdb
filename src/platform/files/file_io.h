// Whole files and descriptors.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// A file that this system reads or writes whole is no larger.
constexpr size_t MAX_FILE_SIZE = 64U << 20U;

// A descriptor that closes itself; -1 when there is none.
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

// open(2) for reading, which doesn't wait for a writer where a FIFO lies in the file's place. Returns the
// descriptor, -1 with errno set on failure.
int OpenToRead(const char* path);

// read(2) to the end. False with errno set when it fails (EFBIG beyond MAX_FILE_SIZE), with what came before
// in `content`.
bool ReadToEnd(int descriptor, std::string& content);

// Reads the regular file at `path` to its end. False with errno set when it can't be opened or read, or is of
// another kind (EINVAL).
bool ReadFile(const char* path, std::string& content);

// write(2) until all is written; false with errno set on the first failure.
bool WriteAll(int descriptor, std::string_view content);

// Non-zero when something exists at `path` (symbolic links followed). IsFileExist sets `information` to 0.
int VLIBCFileExist(const char* path);
int IsFileExist(const char* path, long long* information);
