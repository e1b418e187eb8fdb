#include "platform/form.h"

#include <cgicc/CgiUtils.h>
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

// Feeds the parser one part of a multipart body from memory: left alone it would read standard input before
// anybody has judged the length, and hand out the parts that were sent as files after all others.
class PartInput : public cgicc::CgiInput {
  public:
    PartInput(std::string_view part, const std::string& boundary)
        : boundary_(boundary),
          body_("--" + boundary + "\r\n" + std::string(part) + "--" + boundary + "--\r\n") {}

    size_t read(char* data, size_t length) override {
        const size_t count = std::min(length, body_.size());
        memcpy(data, body_.data(), count);
        return count;
    }

    std::string getenv(const char* name) override {
        const std::string_view variable = name;
        if (variable == "REQUEST_METHOD") {
            return "POST";
        }
        if (variable == "CONTENT_TYPE") {
            return std::string(MULTIPART) + "; boundary=" + boundary_;
        }
        return variable == "CONTENT_LENGTH" ? std::to_string(body_.size()) : std::string();
    }

  private:
    const std::string& boundary_;
    std::string body_;
};

const char* AppendMultipart(std::string_view body, std::string_view contentType,
                            std::vector<FormField>& fields) {
    const std::string boundary = MultipartBoundary(contentType);
    std::vector<std::string_view> parts;
    if (boundary.empty() || !SplitMultipart(body, boundary, parts)) {
        return BAD_REQUEST;
    }
    for (const std::string_view part : parts) {
        PartInput input(part, boundary);
        const cgicc::Cgicc parsed(&input);
        for (const cgicc::FormEntry& field : parsed.getElements()) {
            fields.push_back({field.getName(), field.getValue()});
        }
        for (const cgicc::FormFile& file : parsed.getFiles()) {
            fields.push_back({file.getName(), file.getData()});
        }
    }
    return nullptr;
}

// Taken apart here: the parser would also take a raw ';' for a separator, though lists hold semicolons.
void AppendUrlencoded(std::string_view text, std::vector<FormField>& fields) {
    while (!text.empty()) {
        const std::string_view field = text.substr(0, text.find('&'));
        text.remove_prefix(std::min(field.size() + 1, text.size()));
        if (!field.empty()) {
            const std::string_view name = field.substr(0, field.find('='));
            const std::string_view value = field.substr(std::min(name.size() + 1, field.size()));
            fields.push_back(
                {cgicc::form_urldecode(std::string(name)), cgicc::form_urldecode(std::string(value))});
        }
    }
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
        syslog(LOG_WARNING, "request refused: %s", form.refusal);
    } else if (!query.empty()) {
        AppendUrlencoded(query, form.fields);
    }
    return form;
}
