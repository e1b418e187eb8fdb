// What both kinds of forms must keep to.
#pragma once

#include <string>
#include <vector>

#include "fuzz/target.h"
#include "platform/cgi/form.h"

using Fields = std::vector<FormField>;

inline bool operator==(const FormField& field, const FormField& other) {
    return field.name == other.name && field.value == other.value;
}

// `fields` are those that `append` finds in `text`.
template <typename Append>
void RequireBounds(std::string_view text, const Fields& fields, const Append& append) {
    size_t bytes = 0;
    for (const FormField& field : fields) {
        bytes += field.name.size() + field.value.size();
    }
    Require(bytes <= text.size(), "fields hold no more than was sent");

    constexpr size_t ROOM = 4;
    static Fields full(MAX_FORM_FIELDS - ROOM);
    Require((append(full) != nullptr) == (fields.size() > ROOM), "fields beyond the limit alone are refused");
    Require(full.size() <= MAX_FORM_FIELDS, "a form has no more fields than it may");
    full.resize(MAX_FORM_FIELDS - ROOM);
}
