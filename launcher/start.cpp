// How the application starts: directly or supervised.
#include <unistd.h>

#include <array>

#include "launcher/launcher.h"
#include "libsys/version.h"

namespace launcher {
namespace {

constexpr int32_t kSupervisedBoardType = 2;
constexpr std::array kSupervisedOemTypes = {4, 9, 6};

}  // namespace

bool IsSupervised() {
  for (const int32_t oem : kSupervisedOemTypes) {
    if (DvrGetBoardType() == kSupervisedBoardType && DvrGetHwidInformation(OEM_TYPE) == oem) {
      return true;
    }
  }
  return false;
}

void Become(const char *program) {
  execl(program, program, static_cast<char *>(nullptr));
  Idle();
}

void Idle() {
  for (;;) sleep(100);
}

}  // namespace launcher
