// Fuzzes multipart forms: the first line of an input is the content type, the rest is the body.
#include "fuzz/form_fields.h"

namespace {

bool Holds(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

// Returns the body of a form. A form with fields gets `around` as preamble and epilogue.
std::string Body(const Fields& fields, const std::string& delimiter, const std::string& around) {
    std::string body = fields.empty() ? "" : around + "\r\n";
    for (const auto& [name, value] : fields) {
        // A name that contains a quote was sent without quotes.
        const std::string quote = Holds(name, "\"") ? "" : "\"";
        body += delimiter + "\r\ncontent-disposition: form-data; name=" + quote + name + quote + "\r\n\r\n" +
                value + "\r\n";
    }
    return body + delimiter + "--" + (fields.empty() ? "" : "\r\n" + around);
}

}  // namespace

void Try(std::string_view input) {
    const std::string type(ConsumeUntil(input, "\n"));
    Fields fields;
    if (AppendMultipart(input, type, fields) != nullptr) {
        Require(fields.empty(), "a rejected form has no fields");
        return;
    }
    for (const FormField& field : fields) {
        Require(Holds(input, field.name) && Holds(input, field.value), "fields are parts of the body");
    }
    RequireLimits(input, fields, [&](Fields& full) { return AppendMultipart(input, type, full); });

    std::string boundary = "boundary";
    while (Holds(input, boundary)) {
        boundary += std::to_string(boundary.size());
    }
    // A boundary ends a value only at the start of a line, that is, after CR LF.
    for (FormField& field : fields) {
        field.value += "\n\n--" + boundary;
    }
    Fields again;
    const std::string body = Body(fields, "--" + boundary, std::string(input));
    Require(AppendMultipart(body, "multipart/form-data; boundary=" + boundary, again) == nullptr &&
                again == fields,
            "reading the fields from a new body gives the same fields");
}
