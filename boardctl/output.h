// What a command shows: records of named values, as text for people or as JSON for scripts. The
// library's own messages stay out of it.
#pragma once

#include <stdint.h>
#include <stdio.h>

namespace output {

// Sets the library's messages aside; `json` and `verbose` are the options of that name.
void Start(bool json, bool verbose);

// Shows the messages set aside, on standard error.
void ShowMessages();

// False when not all of the output could be written.
bool Finish();

// Where the command's own output goes; lines are flushed as they end.
FILE *Stream();

// A list is an array in JSON and a table with a heading as text. A record outside a list is shown
// as one line for each value.
void BeginList();
void EndList();
// One value alone: as text just that, for a script's $(...).
void Single(const char *name, const char *value);
void Single(const char *name, int64_t value);
void BeginRecord();
void EndRecord();
void Text(const char *name, const char *value);
void Number(const char *name, int64_t value);
// Shown in hexadecimal to people, in JSON as text.
void Hex(const char *name, uint64_t value, int digits);

}  // namespace output
