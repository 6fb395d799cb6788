// Help and manual page are made from the tables of commands and options.
#pragma once

#include <stdio.h>

#include "boardctl/command.h"

namespace boardctl {

void PrintHelp(FILE *file);
void PrintCommandHelp(FILE *file, const Command &command);
void PrintManual(FILE *file);

// A group is all commands whose names begin with the same word, as "env get" and "env set" do.
bool IsGroup(const char *word);
void PrintGroupHelp(FILE *file, const char *word);

}  // namespace boardctl
