// Text as JSON.
#pragma once

#include <stdio.h>

namespace json {

// Prints the text as it stands between the quotes of a string, with U+FFFD for each byte that is
// not part of valid UTF-8. False when there was such a byte.
bool PrintText(FILE *file, const char *text);

// Prints its bytes in hexadecimal.
void PrintBytes(FILE *file, const char *text);

}  // namespace json
