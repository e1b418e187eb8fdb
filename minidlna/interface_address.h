#pragma once

#include <string>

// The first IPv4 address of an interface, or without a name the first one of this machine that others can
// reach; empty when there is none.
std::string AddressOf(const std::string& interface);
