#pragma once

#include <string>

namespace dms {

// Returns the first IPv4 address of a network interface. If `interface` is empty, returns the first IPv4
// address of any interface except loopback. Returns an empty text if there is none.
std::string AddressOf(const std::string& interface);

}  // namespace dms
