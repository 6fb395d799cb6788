// The file through which a supervised application and its launcher speak.
#pragma once

#include <stdint.h>

namespace libsys::application {

// Writes a value of ApplicationFlag over the file's first character. 0, or -1 with a message.
int32_t WriteFlag(char value);

}  // namespace libsys::application
