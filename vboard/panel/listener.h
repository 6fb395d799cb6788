// The library's server with bounds of its own: whoever reaches the PC's loopback address can
// connect, and gets neither memory nor time without end.
#pragma once

#include <httplib.h>

namespace vboard::panel {

// Threads that serve; a feed holds one for as long as its page is open.
constexpr size_t kThreads = 16;

class Listener : public httplib::Server {
 public:
  Listener();

 private:
  bool process_and_close_socket(socket_t socket) override;
};

}  // namespace vboard::panel
