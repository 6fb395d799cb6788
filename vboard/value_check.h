// Whether a value in a description is what its key can hold.
#pragma once

#include <string>

#include "vboard/description_file.h"
#include "vboard/keys.h"

namespace vboard {

// What is wrong with a value, such as "has to be a text"; empty for one that fits.
std::string Fault(const toml::node &node, const Value &value);

}  // namespace vboard
