// Key/value files. A line starts with the key, followed by '=' and the value. A value that starts with a
// double quote extends to the last double quote of the line, so values can contain quotes; any other value
// extends to the end of the line (LF or CR LF). If a key occurs more than once, its first line is used.
//
// The interface is that of the appliance's system library: that is why one function returns 1 on success and
// the other 0, and why there is an unused argument `flags`.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Copies the value of `key` into `buffer`, cut to `size` bytes with the terminating zero byte. Returns 1 if
// the key was found, even with an empty value. Otherwise leaves `buffer` unchanged and returns 0 if there is
// no such key, or -1 if the file does not exist or can't be read.
int VLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int flags);

// Makes the file contain exactly one line for `key`, formatted by `format` from key and value; every other
// line stays as it is. Replaces the file as in file_replacement.h and holds the lock while it reads and
// writes. Returns 0, or -1 on failure. Rejects a value that contains a line feed, because it would add a
// second setting.
int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format);

// The same operations on the content of a file, for callers that read or change several keys.

// Returns whether the content has the key. Otherwise leaves `buffer` unchanged.
bool GetKeyValue(std::string_view content, const char* key, char* buffer, size_t size);

// Returns false, and leaves `content` unchanged, if the value would add a second setting.
bool SetKeyValue(std::string& content, const char* key, const char* value, const char* format);
