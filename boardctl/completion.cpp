#include "boardctl/completion.h"

#include <string.h>

#include "boardctl/command_line.h"
#include "boardctl/command_table.h"

namespace boardctl {
namespace {

// What may follow the words of a key, which every command is. Options may come anywhere.
constexpr const char *kBeforeTable = "_boardctl() {\n  local -A words=(\n";
constexpr const char *kBehindTable = R"(  )
  local path=boardctl current=${COMP_WORDS[COMP_CWORD]} without='-*' word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ -z ${words["$path $word"]-} ]] || path+=" $word"
  done
  [[ $current != -* ]] || path=boardctl without='!*'
  mapfile -t COMPREPLY < <(compgen -W "${words["$path"]}" -X "$without" -- "$current")
}
complete -o default -F _boardctl boardctl
)";

int FirstWord(const Command &command) {
  return static_cast<int>(strcspn(command.name, " "));
}

bool SameGroup(const Command &one, const Command &other) {
  const int length = FirstWord(one);
  return length == FirstWord(other) &&
         strncmp(one.name, other.name, static_cast<size_t>(length)) == 0;
}

// Whether no command above it in the table begins with the same word.
bool BeginsGroup(const Command &command) {
  for (const Command &other : Commands()) {
    if (&other == &command) return true;
    if (SameGroup(command, other)) return false;
  }
  return false;
}

void PrintRoot(FILE *file) {
  fprintf(file, "    ['boardctl']='");
  for (const Option &option : Options()) fprintf(file, " %s", option.name);
  for (const Command &command : Commands()) {
    if (BeginsGroup(command)) fprintf(file, " %.*s", FirstWord(command), command.name);
  }
  fprintf(file, "'\n");
}

void PrintGroup(FILE *file, const Command &first) {
  fprintf(file, "    ['boardctl %.*s']='", FirstWord(first), first.name);
  for (const Command &command : Commands()) {
    if (SameGroup(command, first)) fprintf(file, " %s", command.name + FirstWord(command));
  }
  fprintf(file, " '\n");
}

}  // namespace

void PrintCompletion(FILE *file) {
  fputs(kBeforeTable, file);
  PrintRoot(file);
  for (const Command &command : Commands()) {
    if (BeginsGroup(command)) PrintGroup(file, command);
    if (strchr(command.name, ' ') != nullptr)
      fprintf(file, "    ['boardctl %s']=' '\n", command.name);
  }
  fputs(kBehindTable, file);
}

}  // namespace boardctl
