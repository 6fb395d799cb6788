#include "vboard/json.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "vboard/board.h"
#include "vboard/device.h"
#include "vboard/event_forms.h"
#include "vboard/faults.h"
#include "vboard/processes.h"
#include "vboard/values.h"

namespace vboard {
namespace {

using Json = nlohmann::ordered_json;

// Texts of programs may be no UTF-8.
std::string Dumped(const Json &json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

class JsonValues : public Values {
 public:
  explicit JsonValues(Json &json) : open_({&json}) {}

  void Number(const char *name, int64_t value) override { Put(name, value); }
  void Flag(const char *name, bool value) override { Put(name, value); }
  void Text(const char *name, std::string_view value) override { Put(name, std::string(value)); }

 private:
  Json &Put(const char *name, Json value) {
    Json &in = *open_.back();
    if (in.is_array()) return in.emplace_back(std::move(value));
    if (!in.contains(name)) in[name] = std::move(value);
    return in[name];
  }
  void Begin(const char *name, bool list) override {
    open_.push_back(&Put(name, list ? Json::array() : Json::object()));
  }
  void End() override { open_.pop_back(); }

  std::vector<Json *> open_;
};

Json Mounts() {
  Json mounts = Json::array();
  for (const Mount &mount : State().mounts) {
    if (mount.point[0] == '\0') continue;
    mounts.push_back({{"source", mount.source},
                      {"point", mount.point},
                      {"type", mount.type},
                      {"lost", mount.error != 0}});
  }
  return mounts;
}

// The PC knows of them, as long as they live.
Json Processes() {
  Json processes = Json::array();
  for (const Known &known : State().processes) {
    if (!Lives(known.process)) continue;
    Json process = {{"process", known.number.load()}};
    const Status status = StatusOf(known.process.number);
    if (status.state != '\0') {
      process["name"] = status.name;
      process["state"] = std::string(1, status.state);
    }
    processes.push_back(process);
  }
  return processes;
}

Json Faults() {
  Json faults = Json::array();
  for (const Fault &fault : State().faults) {
    if (fault.outcome == 0) continue;
    faults.push_back({{"call", fault.call},
                      {"path", fault.path},
                      {"process", fault.process},
                      {"outcome", FaultName(fault.outcome)},
                      {"nth", fault.nth},
                      {"always", fault.repeat != 0}});
  }
  return faults;
}

Json PlannedCut() {
  const PowerCut cut = State().cut;
  if (cut.operation == 0) return nullptr;
  return {{"operation", cut.operation}, {"moment", MomentName(cut.moment)}, {"number", cut.number}};
}

}  // namespace

std::string EventJson(const Line &event) {
  const Meaning meaning = MeaningOf(event);
  Json json = {{"time", event.time},
               {"process", event.process},
               {"device", meaning.device},
               {"event", meaning.event},
               {"text", event.text}};
  for (const auto &[name, value] : meaning.fields) {
    std::visit([&, key = &name](const auto &held) { json[*key] = held; }, value);
  }
  if (event.cut) json["cut"] = true;
  return Dumped(json);
}

std::string StateJson() {
  const Shared &state = State();
  Json json = {{"power", PowerName(state.power)},
               {"boots", state.boots.load()},
               {"speed", state.time.speed.load()},
               {"time", BoardTime()},
               {"flash_operations", state.flashOperations.load()},
               {"mounts", Mounts()},
               {"processes", Processes()},
               {"faults", Faults()},
               {"power_cut", PlannedCut()},
               {"devices", Json::object()}};
  JsonValues values(json["devices"]);
  for (const Device *device : Devices()) {
    if (device->values != nullptr) device->values(values);
  }
  return Dumped(json);
}

}  // namespace vboard
