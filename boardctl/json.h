// Texts become JSON here, also those that are not UTF-8.
#pragma once

#include <stdio.h>

namespace boardctl::json {

// Prints the text as it stands between the quotes of a string, with U+FFFD for each byte that is
// not part of valid UTF-8. Returns false when there was such a byte.
bool PrintText(FILE *file, const char *text);

// Prints the text's bytes in hexadecimal.
void PrintBytes(FILE *file, const char *text);

}  // namespace boardctl::json
