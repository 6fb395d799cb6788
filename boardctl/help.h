// Help and manual page, made from the table of commands.
#pragma once

#include <stdio.h>

#include "boardctl/command.h"

void PrintHelp(FILE *file);
void PrintCommandHelp(FILE *file, const Command &command);
void PrintManual(FILE *file);

// Whether names of commands begin with this word, as "env get" does with "env"; and these commands.
bool IsGroup(const char *word);
void PrintGroupHelp(FILE *file, const char *word);
