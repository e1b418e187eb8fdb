// A text of limited size. The daemon has the same limits for its texts.
#pragma once

#include <cstring>

// Holds at most `N` bytes, including the terminating zero byte. All bytes after the text are zero.
template <size_t N>
class TextBuffer {
  public:
    TextBuffer() = default;
    explicit TextBuffer(const char* text) { Copy(text); }

    // Copies `text`, cut to `bytes` (at most N) with the terminating zero byte.
    void Copy(const char* text, size_t bytes = N) {
        memset(text_, 0, N);
        memcpy(text_, text, strnlen(text, (bytes < N ? bytes : N) - 1));
    }

    char* data() { return text_; }
    const char* c_str() const { return text_; }
    bool empty() const { return text_[0] == '\0'; }
    bool operator==(const char* text) const { return strcmp(text_, text) == 0; }
    bool operator==(const TextBuffer& other) const { return *this == other.text_; }

  private:
    char text_[N] = {};
};
