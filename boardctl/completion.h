// What bash completes a command line with is made from the tables of commands and options.
#pragma once

#include <stdio.h>

namespace boardctl {

void PrintCompletion(FILE *file);

}  // namespace boardctl
