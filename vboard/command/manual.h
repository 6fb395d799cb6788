// The manual page and what bash completes a command line with, made from the commands themselves.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace vboard::command {

std::string ManualPage(CLI::App &app, const std::string &version);
std::string BashCompletion(CLI::App &app);

}  // namespace vboard::command
