#include "vboard/panel/listener.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vboard::panel {
namespace {

using Clock = std::chrono::steady_clock;

// So many connections wait for a thread; the rest waits in the kernel.
constexpr size_t kMostConnections = kThreads + 16;
// What comes from a connection, and how long it takes for it and for each part of its answer.
constexpr size_t kMostRequest = size_t{32} << 10;
constexpr std::chrono::seconds kPatience{2};

bool IsReady(int socket, short events, Clock::duration patience) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(patience);
  pollfd descriptor = {socket, events, 0};
  return poll(&descriptor, 1, static_cast<int>(std::max<int64_t>(0, left.count()))) > 0;
}

class Connection final : public httplib::Stream {
 public:
  explicit Connection(int socket) : socket_(socket) {}
  // What was not read would have the kernel drop the answer.
  ~Connection() override {
    char rest[4096];
    shutdown(socket_, SHUT_WR);
    for (size_t taken = 0; taken < kMostRequest && Connection::is_readable();) {
      const ssize_t length = recv(socket_, rest, sizeof rest, 0);
      if (length <= 0) break;
      taken += static_cast<size_t>(length);
    }
    close(socket_);
  }
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  bool is_readable() const override { return IsReady(socket_, POLLIN, end_ - Clock::now()); }
  bool is_writable() const override { return IsReady(socket_, POLLOUT, kPatience); }
  ssize_t read(char *data, size_t size) override {
    if (place_ == length_) {
      if (taken_ >= kMostRequest || !is_readable()) return -1;
      const ssize_t length = recv(socket_, buffer_, sizeof buffer_, 0);
      if (length <= 0) return length;
      place_ = 0;
      length_ = static_cast<size_t>(length);
      taken_ += length_;
    }
    const size_t part = std::min(size, length_ - place_);
    std::copy_n(buffer_ + place_, part, data);
    place_ += part;
    return static_cast<ssize_t>(part);
  }
  ssize_t write(const char *data, size_t size) override {
    if (!is_writable()) return -1;
    return send(socket_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  void get_remote_ip_and_port(std::string &, int &) const override {}
  void get_local_ip_and_port(std::string &, int &) const override {}
  socket_t socket() const override { return socket_; }

 private:
  int socket_;
  Clock::time_point end_ = Clock::now() + kPatience;
  char buffer_[4096];
  size_t place_ = 0, length_ = 0, taken_ = 0;
};

class Connections : public httplib::ThreadPool {
 public:
  Connections() : ThreadPool(kThreads) {}
  void enqueue(std::function<void()> serve) override {
    std::unique_lock lock(mutex_);
    left_.wait(lock, [this] { return count_ < kMostConnections; });
    ++count_;
    ThreadPool::enqueue([this, serve = std::move(serve)] {
      serve();
      const std::lock_guard ended(mutex_);
      --count_;
      left_.notify_one();
    });
  }

 private:
  std::mutex mutex_;
  std::condition_variable left_;
  size_t count_ = 0;
};

}  // namespace

Listener::Listener() {
  new_task_queue = [] { return new Connections; };
  // Two panels share no port, as they could with the library's own settings.
  set_socket_options([](socket_t socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  set_tcp_nodelay(true);
}

// A connection serves one request: an idle one would hold a thread.
bool Listener::process_and_close_socket(socket_t socket) {
  Connection connection(socket);
  bool closed = false;
  return process_request(connection, true, closed, nullptr);
}

}  // namespace vboard::panel
