// The serial ports /dev/ttyAMA0 to 3. A port is a FIFO that holds what has been received and not
// yet read; what a program sends goes to the event log. Line attributes are kept as termios.
//
// Behind port 1 is the front panel's microcontroller, behind port 2 the front board. Like on the
// wire, bytes for a port that nobody has open are lost.
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <stdexcept>
#include <vector>

#include "vboard/board.h"
#include "vboard/description.h"
#include "vboard/device.h"
#include "vboard/files.h"
#include "vboard/real.h"
#include "vboard/values.h"

namespace vboard {
extern const Device kSerial;
namespace {

constexpr int kPorts = 4;
constexpr int kMcuPort = 1;
constexpr int kFrontboardPort = 2;
constexpr std::string_view kPrefix = "/dev/ttyAMA";

struct Port {
  bool fitted;
  std::atomic<bool> unplugged;
  termios settings;
};

// What commands to microcontroller and front board set: 256 LEDs and these two.
enum Indicator : size_t { kFan = 256, kBuzzer, kIndicators };

struct SerialState {
  uint32_t chunk;  // the most bytes that a port takes at once; 0: all
  Port ports[kPorts];
  std::atomic<uint16_t> indicators[kIndicators];  // the level plus 1; 0: not yet set
};

SerialState &Serial() {
  return StateOf<SerialState>(kSerial);
}

std::string PortPath(int port) {
  return RootPath(std::string(kPrefix) + std::to_string(port));
}

void MakePort(int port) {
  const std::string path = PortPath(port);
  WriteFile(RootPath("/dev/"), "");
  if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error(path + ": cannot be made");
  Serial().ports[port].fitted = true;
}

constexpr Key kKeys[] = {
    {"ports", key::Numbers(0, kPorts - 1).Optional("all four"),
     "the ports that the board has; 1 leads to the microcontroller, 2 to the front board"},
    {"chunk", key::Number(1, 4096).Default(0), "the most bytes that a port takes in one write"},
};

void Make(Section &section) {
  Serial().chunk = section.Number<uint32_t>("chunk");
  if (!section.Has("ports")) {
    for (int port = 0; port < kPorts; ++port) MakePort(port);
    return;
  }
  for (const int64_t port : section.Numbers("ports")) {
    if (Serial().ports[port].fitted) section.Fail("ports", "has to hold each port once");
    MakePort(static_cast<int>(port));
  }
}

// How the kernel's driver starts.
void Reset() {
  for (auto &indicator : Serial().indicators) indicator = 0;
  for (Port &port : Serial().ports) {
    port.settings = {};
    port.settings.c_iflag = ICRNL | IXON;
    port.settings.c_oflag = OPOST | ONLCR;
    port.settings.c_cflag = CS8 | CREAD | HUPCL;
    port.settings.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN;
    cfsetispeed(&port.settings, B9600);
    cfsetospeed(&port.settings, B9600);
  }
}

int Unit(std::string_view path) {
  if (!path.starts_with(kPrefix) || path.size() != kPrefix.size() + 1) return -1;
  const int port = path.back() - '0';
  return port >= 0 && port < kPorts && Serial().ports[port].fitted ? port : -1;
}

std::string Hex(const uint8_t *data, size_t length) {
  std::string text;
  char byte[4];
  for (size_t i = 0; i < length; ++i) {
    snprintf(byte, sizeof byte, " %02x", data[i]);
    text += byte;
  }
  return text;
}

// What a whole frame for the microcontroller or the front board sets, by its last byte;
// kIndicators: nothing.
size_t IndicatorOf(const std::vector<uint8_t> &frame) {
  const auto isFrame = [&](std::vector<uint8_t> head, size_t length) {
    return frame.size() == length && std::equal(head.begin(), head.end(), frame.begin());
  };
  if (isFrame({0xff, 0x5a, 0x05, 0x01}, 5)) return kFan;
  if (isFrame({0xff, 0x5a, 0x04, 0x01}, 5)) return kBuzzer;
  return isFrame({0xff, 0xdd}, 4) ? frame[2] : size_t{kIndicators};
}

std::string NameOf(size_t indicator) {
  if (indicator >= kFan) return indicator == kFan ? "fan" : "buzzer";
  const auto led = static_cast<uint8_t>(indicator);
  return "LED" + Hex(&led, 1);
}

std::string Meaning(const std::vector<uint8_t> &frame) {
  const size_t indicator = IndicatorOf(frame);
  if (indicator == kIndicators) return "";
  const std::string level = indicator < kFan    ? " = " + std::to_string(frame.back())
                            : frame.back() != 0 ? " on"
                                                : " off";
  return " (" + NameOf(indicator) + level + ")";
}

ssize_t Write(int unit, int, const void *data, size_t length, int64_t *) {
  if (Serial().chunk != 0) length = std::min<size_t>(length, Serial().chunk);
  const auto *bytes = static_cast<const uint8_t *>(data);
  if (length > 0) {
    const std::vector<uint8_t> frame(bytes, bytes + length);
    const size_t indicator = IndicatorOf(frame);
    if (indicator != kIndicators) {
      Serial().indicators[indicator] = static_cast<uint16_t>(frame.back() + 1);
    }
    Event("uart%d: sent%s%s", unit, Hex(bytes, length).c_str(), Meaning(frame).c_str());
  }
  return static_cast<ssize_t>(length);
}

// Puts bytes where the program finds them; false when nobody has the port open.
bool Put(int port, const void *data, size_t length) {
  return FeedFifo(PortPath(port), data, length) == static_cast<ssize_t>(length);
}

// Drops what has been received; the number of bytes.
size_t Drop(int port) {
  const int fd = real::open(PortPath(port).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  char data[256];
  size_t count = 0;
  for (ssize_t length; (length = real::read(fd, data, sizeof data)) > 0;) {
    count += static_cast<size_t>(length);
  }
  real::close(fd);
  return count;
}

// Of a port whose other side is gone every read ends at once; the byte that wakes a reader, or a
// wait for one, stays for the next.
ssize_t Read(int unit, int fd, void *data, size_t length) {
  const Port &port = Serial().ports[unit];
  if (port.unplugged) return 0;
  const ssize_t count = real::read(fd, data, length);
  if (count <= 0 || !port.unplugged) return count;
  Put(unit, "", 1);
  return 0;
}

const char *SpeedName(speed_t speed) {
  static constexpr struct {
    speed_t speed;
    const char *name;
  } kNames[] = {
      {B50, "50"},       {B75, "75"},         {B110, "110"},   {B134, "134"},     {B150, "150"},
      {B200, "200"},     {B300, "300"},       {B600, "600"},   {B1200, "1200"},   {B1800, "1800"},
      {B2400, "2400"},   {B4800, "4800"},     {B9600, "9600"}, {B19200, "19200"}, {B38400, "38400"},
      {B57600, "57600"}, {B115200, "115200"},
  };
  for (const auto &[known, name] : kNames) {
    if (known == speed) return name;
  }
  return "?";
}

const char *ParityName(const termios &settings) {
  if ((settings.c_cflag & PARENB) == 0) return "no";
  return (settings.c_cflag & PARODD) != 0 ? "odd" : "even";
}

int DataBits(const termios &settings) {
  return 5 + static_cast<int>((settings.c_cflag & CSIZE) / CS6);
}

int GetTerminal(int unit, termios *settings) {
  const Lock lock;
  *settings = Serial().ports[unit].settings;
  return 0;
}

int SetTerminal(int unit, const termios *settings) {
  {
    const Lock lock;
    Serial().ports[unit].settings = *settings;
  }
  const bool two = (settings->c_cflag & CSTOPB) != 0;
  Event("uart%d: %s baud, %d data bits, %s parity, %s", unit, SpeedName(cfgetospeed(settings)),
        DataBits(*settings), ParityName(*settings), two ? "2 stop bits" : "1 stop bit");
  return 0;
}

// What a program sends is on the wire at once, so that there is never anything of it to drop.
int Flush(int unit, int queue) {
  const size_t dropped = queue != TCOFLUSH ? Drop(unit) : 0;
  const char *unsent = queue != TCIFLUSH ? ", and all that is not sent" : "";
  if (dropped > 0) Event("uart%d: %zu received bytes dropped%s", unit, dropped, unsent);
  return 0;
}

int PortNumber(const std::string &word) {
  const int port = word.size() == 1 ? word[0] - '0' : -1;
  if (port < 0 || port >= kPorts || !Serial().ports[port].fitted) {
    throw std::invalid_argument("'" + word + "' is no port of this board");
  }
  return port;
}

std::vector<uint8_t> Bytes(const std::string &word) {
  std::vector<uint8_t> bytes(word.size() / 2);
  const char *place = word.data();
  for (uint8_t &byte : bytes) {
    const auto [end, error] = std::from_chars(place, place + 2, byte, 16);
    if (error != std::errc() || end != place + 2) break;
    place = end;
  }
  if (word.empty() || place != word.data() + word.size()) {
    throw std::invalid_argument("'" + word + "' are no bytes such as ff1afe01");
  }
  return bytes;
}

void Send(int port, const std::string &word) {
  const std::vector<uint8_t> bytes = Bytes(word);
  Event("uart%d: received%s", port, Hex(bytes.data(), bytes.size()).c_str());
  if (!Put(port, bytes.data(), bytes.size())) Event("uart%d: lost, nobody listens", port);
}

void Unplug(std::span<const std::string> words) {
  const int port = PortNumber(words[0]);
  Serial().ports[port].unplugged = true;
  Event("uart%d: unplugged", port);
  Put(port, "", 1);
}

void Plug(std::span<const std::string> words) {
  const int port = PortNumber(words[0]);
  Drop(port);
  Serial().ports[port].unplugged = false;
  Event("uart%d: plugged in", port);
}

void ShowPort(Values &values, int port) {
  const Port &shown = Serial().ports[port];
  const termios settings = shown.settings;
  values.Number("port", port);
  if (port == kMcuPort) values.Text("leads_to", "microcontroller");
  if (port == kFrontboardPort) values.Text("leads_to", "front board");
  values.Flag("plugged", !shown.unplugged);
  values.Number("baud", atoi(SpeedName(cfgetospeed(&settings))));  // 0: an unusual one
  values.Number("data_bits", DataBits(settings));
  values.Text("parity", ParityName(settings));
  values.Number("stop_bits", (settings.c_cflag & CSTOPB) != 0 ? 2 : 1);
}

void Show(Values &values) {
  const Lock lock;
  values.List("uart", [&] {
    for (int port = 0; port < kPorts; ++port) {
      if (!Serial().ports[port].fitted) continue;
      values.Object("", [&] { ShowPort(values, port); });
    }
  });
  values.List("indicators", [&] {
    for (size_t indicator = 0; indicator < kIndicators; ++indicator) {
      const int level = Serial().indicators[indicator] - 1;
      if (level < 0) continue;
      values.Object("", [&] {
        values.Text("name", NameOf(indicator));
        values.Number("level", level);
      });
    }
  });
}

constexpr Action kActions[] = {
    {"uart send", "INDEX HEXBYTES", "send bytes, such as ff1afe01, to a port",
     [](std::span<const std::string> words) { Send(PortNumber(words[0]), words[1]); }},
    {"uart unplug", "INDEX", "take away what is at the other end of a port", Unplug},
    {"uart plug", "INDEX", "bring it back", Plug},
    {"mcu send", "HEXBYTES", "send bytes as the front panel's microcontroller",
     [](std::span<const std::string> words) { Send(kMcuPort, words[0]); }},
    {"frontboard send", "HEXBYTES", "send bytes as the front board",
     [](std::span<const std::string> words) { Send(kFrontboardPort, words[0]); }},
};

}  // namespace

const Device kSerial = {
    .name = "serial",
    .about = "the serial ports /dev/ttyAMA0 to 3",
    .keys = kKeys,
    .stateSize = sizeof(SerialState),
    .make = Make,
    .powerOn = Reset,
    .files = FileCalls{.unit = Unit, .read = Read, .write = Write},
    .terminal = TerminalCalls{.get = GetTerminal, .set = SetTerminal, .flush = Flush},
    .values = Show,
    .help = "what is at the other end of a serial port",
    .actions = kActions,
};

}  // namespace vboard
