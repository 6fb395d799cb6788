// Signals that would end the process in the middle of what must not stay half done.
#pragma once

#include <signal.h>
#include <stddef.h>

namespace libsys::boot {

// Holds SIGHUP, SIGINT, SIGQUIT, SIGPIPE and SIGTERM back while it is alive; one that came is sent
// to the process again when it goes out of scope, and then does what the process has laid down for
// it. Blocking them would not do: another thread of the process would take them. Only one may be
// alive at a time, and nobody else may change what the process does about these signals meanwhile.
class HeldSignals {
 public:
  HeldSignals();
  ~HeldSignals();
  HeldSignals(const HeldSignals &) = delete;
  HeldSignals &operator=(const HeldSignals &) = delete;

 private:
  static constexpr size_t kCount = 5;
  struct sigaction before_[kCount];
};

}  // namespace libsys::boot
