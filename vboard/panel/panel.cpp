#include "vboard/panel/panel.h"

#include <signal.h>

#include "vboard/panel/feed.h"
#include "vboard/panel/server.h"
#include "vboard/panel/watch.h"

namespace vboard::panel {
namespace {

// While one lives, threads are started that no signal goes to: those are for the main thread.
class NoSignals {
 public:
  NoSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  NoSignals(const NoSignals &) = delete;
  NoSignals &operator=(const NoSignals &) = delete;

 private:
  sigset_t before_;
};

}  // namespace

struct Panel::Parts {
  explicit Parts(bool follows)
      : watch(&feed, follows), server(&feed, [this](auto words) { watch.Act(words); }) {}

  Feed feed;
  Watch watch;
  Server server;
};

Panel::Panel(bool follows) {
  const NoSignals noSignals;
  parts_ = std::make_unique<Parts>(follows);
}

// Who ends it does not wait until a board that is off has taken the last action.
Panel::~Panel() {
  parts_->watch.End();
}

const std::string &Panel::Url() const {
  return parts_->server.Url();
}

}  // namespace vboard::panel
