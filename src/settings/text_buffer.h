// A text of bounded size, as the daemon keeps its own.
#pragma once

#include <cstring>

// At most `N` bytes with the terminator; filled with zero bytes.
template <size_t N>
class TextBuffer {
  public:
    TextBuffer() = default;
    explicit TextBuffer(const char* text) { Copy(text); }

    // Takes over `text`, cut to `bytes` (N at most) with the terminator.
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
