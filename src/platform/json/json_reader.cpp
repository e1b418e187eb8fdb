#include "platform/json/json_reader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/json/json_scalars.h"
#include "platform/text/scanning.h"

namespace {

constexpr std::string_view LINE_ENDS = "\r\n";

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

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

size_t Cost(std::string_view text) {
    constexpr size_t ESCAPED = sizeof "\\uFFFD" - 1;
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    const auto ascii = static_cast<size_t>(std::ranges::count_if(text, isAscii));
    return ascii + (text.size() - ascii) * ESCAPED;
}

// What becomes of the values that are read.
enum class Keep : char {
    All,       // they make the document
    Elements,  // those of the outermost array are handed out, each when it is read
    Nothing    // the text is only judged
};

// Recursive descent. A member that returns false has met what no document holds; nothing is read behind that.
class Parser {
  public:
    Parser(std::string_view text, const JsonLimits& limits, Keep keep, const JsonElementTaker& take = {})
        : rest_(text), limits_(limits), keep_(keep), take_(take) {}

    bool Document(Json::Value& root) {
        if (!Value(root) || !SkipSpace() || !rest_.empty()) {
            return false;
        }
        comments_.GiveTo(root, Json::commentAfter);
        return true;
    }

  private:
    bool Take(std::string_view token) { return TakePrefix(rest_, token); }

    // Of what stands in the array or object that is being read.
    bool IsKept() const { return keep_ == Keep::All || (keep_ == Keep::Elements && depth_ > 1); }

    bool Count() { return values_++ < limits_.values; }

    bool SkipSpace() {
        for (size_t comments = 0;;) {
            while (!rest_.empty() && IsSpace(rest_.front())) {
                rest_.remove_prefix(1);
            }
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

    bool Value(Json::Value& value) {
        if (!SkipSpace() || !Count()) {
            return false;
        }
        comments_.GiveTo(value, Json::commentBefore);
        const bool read = Take("[")   ? Nested(Json::arrayValue, &Parser::Elements, value)
                          : Take("{") ? Nested(Json::objectValue, &Parser::Members, value)
                                      : Scalar(value);
        comments_.EndValue(value, rest_);
        return read;
    }

    // The payload alone: comments stay with the value.
    static void Set(Json::Value& value, Json::Value payload) { value.swapPayload(payload); }

    bool Nested(Json::ValueType type, bool (Parser::*content)(Json::Value&), Json::Value& value) {
        Set(value, Json::Value(type));
        const bool read = depth_++ < limits_.depth && (this->*content)(value);
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
        const bool kept = IsKept();
        Json::Value dropped;
        for (Json::ArrayIndex i = 0;; ++i) {
            if (!Value(kept ? array[i] : dropped) || !SkipSpace()) {
                return false;
            }
            if (keep_ == Keep::Elements && !kept) {
                take_(dropped);
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
        const bool kept = IsKept();
        Json::Value dropped;
        for (std::string_view name;;) {
            if (!SkipSpace() || !TakeJsonString(rest_, unescaped_, name) || name.find('\0') != name.npos) {
                return false;
            }
            Json::Value& member = kept ? *object.demand(name.data(), name.data() + name.size()) : dropped;
            if (!SkipSpace() || !Take(":") || !Value(member) || !SkipSpace()) {
                return false;
            }
            if (!Take(",")) {
                return Take("}");
            }
        }
    }

    bool Scalar(Json::Value& value) {
        if (rest_.starts_with('"')) {
            std::string_view text;
            if (!TakeJsonString(rest_, unescaped_, text)) {
                return false;
            }
            if (keep_ != Keep::Nothing) {
                Set(value, Json::Value(text.data(), text.data() + text.size()));
            }
            return true;
        }
        Json::Value payload;
        const bool on = Take("true");
        if (on || Take("false")) {
            payload = on;
        } else if (!Take("null") && !TakeJsonNumber(rest_, payload)) {
            return false;
        }
        Set(value, std::move(payload));
        return true;
    }

    std::string_view rest_;
    const JsonLimits& limits_;
    Keep keep_;
    const JsonElementTaker& take_;
    size_t depth_ = 0;
    size_t values_ = 0;
    std::string unescaped_;
    Comments comments_;
};

}  // namespace

bool ParseJson(std::string_view text, Json::Value& value, const JsonLimits& limits) {
    value = Json::Value();
    if (Cost(text) > MAX_JSON_TEXT || !Parser(text, limits, Keep::All).Document(value)) {
        value = Json::Value();
        return false;
    }
    return true;
}

bool ParseJsonElements(std::string_view text, const JsonElementTaker& take) {
    Json::Value document;
    const JsonLimits limits;
    return Cost(text) <= MAX_JSON_TEXT && Parser(text, limits, Keep::Elements, take).Document(document);
}

bool IsJson(std::string_view text) {
    Json::Value document;
    const JsonLimits limits;
    return Cost(text) <= MAX_JSON_TEXT && Parser(text, limits, Keep::Nothing).Document(document);
}
