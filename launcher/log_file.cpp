// The application's log of the last run.
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "launcher/launcher.h"

namespace launcher {
namespace {

constexpr const char *kLog = "/opt/sav/Log/Log";

// The file stays open and its text in memory for the life of the process.
struct State {
  FILE *file = nullptr;
  char *text = nullptr;
} state;

}  // namespace

bool ReadLog() {
  struct stat status = {};
  stat(kLog, &status);
  state.file = fopen(kLog, "re");
  if (state.file == nullptr) {
    printf("Libsys --:open  %s failed !!\n", kLog);
    return true;
  }
  // One byte more than the file holds is asked for, so that the read meets the file's end;
  // the buffer has room for it.
  const size_t request = static_cast<size_t>(status.st_size) + 1;
  state.text = static_cast<char *>(calloc(request, 1));
  if (state.text == nullptr) {
    printf("LIBSYS--:malloc failed! %d %s\n", 251, "sentrel");
    return false;
  }
  if (fread(state.text, 1, request, state.file) == 0) puts("read failed !!!");
  if (feof(state.file) == 0) puts("not read over!!");
  return true;
}

}  // namespace launcher
