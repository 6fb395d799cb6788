#include "boardctl/output.h"

#include <inttypes.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

namespace output {
namespace {

struct {
  FILE *stream = nullptr;
  FILE *messages = nullptr;  // set aside; null: on standard error
  bool json = false;
  bool inList = false;
  bool firstRecord = true;
  bool firstValue = true;
  // The table's lines while their record is being built: the heading of names, which are short,
  // and the values, which may be of any length.
  char heading[256] = {};
  FILE *rowStream = nullptr;
  char *row = nullptr;
  size_t rowLength = 0;
  bool rowLost = false;  // there was no memory for it
} state;

constexpr int kColumn = 14;

void PrintJsonText(const char *text) {
  putc('"', state.stream);
  for (; *text != '\0'; ++text) {
    const auto c = static_cast<unsigned char>(*text);
    if (c == '"' || c == '\\') {
      fprintf(state.stream, "\\%c", c);
    } else if (c < ' ' || c >= 0x7f) {
      fprintf(state.stream, "\\u%04x", static_cast<unsigned>(c));
    } else {
      putc(c, state.stream);
    }
  }
  putc('"', state.stream);
}

void AddColumn(const char *name, const char *text) {
  const size_t length = strlen(state.heading);
  snprintf(state.heading + length, sizeof state.heading - length, "%-*s ", kColumn, name);
  if (state.rowStream != nullptr) fprintf(state.rowStream, "%-*s ", kColumn, text);
}

// Without the blanks at its end.
void PrintLine(const char *line) {
  size_t length = strlen(line);
  while (length > 0 && line[length - 1] == ' ') --length;
  fprintf(state.stream, "%.*s\n", static_cast<int>(length), line);
}

void Value(const char *name, const char *text, bool quoted) {
  if (state.json) {
    fprintf(state.stream, "%s", state.firstValue ? "" : ", ");
    PrintJsonText(name);
    fprintf(state.stream, ": ");
    if (quoted) {
      PrintJsonText(text);
    } else {
      fprintf(state.stream, "%s", text);
    }
  } else if (state.inList) {
    AddColumn(name, text);
  } else {
    fprintf(state.stream, "%-*s %s\n", kColumn, name, text);
  }
  state.firstValue = false;
}

}  // namespace

void Start(bool json, bool verbose) {
  state.json = json;
  state.stream = fdopen(dup(STDOUT_FILENO), "w");
  if (state.stream == nullptr) state.stream = stderr;
  setvbuf(state.stream, nullptr, _IOLBF, 0);
  state.messages = verbose ? nullptr : tmpfile();
  dup2(state.messages != nullptr ? fileno(state.messages) : STDERR_FILENO, STDOUT_FILENO);
}

void ShowMessages() {
  fflush(stdout);
  if (state.messages == nullptr) return;
  rewind(state.messages);
  for (int c = getc(state.messages); c != EOF; c = getc(state.messages)) putc(c, stderr);
}

bool Finish() {
  return fflush(state.stream) == 0 && ferror(state.stream) == 0 && !state.rowLost;
}

FILE *Stream() {
  return state.stream;
}

void BeginList() {
  state.inList = true;
  state.firstRecord = true;
  if (state.json) fputs("[", state.stream);
}

void EndList() {
  if (state.json) fputs("]\n", state.stream);
  state.inList = false;
}

void BeginRecord() {
  state.firstValue = true;
  state.heading[0] = '\0';
  if (!state.json && state.inList) {
    state.rowStream = open_memstream(&state.row, &state.rowLength);
    state.rowLost |= state.rowStream == nullptr;
  }
  if (state.json) fprintf(state.stream, "%s{", state.inList && !state.firstRecord ? ",\n " : "");
}

void EndRecord() {
  if (state.json) {
    fprintf(state.stream, "}%s", state.inList ? "" : "\n");
  } else if (state.inList && state.rowStream != nullptr) {
    fclose(state.rowStream);
    if (state.firstRecord) PrintLine(state.heading);
    PrintLine(state.row);
    free(state.row);
  }
  state.firstRecord = false;
}

void Single(const char *name, const char *value) {
  if (!state.json) {
    fprintf(state.stream, "%s\n", value);
    return;
  }
  BeginRecord();
  Text(name, value);
  EndRecord();
}

void Single(const char *name, int64_t value) {
  if (!state.json) {
    fprintf(state.stream, "%" PRId64 "\n", value);
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

}  // namespace output
