// The header field If-Match: an input is its value.
#include "fuzz/target.h"
#include "platform/cgi/conditional_request.h"

void Try(std::string_view input) {
    const std::string field(input.substr(0, input.find('\0')));
    EntityTag state;
    state.AddValue(field);
    const IfMatch condition(field.c_str());
    Require(condition.IsPresent(), "a field is a condition");

    const std::string longer = field + " , " + state.Text();
    const IfMatch extended(longer.c_str());
    if (condition.IsMalformed()) {
        Require(extended.IsMalformed(), "a malformed list stays malformed");
    } else if (condition.Holds(state)) {
        Require(field.find('*') != std::string::npos || field.find(state.Text()) != std::string::npos,
                "only '*' and the tag itself match");
    } else {
        Require(!extended.IsMalformed() && extended.Holds(state), "a tag of the list matches");
    }
}
