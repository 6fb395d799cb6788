// The infrared receiver /dev/Hi_IR: a FIFO of 12-byte records, byte 6 the code, byte 8 the state.
#include <errno.h>
#include <sys/stat.h>

#include <atomic>
#include <stdexcept>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/values.h"

namespace vboard {
extern const Device kInfrared;
namespace {

// What the remote control has sent.
struct InfraredState {
  bool fitted;
  std::atomic<uint32_t> count;
  std::atomic<uint8_t> code, state;  // the last one's
};

InfraredState &Infrared() {
  return StateOf<InfraredState>(kInfrared);
}

constexpr const char *kPath = "/dev/Hi_IR";

constexpr Key kKeys[] = {
    {"fitted", key::Flag(false), "the board has the receiver, /dev/Hi_IR"},
};

void Make(Section &section) {
  if (!section.Flag("fitted")) return;
  const std::string path = RootPath(kPath);
  WriteFile(path.substr(0, path.rfind('/') + 1), "");
  Infrared().fitted = true;
  if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error(path + ": cannot be made");
}

uint8_t Byte(const std::string &word) {
  return static_cast<uint8_t>(NumberOf(word, 0xff));
}

void Send(std::span<const std::string> words) {
  uint8_t record[12] = {};
  record[6] = Byte(words[0]);
  record[8] = Byte(words[1]);
  // What the receiver sees while nobody listens is lost.
  if (FeedFifo(RootPath(kPath), "", 0) < 0) {
    if (errno != ENXIO) throw std::invalid_argument("this board has no infrared receiver");
    throw NotYet("nobody listens");
  }
  ++Infrared().count;
  Infrared().code = record[6];
  Infrared().state = record[8];
  Event("infrared: code 0x%02x, state %u", record[6], record[8]);
  if (FeedFifo(RootPath(kPath), record, sizeof record) != sizeof record) {
    throw std::runtime_error("nobody reads");
  }
}

void Show(Values &values) {
  values.Object("ir", [&] {
    values.Flag("fitted", Infrared().fitted);
    values.Number("sent", Infrared().count);
    if (Infrared().count == 0) return;
    values.Number("code", Infrared().code);
    values.Number("state", Infrared().state);
  });
}

constexpr Action kActions[] = {
    {"ir send", "CODE STATE", "send a code with the remote control", Send},
};

}  // namespace

const Device kInfrared = {
    .name = "infrared",
    .about = "the receiver of the remote control",
    .keys = kKeys,
    .stateSize = sizeof(InfraredState),
    .make = Make,
    .values = Show,
    .help = "the remote control",
    .actions = kActions,
};

}  // namespace vboard
