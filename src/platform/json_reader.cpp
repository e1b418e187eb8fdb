#include "platform/json_reader.h"

#include <algorithm>
#include <string>

#include "platform/json_scalars.h"
#include "platform/scanning.h"

namespace {

constexpr std::string_view SPACES = " \t\r\n";
constexpr std::string_view LINE_ENDS = "\r\n";

bool EndsLine(std::string_view text) { return text.find_first_of(LINE_ENDS) != std::string_view::npos; }

// Takes the comment, with the line end of one that ends there. Empty for what is no comment.
std::string_view TakeComment(std::string_view& rest) {
    const std::string_view all = rest;
    if (rest.starts_with("//")) {
        rest.remove_prefix(std::min(rest.find_first_of(LINE_ENDS), rest.size()));
        if (!TakePrefix(rest, "\r\n") && !TakePrefix(rest, "\r")) {
            TakePrefix(rest, "\n");
        }
    } else if (const size_t end = rest.starts_with("/*") ? rest.find("*/", 2) : rest.npos; end != rest.npos) {
        rest.remove_prefix(end + 2);
    }
    return all.substr(0, all.size() - rest.size());
}

// The comment with each line end as one line feed.
void AppendComment(std::string_view comment, std::string& text) {
    while (!comment.empty()) {
        if (TakePrefix(comment, "\r\n") || TakePrefix(comment, "\r")) {
            text += '\n';
        } else {
            text += comment.front();
            comment.remove_prefix(1);
        }
    }
}

// Where comments go: the text in front of the next value, or behind the last one.
class Comments {
  public:
    void Keep(std::string_view comment) {
        // Looked through once, in pieces, however many comments follow a value.
        lineEnded_ = lineEnded_ || EndsLine({searched_, comment.data()});
        searched_ = comment.data();
        const bool line = comment.starts_with("//");
        if (lastValue_ != nullptr && !lineEnded_ && (line || !EndsLine(comment))) {
            std::string text;
            AppendComment(comment, text);
            lastValue_->setComment(text, Json::commentAfterOnSameLine);
        } else {
            AppendComment(comment, before_);
        }
    }

    void GiveTo(Json::Value& value, Json::CommentPlacement placement) {
        if (!before_.empty()) {
            value.setComment(before_, placement);
            before_.clear();
        }
    }

    // `value` ends where `rest` begins.
    void EndValue(Json::Value& value, std::string_view rest) {
        lastValue_ = &value;
        searched_ = rest.data();
        lineEnded_ = false;
    }

  private:
    std::string before_;
    Json::Value* lastValue_ = nullptr;
    const char* searched_ = nullptr;  // up to here for a line end behind the last value
    bool lineEnded_ = true;
};

// Recursive descent. A member that returns false has met what no document holds; nothing is read behind that.
class Parser {
  public:
    Parser(std::string_view text, size_t maxDepth) : rest_(text), maxDepth_(maxDepth) {}

    bool Document(Json::Value& root) {
        if (!Value(root) || !SkipSpace() || !rest_.empty()) {
            return false;
        }
        comments_.GiveTo(root, Json::commentAfter);
        return true;
    }

  private:
    bool Take(std::string_view token) { return TakePrefix(rest_, token); }

    bool Count() { return values_++ < MAX_JSON_VALUES; }

    bool SkipSpace() {
        for (size_t comments = 0;;) {
            rest_.remove_prefix(std::min(rest_.find_first_not_of(SPACES), rest_.size()));
            if (!rest_.starts_with('/')) {
                return true;
            }
            const std::string_view comment = TakeComment(rest_);
            if (comment.empty() || ++comments > MAX_JSON_COMMENTS || !Count()) {
                return false;
            }
            comments_.Keep(comment);
        }
    }

    // Payloads are swapped in: the comments stay with the value.
    bool Value(Json::Value& value) {
        if (!SkipSpace() || !Count()) {
            return false;
        }
        comments_.GiveTo(value, Json::commentBefore);
        Json::Value payload;
        if (Take("[")) {
            value.swapPayload(payload = Json::Value(Json::arrayValue));
            if (!Nested(&Parser::Elements, value)) {
                return false;
            }
        } else if (Take("{")) {
            value.swapPayload(payload = Json::Value(Json::objectValue));
            if (!Nested(&Parser::Members, value)) {
                return false;
            }
        } else if (Scalar(payload)) {
            value.swapPayload(payload);
        } else {
            return false;
        }
        comments_.EndValue(value, rest_);
        return true;
    }

    bool Nested(bool (Parser::*content)(Json::Value&), Json::Value& value) {
        const bool read = depth_++ < maxDepth_ && (this->*content)(value);
        --depth_;
        return read;
    }

    bool Elements(Json::Value& array) {
        if (!SkipSpace()) {
            return false;
        }
        if (Take("]")) {
            return true;
        }
        for (Json::ArrayIndex i = 0;; ++i) {
            if (!Value(array[i]) || !SkipSpace()) {
                return false;
            }
            if (!Take(",")) {
                return Take("]");
            }
        }
    }

    bool Members(Json::Value& object) {
        if (!SkipSpace()) {
            return false;
        }
        if (Take("}")) {
            return true;
        }
        for (std::string_view name;;) {
            if (!SkipSpace() || !TakeJsonString(rest_, unescaped_, name) || name.find('\0') != name.npos) {
                return false;
            }
            Json::Value& member = *object.demand(name.data(), name.data() + name.size());
            if (!SkipSpace() || !Take(":") || !Value(member) || !SkipSpace()) {
                return false;
            }
            if (!Take(",")) {
                return Take("}");
            }
        }
    }

    bool Scalar(Json::Value& value) {
        if (std::string_view text; rest_.starts_with('"')) {
            if (!TakeJsonString(rest_, unescaped_, text)) {
                return false;
            }
            value = Json::Value(text.data(), text.data() + text.size());
            return true;
        }
        if (Take("true")) {
            value = true;
            return true;
        }
        if (Take("false")) {
            value = false;
            return true;
        }
        return Take("null") || TakeJsonNumber(rest_, value);
    }

    std::string_view rest_;
    size_t maxDepth_;
    size_t depth_ = 0;
    size_t values_ = 0;
    std::string unescaped_;
    Comments comments_;
};

}  // namespace

bool ParseJson(std::string_view text, Json::Value& value, size_t maxDepth) {
    value = Json::Value();
    if (text.size() > MAX_JSON_TEXT || !Parser(text, maxDepth).Document(value)) {
        value = Json::Value();
        return false;
    }
    return true;
}
