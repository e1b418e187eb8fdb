// The rules for both kinds of forms.
#pragma once

#include <string>
#include <vector>

#include "fuzz/target.h"
#include "platform/cgi/form.h"

using Fields = std::vector<FormField>;

inline bool operator==(const FormField& field, const FormField& other) {
    return field.name == other.name && field.value == other.value;
}

// Checks the sizes and the number of the fields that `append` has found in `text`.
template <typename Append>
void RequireLimits(std::string_view text, const Fields& fields, const Append& append) {
    size_t bytes = 0;
    for (const FormField& field : fields) {
        bytes += field.name.size() + field.value.size();
    }
    Require(bytes <= text.size(), "fields are at most as long as the text");

    constexpr size_t ROOM = 4;
    static Fields full(MAX_FORM_FIELDS - ROOM);
    Require((append(full) != nullptr) == (fields.size() > ROOM),
            "a form is rejected if and only if it has too many fields");
    Require(full.size() <= MAX_FORM_FIELDS, "a form never has too many fields");
    full.resize(MAX_FORM_FIELDS - ROOM);
}
