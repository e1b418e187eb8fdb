#pragma once

#include <optional>
#include <string>

namespace dms {

// Returns the first IPv4 address of a network interface. If `interface` is empty, returns the first IPv4
// address of any interface except loopback. Returns an empty text if there is none, and nothing with errno
// set if the interfaces cannot be listed.
std::optional<std::string> AddressOf(const std::string& interface);

}  // namespace dms
