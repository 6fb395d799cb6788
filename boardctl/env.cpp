// These commands read and change the boot loader's variables.
#include <stdlib.h>
#include <string.h>

#include "boardctl/command.h"
#include "boardctl/messages.h"
#include "boardctl/output.h"
#include "libsys/boot.h"

namespace boardctl {
namespace {

void ShowEntry(const char *entry, void *) {
  const char *value = strchr(entry, '=');
  if (value == nullptr) return;
  char *name = strndup(entry, static_cast<size_t>(value - entry));
  output::BeginRecord();
  output::Text("name", name != nullptr ? name : "");
  output::Text("value", value + 1);
  output::EndRecord();
  free(name);
}

struct Search {
  const char *name;
  bool found;
};

// BootEnvGet cuts a value to its buffer; the entries of the list have any length.
void ShowIfWanted(const char *entry, void *context) {
  auto *search = static_cast<Search *>(context);
  const size_t length = strlen(search->name);
  if (search->found || strncmp(entry, search->name, length) != 0 || entry[length] != '=') return;
  search->found = true;
  output::Single(search->name, entry + length + 1);
}

}  // namespace

int EnvGet(const Arguments &arguments) {
  Search search = {arguments[0], false};
  if (BootEnvForEach(ShowIfWanted, &search) != 0) {
    return Failure("the boot variables cannot be read");
  }
  messages::Forget();
  return search.found ? kDone : Failure("there is no boot variable '%s'", arguments[0]);
}

int EnvSet(const Arguments &arguments) {
  const char *name = arguments[0];
  if (*name == '\0' || strchr(name, '=') != nullptr) return UsageError("this is no name");
  if (BootEnvSet(name, arguments[1]) != 0) return Failure("the boot variables cannot be saved");
  return kDone;
}

int EnvDelete(const Arguments &arguments) {
  char value[2];
  if (BootEnvGet(arguments[0], value, sizeof value) != 0) {
    return Failure("there is no boot variable '%s'", arguments[0]);
  }
  if (BootEnvSet(arguments[0], nullptr) != 0) return Failure("the boot variables cannot be saved");
  return kDone;
}

int EnvList(const Arguments &) {
  output::BeginList();
  const int32_t result = BootEnvForEach(ShowEntry, nullptr);
  output::EndList();
  return result == 0 ? kDone : Failure("the boot variables cannot be read");
}

}  // namespace boardctl
