#include "platform/json/json_reader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/json/json_scalars.h"
#include "platform/text/scanning.h"

namespace {

constexpr std::string_view LINE_ENDS = "\r\n";

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool ContainsLineEnd(std::string_view text) {
    return text.find_first_of(LINE_ENDS) != std::string_view::npos;
}

// Reads a comment, with its line end if it is a line comment. Returns an empty text if `rest` does not
// start with a complete comment.
std::string_view ConsumeComment(std::string_view& rest) {
    const std::string_view all = rest;
    if (rest.starts_with("//")) {
        rest.remove_prefix(std::min(rest.find_first_of(LINE_ENDS), rest.size()));
        if (!ConsumePrefix(rest, "\r\n") && !ConsumePrefix(rest, "\r")) {
            ConsumePrefix(rest, "\n");
        }
    } else if (const size_t end = rest.starts_with("/*") ? rest.find("*/", 2) : rest.npos; end != rest.npos) {
        rest.remove_prefix(end + 2);
    }
    return all.substr(0, all.size() - rest.size());
}

// Appends the comment with every line end as one line feed.
void AppendComment(std::string_view comment, std::string& text) {
    while (!comment.empty()) {
        if (ConsumePrefix(comment, "\r\n") || ConsumePrefix(comment, "\r")) {
            text += '\n';
        } else {
            text += comment.front();
            comment.remove_prefix(1);
        }
    }
}

// Collects comments and attaches each to the value that it belongs to.
class Comments {
  public:
    void Add(std::string_view comment) {
        // Each byte is searched at most twice for a line end, so many comments after a value cost linear
        // time.
        lineEnded_ = lineEnded_ || ContainsLineEnd({searched_, comment.data()});
        searched_ = comment.data();
        const bool line = comment.starts_with("//");
        if (lastValue_ != nullptr && !lineEnded_ && (line || !ContainsLineEnd(comment))) {
            std::string text;
            AppendComment(comment, text);
            lastValue_->setComment(text, Json::commentAfterOnSameLine);
        } else {
            AppendComment(comment, pending_);
        }
    }

    // Attaches the comments that have been read since the last value.
    void AttachTo(Json::Value& value, Json::CommentPlacement placement) {
        if (!pending_.empty()) {
            value.setComment(pending_, placement);
            pending_.clear();
        }
    }

    // Call this after reading `value`; `rest` is the text after it.
    void EndValue(Json::Value& value, std::string_view rest) {
        lastValue_ = &value;
        searched_ = rest.data();
        lineEnded_ = false;
    }

  private:
    std::string pending_;
    Json::Value* lastValue_ = nullptr;
    const char* searched_ = nullptr;  // the text after the last value is searched up to here
    bool lineEnded_ = true;           // whether a line has ended since the last value
};

// Returns the size of the text in a response, where every byte outside ASCII may need an escape: see
// MAX_JSON_TEXT.
size_t ResponseSize(std::string_view text) {
    constexpr size_t ESCAPED = sizeof "\\uFFFD" - 1;
    const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    const auto ascii = static_cast<size_t>(std::ranges::count_if(text, isAscii));
    return ascii + (text.size() - ascii) * ESCAPED;
}

enum class Mode : char {
    Document,  // build the document
    Elements,  // pass each element of the outermost array to the handler
    Validate   // build nothing
};

// A recursive descent parser. A Read function returns false if it has found an error; parsing then ends.
class Parser {
  public:
    Parser(std::string_view text, const JsonLimits& limits, Mode mode, const JsonElementHandler& handle = {})
        : rest_(text), limits_(limits), mode_(mode), handle_(handle) {}

    bool ReadDocument(Json::Value& root) {
        if (!ReadValue(root) || !SkipSpace() || !rest_.empty()) {
            return false;
        }
        comments_.AttachTo(root, Json::commentAfter);
        return true;
    }

  private:
    bool Consume(std::string_view token) { return ConsumePrefix(rest_, token); }

    // Whether the array or object that is being read stores its values.
    bool StoresValues() const { return mode_ == Mode::Document || (mode_ == Mode::Elements && depth_ > 1); }

    // Counts a value or a comment. Returns false if there are too many.
    bool Count() { return values_++ < limits_.values; }

    bool SkipSpace() {
        for (size_t comments = 0;;) {
            while (!rest_.empty() && IsSpace(rest_.front())) {
                rest_.remove_prefix(1);
            }
            if (!rest_.starts_with('/')) {
                return true;
            }
            const std::string_view comment = ConsumeComment(rest_);
            if (comment.empty() || ++comments > MAX_JSON_COMMENTS || !Count()) {
                return false;
            }
            comments_.Add(comment);
        }
    }

    bool ReadValue(Json::Value& value) {
        if (!SkipSpace() || !Count()) {
            return false;
        }
        comments_.AttachTo(value, Json::commentBefore);
        const bool read = Consume("[")   ? ReadNested(Json::arrayValue, &Parser::ReadElements, value)
                          : Consume("{") ? ReadNested(Json::objectValue, &Parser::ReadMembers, value)
                                         : ReadScalar(value);
        comments_.EndValue(value, rest_);
        return read;
    }

    // Replaces the payload only, so that the value keeps its comments.
    static void Set(Json::Value& value, Json::Value payload) { value.swapPayload(payload); }

    bool ReadNested(Json::ValueType type, bool (Parser::*content)(Json::Value&), Json::Value& value) {
        Set(value, Json::Value(type));
        const bool read = depth_++ < limits_.depth && (this->*content)(value);
        --depth_;
        return read;
    }

    bool ReadElements(Json::Value& array) {
        if (!SkipSpace()) {
            return false;
        }
        if (Consume("]")) {
            return true;
        }
        const bool stored = StoresValues();
        Json::Value current;
        for (Json::ArrayIndex i = 0;; ++i) {
            if (!ReadValue(stored ? array[i] : current) || !SkipSpace()) {
                return false;
            }
            if (mode_ == Mode::Elements && !stored) {
                handle_(current);
            }
            if (!Consume(",")) {
                return Consume("]");
            }
        }
    }

    bool ReadMembers(Json::Value& object) {
        if (!SkipSpace()) {
            return false;
        }
        if (Consume("}")) {
            return true;
        }
        const bool stored = StoresValues();
        Json::Value current;
        for (std::string_view name;;) {
            if (!SkipSpace() || !ConsumeJsonString(rest_, unescaped_, name) || name.find('\0') != name.npos) {
                return false;
            }
            Json::Value& member = stored ? *object.demand(name.data(), name.data() + name.size()) : current;
            if (!SkipSpace() || !Consume(":") || !ReadValue(member) || !SkipSpace()) {
                return false;
            }
            if (!Consume(",")) {
                return Consume("}");
            }
        }
    }

    bool ReadScalar(Json::Value& value) {
        if (rest_.starts_with('"')) {
            std::string_view text;
            if (!ConsumeJsonString(rest_, unescaped_, text)) {
                return false;
            }
            if (mode_ != Mode::Validate) {
                Set(value, Json::Value(text.data(), text.data() + text.size()));
            }
            return true;
        }
        Json::Value payload;
        const bool on = Consume("true");
        if (on || Consume("false")) {
            payload = on;
        } else if (!Consume("null") && !ConsumeJsonNumber(rest_, payload)) {
            return false;
        }
        Set(value, std::move(payload));
        return true;
    }

    std::string_view rest_;
    const JsonLimits& limits_;
    Mode mode_;
    const JsonElementHandler& handle_;
    size_t depth_ = 0;
    size_t values_ = 0;
    std::string unescaped_;
    Comments comments_;
};

}  // namespace

bool ParseJson(std::string_view text, Json::Value& value, const JsonLimits& limits) {
    value = Json::Value();
    if (ResponseSize(text) > MAX_JSON_TEXT || !Parser(text, limits, Mode::Document).ReadDocument(value)) {
        value = Json::Value();
        return false;
    }
    return true;
}

bool ParseJsonElements(std::string_view text, const JsonElementHandler& handle) {
    Json::Value document;
    const JsonLimits limits;
    return ResponseSize(text) <= MAX_JSON_TEXT &&
           Parser(text, limits, Mode::Elements, handle).ReadDocument(document);
}

bool IsJson(std::string_view text) {
    Json::Value document;
    const JsonLimits limits;
    return ResponseSize(text) <= MAX_JSON_TEXT && Parser(text, limits, Mode::Validate).ReadDocument(document);
}
