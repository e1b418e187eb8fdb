#include "platform/form.h"

#include <cgicc/Cgicc.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/multipart.h"

namespace {

constexpr char URLENCODED[] = "application/x-www-form-urlencoded";
constexpr char MULTIPART[] = "multipart/form-data";

constexpr char BAD_REQUEST[] = "400 Bad Request";
constexpr char TOO_LARGE[] = "413 Content Too Large";
constexpr char UNSUPPORTED_TYPE[] = "415 Unsupported Media Type";

// Feeds the parser from memory: left alone it would read standard input before anybody has judged the length.
class MemoryInput : public cgicc::CgiInput {
  public:
    MemoryInput(std::string_view text, std::string_view type) : text_(text), type_(type) {}

    size_t read(char* data, size_t length) override {
        const size_t count = std::min(length, text_.size());
        memcpy(data, text_.data(), count);
        return count;
    }

    std::string getenv(const char* name) override {
        const std::string_view variable = name;
        if (variable == "REQUEST_METHOD") {
            return "POST";
        }
        if (variable == "CONTENT_TYPE") {
            return std::string(type_);
        }
        return variable == "CONTENT_LENGTH" ? std::to_string(text_.size()) : std::string();
    }

  private:
    std::string_view text_;
    std::string_view type_;
};

void AppendFields(std::string_view text, std::string_view type, std::vector<FormField>& fields) {
    MemoryInput input(text, type);
    const cgicc::Cgicc parsed(&input);
    for (const cgicc::FormEntry& entry : parsed.getElements()) {
        fields.push_back({entry.getName(), entry.getValue()});
    }
    for (const cgicc::FormFile& file : parsed.getFiles()) {
        fields.push_back({file.getName(), file.getData()});
    }
}

// The parser takes a raw ';' for a separator, though lists here hold semicolons, forgets a last name without
// a
// '=', and takes quadratic time over a run of '&'.
void AppendUrlencoded(std::string_view text, std::vector<FormField>& fields) {
    std::string prepared;
    prepared.reserve(text.size() + 1);
    for (const char c : text) {
        if (c == ';') {
            prepared += "%3B";
        } else if (c != '&' || !prepared.ends_with('&')) {
            prepared += c;
        }
    }
    prepared += '&';
    AppendFields(prepared, URLENCODED, fields);
}

// Part by part: of a whole body the parser would hand out those that were sent as files after all others.
const char* AppendMultipart(std::string_view body, std::string_view contentType,
                            std::vector<FormField>& fields) {
    const std::string boundary = MultipartBoundary(contentType);
    std::vector<std::string_view> parts;
    if (boundary.empty() || !SplitMultipart(body, boundary, parts)) {
        return BAD_REQUEST;
    }
    const std::string type = std::string(MULTIPART) + "; boundary=" + boundary;
    for (const std::string_view part : parts) {
        std::string whole = "--" + boundary + "\r\n";
        whole.append(part).append("--").append(boundary).append("--\r\n");
        AppendFields(whole, type, fields);
    }
    return nullptr;
}

const char* Variable(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

// RFC 3875, 4.1.2: digits, or empty when there is no body.
const char* ReadLength(std::string_view text, size_t& length) {
    length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (!text.empty() && (error == std::errc::invalid_argument || end != text.data() + text.size())) {
        return BAD_REQUEST;
    }
    return error == std::errc::result_out_of_range || length > MAX_REQUEST_BODY ? TOO_LARGE : nullptr;
}

bool ReadStandardInput(std::string& body, size_t length) {
    body.resize(length);
    for (size_t done = 0; done < length;) {
        const ssize_t count = read(STDIN_FILENO, body.data() + done, length - done);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return true;
}

bool IsMediaType(std::string_view contentType, std::string_view type) {
    return EqualsIgnoringCase(contentType.substr(0, contentType.find_first_of("; \t")), type);
}

const char* AppendBody(std::vector<FormField>& fields) {
    size_t length = 0;
    if (const char* refusal = ReadLength(Variable("CONTENT_LENGTH"), length);
        refusal != nullptr || length == 0) {
        return refusal;
    }
    const std::string_view type = Variable("CONTENT_TYPE");
    const bool multipart = IsMediaType(type, MULTIPART);
    if (!multipart && !IsMediaType(type, URLENCODED)) {
        return UNSUPPORTED_TYPE;
    }
    std::string body;
    if (!ReadStandardInput(body, length)) {
        return BAD_REQUEST;
    }
    if (multipart) {
        return AppendMultipart(body, type, fields);
    }
    AppendUrlencoded(body, fields);
    return nullptr;
}

}  // namespace

Form ReadForm() {
    // The parser has a limit of its own in this variable, and throws at it.
    unsetenv("CGICC_MAX_CONTENTLENGTH");
    Form form;
    form.refusal = AppendBody(form.fields);
    const std::string_view query = Variable("QUERY_STRING");
    if (form.refusal != nullptr) {
        form.fields.clear();
        syslog(LOG_WARNING, "request refused: %s", form.refusal);
    } else if (!query.empty()) {
        AppendUrlencoded(query, form.fields);
    }
    return form;
}
