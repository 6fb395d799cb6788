#include "campaign/exceptions.h"

#include <algorithm>
#include <span>
#include <string>

namespace campaign {
namespace {

struct Exception {
  const char *call;  // or what a person does
  const char *path;  // or what it begins with
  const char *reason;
  const char *board = nullptr;  // if on that one only
};

constexpr Exception kExceptions[] = {
    {"ioctl", "/dev/watchdog", "keep-alive is called every second and never prints"},
    {"ioctl", "/dev/hi_gpio", "lines are set many times a second; a failure is answered, not told"},
    {"read", "/dev/Hi_IR", "a read that fails is one without a code: the reader looks again soon"},
    {"fork", "", "a launcher that cannot fork becomes the application all the same"},
    {"opendir", "/sys/bus/scsi", "what cannot be read of the tree of devices is no stick"},
    {"fopen", "/sys/bus/scsi", "what cannot be read of the tree of devices is no stick"},
    {"mount", "/dev/sda1", "what is told is what an undisturbed board tells later", "stick-pulled"},
    {"open", "/share/printf.txt", "what is told is what an undisturbed board tells later",
     "stick-pulled"},
    {"exec", "", "the launcher sleeps without a word where the application cannot be started"},
    {"clock_settime", "", "the time is printed behind it: right or wrong, as it is by then"},
    {"read", "/opt/sav/Config/Config3", "an empty flag is that of an application that runs"},
    {"umount", "", "an unmount's result is ignored: mostly there is nothing to unmount"},
};

constexpr Exception kSpins[] = {
    {"read", "/dev/ttyAMA1", "the microcontroller's receiver repeats a failed read at once"},
    {"uart unplug 1", "", "an unplugged port's reads fail: as above"},
};

bool Excuses(const Exception &exception, const std::string &board, const Step &step) {
  if (exception.board != nullptr && board != exception.board) return false;
  const auto *act = std::get_if<Act>(&step.what);
  if (act != nullptr) return *act == exception.call;
  const auto *fault = std::get_if<Fault>(&step.what);
  return fault != nullptr && fault->call == exception.call &&
         fault->path.starts_with(exception.path);
}

bool Any(std::span<const Exception> exceptions, const std::string &board, const Step &step) {
  return std::any_of(exceptions.begin(), exceptions.end(),
                     [&](const Exception &exception) { return Excuses(exception, board, step); });
}

}  // namespace

bool IsException(const std::string &board, const std::vector<Step> &steps) {
  return !steps.empty() && std::all_of(steps.begin(), steps.end(), [&](const Step &step) {
    return Any(kExceptions, board, step);
  });
}

bool MaySpin(const std::string &board, const std::vector<Step> &steps) {
  return std::any_of(steps.begin(), steps.end(),
                     [&](const Step &step) { return Any(kSpins, board, step); });
}

}  // namespace campaign
