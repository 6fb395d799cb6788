// sentrel: prepares the board at boot, then becomes the recorder's application or supervises it.
#include <stdio.h>
#include <stdlib.h>

#include "launcher/launcher.h"
#include "libsys/system.h"
#include "libsys/version.h"

namespace {

constexpr int kFailure = -1;

// Everything between the banner and the application.
void RunRoad(const char *application) {
  using launcher::StartMode;
  const launcher::BootSwitches switches = launcher::ReadBootSwitches();
  if (!launcher::MountConfigPartition() || !launcher::ReadLog()) exit(kFailure);
  switch (launcher::ChooseStartMode(switches)) {
    case StartMode::kExit:
      return;
    case StartMode::kIdle:
      launcher::Idle();
    case StartMode::kCaptureAndStart:
      launcher::CaptureOnServiceStick();
      break;
    case StartMode::kStart:
      break;
  }
  puts("Utils : Auto to start program");
  if (launcher::IsSupervised()) launcher::Supervise();
  launcher::Become(application);
}

}  // namespace

int main(int argumentCount, char **arguments) {
  // Init may start the launcher without a console.
  SystemOpenStandardDescriptors();
  // A line at a time, so that nothing is lost or doubled where the process forks, becomes
  // another program or sends its output elsewhere.
  setvbuf(stdout, nullptr, _IOLBF, 0);
  DvrReadBootParameters();
  puts("Utils : sentrel");
  if (argumentCount <= 1) {
    puts("Utils : Usage:");
    puts("example : sentrel\t\tQuillon");
    return 0;
  }
  RunRoad(arguments[1]);
  return 0;
}
