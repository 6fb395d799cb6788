// A command line is what the person typed: words, and options anywhere between them.
#pragma once

#include <stddef.h>

#include <array>
#include <span>

namespace boardctl {

struct CommandLine {
  std::array<const char *, 300> words = {};
  size_t count = 0;
  bool json = false, force = false, verbose = false, help = false, manual = false,
       completion = false, version = false;

  // Tells of the program itself, and is never JSON.
  bool OfProgram() const { return help || manual || completion || version; }
  std::span<const char *const> Words() const { return std::span(words).first(count); }
};

struct Option {
  const char *name;
  const char *shortName;  // null for an option that has none
  bool CommandLine::*flag;
  const char *help;
};

std::span<const Option> Options();

// Takes the line apart; behind a "--" there are no options. Returns false, after a message, for a
// line with an unknown option or too many words; the rest of it is in `line` even then.
bool Parse(int argc, char **argv, CommandLine *line);

}  // namespace boardctl
