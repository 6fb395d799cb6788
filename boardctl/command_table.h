// The table of all commands drives the choice of a command, the help and the manual page.
#pragma once

#include <stddef.h>

#include <span>

#include "boardctl/command.h"

namespace boardctl {

std::span<const Command> Commands();

// Returns the command that the words begin with and stores how many of them are its name; null
// when there is no such command.
const Command *FindCommand(std::span<const char *const> words, size_t *nameLength);

// Returns whether the command takes so many arguments.
bool Takes(const Command &command, size_t count);

}  // namespace boardctl
