// vboard panel: the face of a board that another command has under power, or will have.
#include <signal.h>
#include <stdio.h>

#include "vboard/board.h"
#include "vboard/command/command.h"
#include "vboard/machine.h"

namespace vboard::command {
namespace {

void Show(Common &common) {
  Open(common.folder);
  sigset_t ending;
  sigemptyset(&ending);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&ending, number);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  signal(SIGPIPE, SIG_IGN);
  const panel::Panel panel(true);
  ShowUrl(panel);
  int number = 0;
  sigwait(&ending, &number);
  throw Interrupted{number};
}

}  // namespace

void ShowUrl(const panel::Panel &panel) {
  printf("The board's panel, for a browser on this PC: %s\n\n", panel.Url().c_str());
  fflush(stdout);
}

void AddPanel(CLI::App &app, Common &common) {
  CLI::App *command = app.add_subcommand(
      "panel", "show the board in a browser, at the URL that is printed, until Ctrl-C");
  command->callback([&common] { Show(common); });
}

}  // namespace vboard::command
