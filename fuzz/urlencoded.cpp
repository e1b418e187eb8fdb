// Fuzzes URL-encoded forms: an input is the body of a form.
#include "fuzz/form_fields.h"

namespace {

std::string Encoded(const std::string& text) {
    std::string encoded;
    for (const char c : text) {
        constexpr char DIGITS[] = "0123456789abcdef";
        encoded += {'%', DIGITS[static_cast<unsigned char>(c) >> 4U], DIGITS[c & 15]};
    }
    return encoded;
}

}  // namespace

void Try(std::string_view input) {
    size_t pieces = 0;
    for (std::string_view rest = input; !rest.empty();) {
        pieces += ConsumeUntil(rest, "&").empty() ? 0U : 1U;
    }
    Fields fields;
    Require(AppendUrlencoded(input, fields) == nullptr && fields.size() == pieces,
            "every non-empty piece is a field");
    RequireLimits(input, fields, [&](Fields& full) { return AppendUrlencoded(input, full); });

    std::string encoded;
    for (const FormField& field : fields) {
        encoded += '&' + Encoded(field.name) + '=' + Encoded(field.value) + '&';
    }
    Fields again;
    Require(AppendUrlencoded(encoded, again) == nullptr && again == fields,
            "reading the fields from a new body gives the same fields");
}
