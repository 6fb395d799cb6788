// What a text has to be before it becomes part of a shell command.
#pragma once

#include <stddef.h>

namespace libsys::network {

// Four decimal numbers from 0 to 255 joined by dots. None begins with a zero before other digits:
// route would read it as octal.
bool IsIpv4Text(const char *text);

// Six bytes as two hexadecimal digits each, joined by colons.
bool IsMacText(const char *text);

// How much of a text goes into a file of lines: up to its end, to its first control character,
// which could end the line, or to the size of its field in bytes.
int LineLength(const char *text, size_t size);

}  // namespace libsys::network
