// The server of a board's panel. It is there for the pages of one person on this PC: it listens on
// the loopback address alone, and answers who knows the token in the URL and comes from its own
// page. No path of a request reaches the file system.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "vboard/panel/address.h"
#include "vboard/panel/feed.h"

namespace httplib {
struct Request;
struct Response;
}  // namespace httplib

namespace vboard::panel {

class Listener;

// A file of the page.
struct Asset {
  std::string_view name, type, content;
};
extern const std::span<const Asset> kAssets;

class Server {
 public:
  using Act = std::function<void(std::span<const std::string> words)>;

  // Throws std::runtime_error when it cannot listen.
  Server(Feed *feed, Act act);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  const std::string &Url() const { return url_; }

 private:
  bool Refuse(const httplib::Request &request, httplib::Response &response) const;
  Address Bind();
  void AddRoutes();
  void Stream(const httplib::Request &request, httplib::Response &response);
  void Perform(const httplib::Request &request, httplib::Response &response) const;

  Feed *feed_;
  Act act_;
  std::string token_, origin_, url_;
  std::unique_ptr<Listener> server_;
  std::atomic<int> pages_ = 0;
  std::thread thread_;
};

}  // namespace vboard::panel
