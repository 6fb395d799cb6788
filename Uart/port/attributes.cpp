// The line attributes of a port.
#include <termios.h>

#include <algorithm>
#include <array>

#include "Base/message.h"
#include "Uart/port/port.h"
#include "libsys/uart.h"

using namespace libsys;

namespace {

constexpr const char *kSource = "Uart/uart.c";

struct Speed {
  uint32_t baudRate;
  speed_t code;
};
constexpr std::array kSpeeds = {Speed{50, B50},       Speed{75, B75},        Speed{110, B110},
                                Speed{134, B134},     Speed{150, B150},      Speed{200, B200},
                                Speed{300, B300},     Speed{600, B600},      Speed{1200, B1200},
                                Speed{1800, B1800},   Speed{2400, B2400},    Speed{4800, B4800},
                                Speed{9600, B9600},   Speed{19200, B19200},  Speed{38400, B38400},
                                Speed{57600, B57600}, Speed{115200, B115200}};

enum class Flag { kClear, kSet, kKeep };
using enum Flag;

struct Parity {
  Flag inputCheck;  // INPCK
  Flag enabled;     // PARENB
  Flag odd;         // PARODD
};
constexpr std::array kParities = {
    Parity{kClear, kClear, kKeep},  // 0
    Parity{kSet, kSet, kSet},       // 1
    Parity{kSet, kSet, kClear},     // 2
    Parity{kKeep, kSet, kSet},      // 3
    Parity{kKeep, kSet, kKeep},     // 4
};

constexpr uint8_t kFewestDataBits = 5;
constexpr std::array<tcflag_t, 4> kDataBits = {CS5, CS6, CS7, CS8};

// 0 and 1 are one stop bit, on purpose.
constexpr std::array<tcflag_t, 3> kStopBits = {0, 0, CSTOPB};

void SetFlag(tcflag_t &flags, tcflag_t mask, Flag flag) {
  if (flag == kSet) flags |= mask;
  if (flag == kClear) flags &= ~mask;
}

bool SetSpeed(termios &settings, uint32_t baudRate) {
  const auto *speed = std::ranges::find(kSpeeds, baudRate, &Speed::baudRate);
  if (speed == kSpeeds.end()) {
    base::PrintAt({kSource, 967}, "Unsupported baudrate %d\n", static_cast<int>(baudRate));
    return false;
  }
  return cfsetispeed(&settings, speed->code) == 0 && cfsetospeed(&settings, speed->code) == 0;
}

bool SetParity(termios &settings, uint8_t value) {
  if (value >= kParities.size()) {
    base::PrintAt({kSource, 995}, "Unsupported parity %d\n", value);
    return false;
  }
  const Parity &parity = kParities[value];
  SetFlag(settings.c_iflag, INPCK, parity.inputCheck);
  SetFlag(settings.c_cflag, PARENB, parity.enabled);
  SetFlag(settings.c_cflag, PARODD, parity.odd);
  return true;
}

bool SetDataBits(termios &settings, uint8_t bits) {
  if (bits < kFewestDataBits || bits >= kFewestDataBits + kDataBits.size()) {
    base::PrintAt({kSource, 1015}, "Unsupported data bits %d\n", bits);
    return false;
  }
  SetFlag(settings.c_cflag, CSIZE, kClear);
  SetFlag(settings.c_cflag, kDataBits[bits - kFewestDataBits], kSet);
  return true;
}

bool SetStopBits(termios &settings, uint8_t bits) {
  if (bits >= kStopBits.size()) {
    base::PrintAt({kSource, 1033}, "Unsupported stop bits %d\n", bits);
    return false;
  }
  SetFlag(settings.c_cflag, CSTOPB, kClear);
  SetFlag(settings.c_cflag, kStopBits[bits], kSet);
  return true;
}

// What the attributes are set in: the console keeps what it is besides, the others are raw.
termios Basis(uint32_t index, int fd) {
  if (index == UartConsolePortIndex) return uart::consoleTerminal;
  termios settings = {};
  tcgetattr(fd, &settings);
  cfmakeraw(&settings);
  return settings;
}

// Reads return with the first byte.
int32_t Apply(int fd, termios &settings) {
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  tcflush(fd, TCIOFLUSH);
  if (tcsetattr(fd, TCSANOW, &settings) == 0) return 0;
  base::PrintAt({kSource, 1042}, "Tcsetattr\n");
  return -1;
}

}  // namespace

int32_t UartSetAttribute(uint32_t index, const UartAttribute *attribute) {
  const int fd = uart::DescriptorOf(index);
  if (fd < 0 || attribute == nullptr) {
    base::PrintAt({kSource, 883}, "UartSetAttribute failed, Index  = %d, fd = %d\n",
                  static_cast<int>(index), fd);
    return -1;
  }
  termios settings = Basis(index, fd);
  const bool supported =
      SetSpeed(settings, attribute->baudRate) && SetParity(settings, attribute->parity) &&
      SetDataBits(settings, attribute->dataBits) && SetStopBits(settings, attribute->stopBits);
  return supported ? Apply(fd, settings) : -1;
}
