// A command shows its result as records of named values: text for people, JSON for scripts.
#pragma once

#include <stdint.h>
#include <stdio.h>

namespace boardctl::output {

// Results go to what is the standard output at this moment; the process may use the descriptor for
// other things afterwards. `open` is false when it was closed, and everything shown is then lost.
void Start(bool json, bool open);

// Returns the stream of the results, for what is no record: help, or the bytes of a partition.
FILE *Stream();

// Keeps the text of a failure, cut to a few hundred bytes: it is the result in JSON.
void SetError(const char *text);

// Ends the result. In JSON that is one value: what the command showed, {} when that was nothing, or
// after a failure an object with the error. Returns false when not all of it could be written.
bool Finish(bool failed);

// Returns false when a result could not be written: a command that has no end should stop then.
bool Works();

// From now on records are shown as they come, in JSON as an object a line.
void BeginLines();

// A list is an array in JSON and a table with a heading as text. A record outside a list is shown
// as one line for each value.
void BeginList();
void EndList();
// Shows one value alone: as text without its name, for a script's $(...).
void Single(const char *name, const char *value);
void Single(const char *name, int64_t value);
void BeginRecord();
void EndRecord();
// These show a value of the record that has begun. In JSON a text that is not UTF-8 is followed by
// its bytes in hexadecimal, as NAME-bytes.
void Text(const char *name, const char *value);
void Number(const char *name, int64_t value);
// A number in hexadecimal is a text in JSON.
void Hex(const char *name, uint64_t value, int digits);

}  // namespace boardctl::output
