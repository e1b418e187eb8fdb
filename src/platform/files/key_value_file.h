// Key/value files. A line is the key at its very start, '=', the value. A value that begins with a double
// quote reaches to the last one of the line, so values may hold quotes; any other reaches to the line's end
// (LF or CR LF). The first line for a key counts.
#pragma once

// Copies the value of `key` into `buffer`, cut to `size` bytes with its terminator; `flags` is not used.
// Returns 1 when found (an empty value too), else 0 (no such key) or -1 (no such file, or it can't be read)
// with `buffer` as it was.
int VLIBCFileGetKeyValue(const char* path, const char* key, char* buffer, int size, int flags);

// Makes the file hold exactly one line for `key`, made with `format` from key and value; every other line
// stays as it is. The file is replaced as in file_replacement.h, its lock held from reading on. Returns 0, or
// -1 with the file as it was; a value that would make a second line is refused so.
int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format);
