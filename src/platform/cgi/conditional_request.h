// Conditional requests (RFC 9110, 8.8.3 and 13.1.1): a save with the header field If-Match states which
// version of the stored state it changes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The entity tag of a stored state: a hash of its values in their order. It detects the changes of others; it
// does not protect against forgery, since anybody who may save can also save without a condition.
class EntityTag {
  public:
    // Adds a value. The tag depends on where values begin and end.
    void AddValue(std::string_view value);

    // Adds bytes. The tag does not depend on how they are divided into pieces.
    void AddBytes(std::string_view bytes);

    // Returns the tag with its quotes, as in a header field.
    std::string Text() const;

  private:
    uint64_t hash_ = 0xCBF29CE484222325;  // FNV-1a
};

// The condition of a request.
class IfMatch {
  public:
    IfMatch() = default;

    // Parses the value of the header field; null if the request has none.
    explicit IfMatch(const char* field);

    bool IsPresent() const { return present_; }

    // Returns whether the field is neither "*" nor a list of entity tags. No state meets such a condition.
    bool IsMalformed() const { return malformed_; }

    // Returns whether the state with this tag meets the condition. A request without a condition, or with
    // "*", accepts every state. Weak tags never match.
    bool Holds(const EntityTag& state) const;

  private:
    bool present_ = false;
    bool malformed_ = false;
    bool any_ = false;
    std::vector<std::string_view> tags_;  // views of the field, which is part of the environment
};
