// What a command shows: records of named values, as text for people or as JSON for scripts.
#pragma once

#include <stdint.h>
#include <stdio.h>

namespace output {

// Results go to the standard output of now, which the process may give to others afterwards.
// Where there is none, `open` is false and everything shown is lost.
void Start(bool json, bool open);

// For what is no record: help, or the bytes of a partition.
FILE *Stream();

// What was shown last in JSON when the command fails; of any length, cut to a few hundred bytes.
void SetError(const char *text);

// Ends the result. In JSON that is one value: what the command showed, {} when that was nothing,
// or after a failure an object with the error. False when not all of it could be written.
bool Finish(bool failed);

// False when a result could not be written: a command that has no end should stop.
bool Works();

// Records from here on are shown as they come, in JSON as an object a line.
void BeginLines();

// A list is an array in JSON and a table with a heading as text. A record outside a list is shown
// as one line for each value.
void BeginList();
void EndList();
// One value alone: as text just that, for a script's $(...).
void Single(const char *name, const char *value);
void Single(const char *name, int64_t value);
void BeginRecord();
void EndRecord();
// In JSON a text that is not UTF-8 is followed by its bytes in hexadecimal, as NAME-bytes.
void Text(const char *name, const char *value);
void Number(const char *name, int64_t value);
// Shown in hexadecimal to people, in JSON as text.
void Hex(const char *name, uint64_t value, int digits);

}  // namespace output
