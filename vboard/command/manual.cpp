#include "vboard/command/manual.h"

namespace vboard::command {
namespace {

constexpr const char *kNotes =
    "The board's folder holds all of it, among it the events, one a line. A board's description "
    "is\n"
    "a file in TOML; describe \\-\\-keys shows what it can hold.\n";
constexpr const char *kExitStatus =
    "0 done, 1 failed, 2 wrong usage, 127 a program that is not on the board, 128 and a signal's\n"
    "number when that ended the board; of exec otherwise what the program ends with.\n";

// The formatter takes a backslash, a hyphen, and a dot or a quote at a line's beginning for its
// own.
std::string Troff(const std::string &text) {
  std::string safe;
  for (const char c : text) {
    if (c == '\\') {
      safe += "\\e";
    } else if (c == '-') {
      safe += "\\-";
    } else {
      safe += c;
    }
  }
  return safe.starts_with('.') || safe.starts_with('\'') ? "\\&" + safe : safe;
}

// Without the range of its values, which the help shows.
std::string TypeOf(const CLI::Option &option) {
  if (option.get_items_expected_max() == 0) return "";
  const std::string type = option.get_type_name();
  return type.substr(0, type.find(':'));
}

std::string OptionEntry(const CLI::Option &option) {
  const std::string type = TypeOf(option);
  std::string text = ".TP\n\\fB" + Troff(option.get_name(false, true)) + "\\fR";
  if (!type.empty()) text += " \\fI" + Troff(type) + "\\fR";
  return text + "\n" + Troff(option.get_description()) + "\n";
}

std::string Options(CLI::App &app) {
  std::string text;
  for (const CLI::Option *option : app.get_options()) {
    if (option->nonpositional()) text += OptionEntry(*option);
  }
  return text;
}

std::string Arguments(CLI::App &app) {
  std::string text;
  for (const CLI::Option *option : app.get_options()) {
    if (option->nonpositional()) continue;
    const std::string name = Troff(option->get_name(true));
    text += option->get_required() ? " \\fI" + name + "\\fR" : " [\\fI" + name + "\\fR]";
  }
  return text;
}

std::vector<CLI::App *> SubcommandsOf(CLI::App &app) {
  return app.get_subcommands([](CLI::App *) { return true; });
}

// A command with its options, or each of those that begin with its name.
std::string Commands(CLI::App &app, const std::string &name) {
  std::string text;
  for (CLI::App *each : SubcommandsOf(app)) text += Commands(*each, name + " " + each->get_name());
  if (!text.empty()) return text;
  text = ".TP\n\\fB" + Troff(name.substr(1)) + "\\fR" + Arguments(app) + "\n" +
         Troff(app.get_description()) + "\n";
  if (!app.get_footer().empty()) text += ".br\n" + Troff(app.get_footer()) + "\n";
  const CLI::Option *help = app.get_help_ptr();
  std::string options;
  for (const CLI::Option *option : app.get_options()) {
    if (option->nonpositional() && option != help) options += OptionEntry(*option);
  }
  return options.empty() ? text : text + ".RS\n" + options + ".RE\n";
}

// What may follow a command and the words in front of it. Every command has an entry.
std::string Completions(CLI::App &app, const std::string &path) {
  std::string words, below;
  for (const CLI::Option *option : app.get_options()) {
    for (const std::string &name : option->get_lnames()) words += " --" + name;
  }
  for (CLI::App *each : SubcommandsOf(app)) {
    words += " " + each->get_name();
    below += Completions(*each, path + " " + each->get_name());
  }
  return "    ['" + path + "']='" + words + " '\n" + below;
}

}  // namespace

std::string ManualPage(CLI::App &app, const std::string &version) {
  return ".TH VBOARD 1 \"\" \"vboard " + version +
         "\"\n.SH NAME\nvboard \\- a virtual recorder board\n" +
         ".SH SYNOPSIS\n.B vboard\n[OPTION...] COMMAND [ARGUMENT...]\n.SH OPTIONS\n" +
         Options(app) + ".SH COMMANDS\n" + Commands(app, "") + ".SH NOTES\n" + kNotes +
         ".SH \"EXIT STATUS\"\n" + kExitStatus + ".SH \"SEE ALSO\"\n.BR boardctl (8)\n";
}

std::string BashCompletion(CLI::App &app) {
  return "_vboard() {\n  local -A words=(\n" + Completions(app, "vboard") +
         R"(  )
  local path=vboard current=${COMP_WORDS[COMP_CWORD]} without='-*' word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ -z ${words["$path $word"]-} ]] || path+=" $word"
  done
  [[ $current != -* ]] || without='!*'
  mapfile -t COMPREPLY < <(compgen -W "${words["$path"]}" -X "$without" -- "$current")
}
complete -o default -F _vboard vboard
)";
}

}  // namespace vboard::command
