// The text of a description and of those that it is based on.
#pragma once

// What the parser asserts before it looks for an error is an error of the description.
#define TOML_ASSERT(expression) static_assert(true)
#include <toml++/toml.h>

#include <string>

namespace vboard {

// Throws DescriptionError.
toml::table ReadFiles(const std::string &path);

// "FILE:LINE: ", for messages. A key may come from another file, which the description is based on.
std::string Place(const std::string &file, const toml::source_region &region);

}  // namespace vboard
