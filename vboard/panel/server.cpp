#include "vboard/panel/server.h"

#include <inttypes.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "vboard/actions.h"
#include "vboard/device.h"
#include "vboard/panel/listener.h"

namespace vboard::panel {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char *kAddress = "127.0.0.1";
constexpr size_t kMostBody = 4096;
constexpr size_t kMostWords = 16;
constexpr int kMostPages = 8;
static_assert(kMostPages < kThreads, "the others answer what else the pages ask for");
// After which a page that has gone is noticed.
constexpr std::chrono::seconds kSilence{2};

constexpr const char *kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

// Takes as long for every text of the same length.
bool AreEqual(std::string_view one, std::string_view other) {
  if (one.size() != other.size()) return false;
  unsigned char different = 0;
  for (size_t i = 0; i < one.size(); ++i) {
    different |= static_cast<unsigned char>(one[i] ^ other[i]);
  }
  return different == 0;
}

void Answer(httplib::Response &response, int status, const Json &json) {
  response.status = status;
  response.set_content(json.dump(-1, ' ', false, Json::error_handler_t::replace),
                       "application/json");
}

// What can be done to the board, as the command line has it.
Json ActionTable() {
  Json table = Json::array();
  for (const Device *device : Devices()) {
    for (const Action &action : device->actions) {
      if (action.prints) continue;
      table.push_back({{"device", device->name},
                       {"about", device->help},
                       {"name", action.name},
                       {"arguments", Words(action.arguments)},
                       {"help", action.help}});
    }
  }
  return table;
}

}  // namespace

Server::Server(Feed *feed, Act act)
    : feed_(feed), act_(std::move(act)), server_(std::make_unique<Listener>()) {
  server_->set_payload_max_length(kMostBody);
  server_->set_default_headers({{"Content-Security-Policy", kPolicy},
                                {"X-Content-Type-Options", "nosniff"},
                                {"Referrer-Policy", "no-referrer"},
                                {"Cross-Origin-Resource-Policy", "same-origin"},
                                {"Cache-Control", "no-store"}});
  server_->set_pre_routing_handler([this](const auto &request, auto &response) {
    return Refuse(request, response) ? httplib::Server::HandlerResponse::Handled
                                     : httplib::Server::HandlerResponse::Unhandled;
  });
  const Address address = Bind();
  token_ = address.token;
  AddRoutes();
  origin_ = std::string("http://") + kAddress + ":" + std::to_string(address.port);
  url_ = origin_ + "/" + token_ + "/";
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  while (!server_->is_running()) std::this_thread::yield();  // from then on it can be stopped
}

Address Server::Bind() {
  Address address = AddressInFolder();
  const bool known = address.port > 0;
  if (known && server_->bind_to_port(kAddress, address.port)) return address;
  // Whoever has the port now is told the token by pages that are still open. The folder's other
  // panel keeps its place.
  if (known) address = NewAddress();
  address.port = server_->bind_to_any_port(kAddress);
  if (address.port <= 0) throw std::runtime_error("no port for the board's panel");
  if (!known) KeepAddress(address);
  return address;
}

Server::~Server() {
  feed_->Close();
  server_->stop();
  thread_.join();
}

// Whoever does not know the token learns nothing else. A page of somebody else's that the browser
// shows as well, or a name that leads here, is told by Origin and Host.
bool Server::Refuse(const httplib::Request &request, httplib::Response &response) const {
  const std::string origin = request.get_header_value("Origin");
  const bool posts = request.method == "POST";
  int status = 0;
  if ("http://" + request.get_header_value("Host") != origin_ ||
      request.get_header_value_count("Host") != 1 || (!origin.empty() && origin != origin_) ||
      (posts && origin.empty()) ||
      !AreEqual(request.path.substr(0, token_.size() + 2), "/" + token_ + "/")) {
    status = 403;
  } else if (!posts && request.method != "GET") {
    status = 405;
  } else if (posts && (request.has_header("Transfer-Encoding") ||
                       request.get_header_value_count("Content-Length") != 1)) {
    status = 411;
  }
  if (status != 0) Answer(response, status, {{"error", "refused"}});
  return status != 0;
}

void Server::AddRoutes() {
  const std::string root = "/" + token_ + "/";
  for (const Asset &asset : kAssets) {
    const std::string name(asset.name == "index.html" ? "" : asset.name);
    server_->Get(root + name, [&asset](const auto &, auto &response) {
      response.set_content(asset.content.data(), asset.content.size(), asset.type.data());
    });
  }
  server_->Get(root + "actions",
               [](const auto &, auto &response) { Answer(response, 200, ActionTable()); });
  server_->Get(root + "feed",
               [this](const auto &request, auto &response) { Stream(request, response); });
  server_->Post(root + "act",
                [this](const auto &request, auto &response) { Perform(request, response); });
}

void Server::Stream(const httplib::Request &request, httplib::Response &response) {
  if (++pages_ > kMostPages) {
    --pages_;
    return Answer(response, 503, {{"error", "too many pages are open"}});
  }
  Place place;
  sscanf(request.get_header_value("Last-Event-ID").c_str(), "%" SCNu64 " %" SCNu64, &place.board,
         &place.line);
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, place](size_t, httplib::DataSink &sink) mutable {
        std::string text = feed_->Next(&place, kSilence);
        if (text.empty()) text = ":\n\n";  // shows whether the page is still there
        return sink.write(text.data(), text.size());
      },
      [this](bool) { --pages_; });
}

void Server::Perform(const httplib::Request &request, httplib::Response &response) const {
  std::vector<std::string> words;
  try {
    words = Json::parse(request.body).at("words").get<std::vector<std::string>>();
    if (words.size() > kMostWords) throw std::invalid_argument("too many words");
    act_(words);
    Answer(response, 200, Json::object());
  } catch (const NotYet &error) {
    Answer(response, 409, {{"error", error.what()}});
  } catch (const std::exception &error) {
    Answer(response, 400, {{"error", error.what()}});
  }
}

}  // namespace vboard::panel
