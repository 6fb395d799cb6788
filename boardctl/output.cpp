#include "boardctl/output.h"

#include <fcntl.h>
#include <inttypes.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "boardctl/json.h"

namespace boardctl::output {
namespace {

// A text that is being built grows without bound; its stream is null when there was no memory.
struct Builder {
  FILE *stream = nullptr;
  char *text = nullptr;
  size_t length = 0;
};

struct {
  FILE *results = nullptr;
  bool json = false;
  bool inList = false;
  bool firstRecord = true;
  bool firstValue = true;
  bool lost = false;  // there was no memory for a part of the result
  // The document holds the records in JSON, which are shown when the command has done well.
  Builder document;
  bool asTheyCome = false;
  // A table's heading and one of its rows are built together from a record; names are short.
  char heading[256] = {};
  Builder row;
  char error[512] = {};
} state;

constexpr int kColumn = 14;  // characters

void Open(Builder &builder) {
  builder.stream = open_memstream(&builder.text, &builder.length);
  state.lost |= builder.stream == nullptr;
}

// Ends the text and returns it, for the caller to free; null when there was no memory.
char *Close(Builder &builder) {
  if (builder.stream == nullptr) return nullptr;
  const bool failed = ferror(builder.stream) != 0;
  state.lost |= fclose(builder.stream) != 0 || failed;
  builder.stream = nullptr;
  return builder.text;
}

FILE *Records() {
  return state.document.stream != nullptr ? state.document.stream : state.results;
}

// Returns false for a name that is not UTF-8.
bool PrintName(const char *name, const char *suffix) {
  fputs(state.firstValue ? "\"" : ", \"", Records());
  state.firstValue = false;
  const bool valid = json::PrintText(Records(), name);
  fprintf(Records(), "%s\": ", suffix);
  return valid;
}

void PrintBytesOf(const char *name, const char *text) {
  PrintName(name, "-bytes");
  putc('"', Records());
  json::PrintBytes(Records(), text);
  putc('"', Records());
}

void PrintJsonText(const char *name, const char *text) {
  const bool validName = PrintName(name, "");
  putc('"', Records());
  const bool valid = json::PrintText(Records(), text);
  putc('"', Records());
  if (!valid) PrintBytesOf(name, text);
  if (!validName) PrintBytesOf("name", name);
}

void AddColumn(const char *name, const char *text) {
  const size_t length = strlen(state.heading);
  snprintf(state.heading + length, sizeof state.heading - length, "%-*s ", kColumn, name);
  if (state.row.stream != nullptr) fprintf(state.row.stream, "%-*s ", kColumn, text);
}

// The last column needs no blanks behind it.
void PrintLine(const char *line) {
  size_t length = strlen(line);
  while (length > 0 && line[length - 1] == ' ') --length;
  fprintf(Records(), "%.*s\n", static_cast<int>(length), line);
}

void EndRow() {
  char *row = Close(state.row);
  if (row == nullptr) return;
  if (state.firstRecord) PrintLine(state.heading);
  PrintLine(row);
  free(row);
}

void Value(const char *name, const char *text, bool quoted) {
  if (!state.json && state.inList) {
    AddColumn(name, text);
  } else if (!state.json) {
    fprintf(Records(), "%-*s %s\n", kColumn, name, text);
  } else if (quoted) {
    PrintJsonText(name, text);
  } else {
    PrintName(name, "");
    fputs(text, Records());
  }
}

void ShowDocument(bool failed) {
  char *text = Close(state.document);
  if (failed) {
    state.inList = false;
    BeginRecord();
    Text("error", state.error);
    EndRecord();
  } else if (text != nullptr && !state.asTheyCome) {
    fputs(*text != '\0' ? text : "{}\n", state.results);
  }
  free(text);
}

}  // namespace

void Start(bool json, bool open) {
  state.json = json;
  const int copy = open ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : -1;
  if (copy >= 0) state.results = fdopen(copy, "w");
  // Standard input is open for reading only: what is written to it counts as lost.
  if (state.results == nullptr) state.results = stdin;
  setvbuf(state.results, nullptr, _IOLBF, 0);
  if (json) Open(state.document);
}

FILE *Stream() {
  return state.results;
}

void SetError(const char *text) {
  snprintf(state.error, sizeof state.error, "%s", text);
}

bool Works() {
  return ferror(state.results) == 0 && !state.lost;
}

bool Finish(bool failed) {
  if (state.json) ShowDocument(failed);
  return fflush(state.results) == 0 && Works();
}

void BeginLines() {
  state.asTheyCome = true;
  free(Close(state.document));
}

void BeginList() {
  state.inList = true;
  state.firstRecord = true;
  if (state.json) putc('[', Records());
}

void EndList() {
  if (state.json) fputs("]\n", Records());
  state.inList = false;
}

void BeginRecord() {
  state.firstValue = true;
  state.heading[0] = '\0';
  if (!state.json && state.inList) Open(state.row);
  if (state.json) fprintf(Records(), "%s{", state.inList && !state.firstRecord ? ",\n " : "");
}

void EndRecord() {
  if (state.json) {
    fprintf(Records(), "}%s", state.inList ? "" : "\n");
  } else if (state.inList) {
    EndRow();
  }
  state.firstRecord = false;
}

void Single(const char *name, const char *value) {
  if (!state.json) {
    fprintf(Records(), "%s\n", value);
    return;
  }
  BeginRecord();
  Text(name, value);
  EndRecord();
}

void Single(const char *name, int64_t value) {
  if (!state.json) {
    fprintf(Records(), "%" PRId64 "\n", value);
    return;
  }
  BeginRecord();
  Number(name, value);
  EndRecord();
}

void Text(const char *name, const char *value) {
  Value(name, value, true);
}

void Number(const char *name, int64_t value) {
  char text[24];
  snprintf(text, sizeof text, "%" PRId64, value);
  Value(name, text, false);
}

void Hex(const char *name, uint64_t value, int digits) {
  char text[24];
  snprintf(text, sizeof text, "0x%0*" PRIx64, digits, value);
  Value(name, text, true);
}

}  // namespace boardctl::output
