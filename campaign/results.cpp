#include "campaign/results.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace campaign {
namespace {

using Json = nlohmann::json;

constexpr int kVersion = 1;
constexpr char kHead[] = "campaign";

}  // namespace

std::string LineOf(const Result &result) {
  Json broken = Json::array();
  for (const Broken &one : result.broken) broken.push_back({{"rule", one.rule}, {"why", one.why}});
  const Json json = {{"kind", result.kind},
                     {"trial", result.trial},
                     {"seconds", result.seconds},
                     {"broken", broken},
                     {"shortened", result.shortened}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Result ReadResult(const std::string &line) {
  Result result;
  try {
    const Json json = Json::parse(line);
    result.kind = json.at("kind");
    result.trial = json.at("trial");
    result.seconds = json.at("seconds");
    result.shortened = json.at("shortened");
    for (const Json &one : json.at("broken")) {
      result.broken.push_back({one.at("rule"), one.at("why")});
    }
  } catch (const Json::exception &) {
    throw std::runtime_error("no result of a trial");
  }
  return result;
}

namespace {

void CheckHead(const std::string &line) {
  const Json json = Json::parse(line, nullptr, false);
  if (!json.is_object() || !json.contains(kHead)) throw std::runtime_error("no file of results");
  if (json[kHead] != kVersion) throw std::runtime_error("results of another version");
}

}  // namespace

void ReadResults(const std::string &path, const std::function<void(const Result &)> &visit) {
  std::ifstream file(path, std::ios::binary);
  std::string line;
  for (int number = 1; std::getline(file, line) && !file.eof(); ++number) {
    try {
      if (number == 1) {
        CheckHead(line);
      } else {
        visit(ReadResult(line));
      }
    } catch (const std::runtime_error &error) {
      throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
    }
  }
}

ResultFile::ResultFile(const std::string &path) : path_(path) {
  ReadResults(path, [this](const Result &result) { known_.insert(result.trial); });
  DropUnfinishedLine();
  file_ = fopen(path.c_str(), "ae");
  if (file_ == nullptr) throw std::runtime_error(path + ": " + strerror(errno));
  if (std::filesystem::file_size(path) > 0) return;
  fprintf(file_, "%s\n", Json({{kHead, kVersion}}).dump().c_str());
}

void ResultFile::DropUnfinishedLine() {
  std::ifstream file(path_, std::ios::binary);
  uintmax_t whole = 0;
  for (std::string line; std::getline(file, line) && !file.eof();) whole += line.size() + 1;
  if (file.bad() || !std::filesystem::is_regular_file(path_)) return;
  if (whole < std::filesystem::file_size(path_)) std::filesystem::resize_file(path_, whole);
}

ResultFile::~ResultFile() {
  fclose(file_);
}

// A line at a time, so that the file is whole when the campaign is stopped.
void ResultFile::Add(const Result &result) {
  fprintf(file_, "%s\n", LineOf(result).c_str());
  if (fflush(file_) != 0) throw std::runtime_error(path_ + ": " + strerror(errno));
}

}  // namespace campaign
