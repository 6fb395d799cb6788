// Reading from the ports and writing to them.
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>

#include "Base/message.h"
#include "Uart/frontboard/key_translation.h"
#include "Uart/port/port.h"
#include "libsys/uart.h"

using namespace libsys;

namespace {

using uart::DescriptorOf;
using uart::kEventLength;

constexpr const char *kSource = "Uart/uart.c";
constexpr suseconds_t kSilence = 90'000;
constexpr int kSilences = 3;
// A translated command up to here goes out in one piece.
constexpr uint32_t kLongestCommand = 256;

bool IsBad(uint32_t index, const void *buffer, uint32_t length) {
  return length == 0 || length > INT32_MAX || buffer == nullptr || index >= uart::kPorts;
}

// Waits until there is something to read, and leaves only such descriptors in the set. 0: none
// within the time (null: for ever), negative: a failure. The kernel counts the time down, so
// that an interrupted wait goes on with the rest.
int WaitFor(fd_set &descriptors, int highest, timeval *time) {
  const fd_set asked = descriptors;
  int ready = -1;
  do {
    descriptors = asked;
    ready = select(highest + 1, &descriptors, nullptr, nullptr, time);
  } while (ready < 0 && errno == EINTR);
  return ready;
}

bool Add(int fd, fd_set &descriptors) {
  if (fd < 0 || fd >= FD_SETSIZE) return false;
  FD_SET(fd, &descriptors);
  return true;
}

// Reads what is there, at least a byte. No byte means that the other side of the port is gone:
// a failure.
ssize_t ReadSome(int fd, uint8_t *data, size_t length) {
  ssize_t count = -1;
  do {
    count = read(fd, data, length);
  } while (count < 0 && errno == EINTR);
  return count > 0 ? count : -1;
}

// Returns how many bytes are missing; none unless a read has failed.
uint32_t ReadAll(int fd, uint8_t *data, uint32_t length) {
  while (length > 0) {
    const ssize_t count = ReadSome(fd, data, length);
    if (count < 0) break;
    data += count;
    length -= static_cast<uint32_t>(count);
  }
  return length;
}

bool ReadOnePort(uint32_t index, uint8_t *data, uint32_t length) {
  if (ReadAll(DescriptorOf(index), data, length) == 0) return true;
  base::PrintAt({kSource, 284}, "UartDeviceRead : readlength < 0, index = %d\n",
                static_cast<int>(index));
  return false;
}

// The number in the message is the index for the second port and, on purpose, the missing length
// for the first.
bool DualReadFails(uint32_t number) {
  printf("UartDeviceRead : readlength < 0, index = %d\n", static_cast<int>(number));
  return false;
}

bool ReadDualPort(uint32_t index, uint8_t *data, uint32_t length) {
  const int first = DescriptorOf(0);
  const int second = DescriptorOf(uart::kSecondPort);
  fd_set ready;
  FD_ZERO(&ready);
  const bool hasFirst = Add(first, ready);
  const bool hasSecond = Add(second, ready);
  if (!hasFirst && !hasSecond) return DualReadFails(length);
  if (WaitFor(ready, std::max(first, second), nullptr) < 0) return DualReadFails(length);
  if (hasFirst && FD_ISSET(first, &ready)) {
    const uint32_t missing = ReadAll(first, data, length);
    return missing == 0 || DualReadFails(missing);
  }
  return ReadAll(second, data, length) == 0 || DualReadFails(index);
}

// What goes out: the caller's bytes, or, when they begin with a command that was translated, a
// copy of them as far as it reaches.
class Outgoing {
 public:
  Outgoing(const uint8_t *data, uint32_t length) : data_(data), length_(length) {
    if (length < kEventLength) return;
    const uint32_t copied = std::min<uint32_t>(length, sizeof copy_);
    memcpy(copy_, data, copied);
    if (uart::TranslateCommand(copy_)) copied_ = copied;
  }
  bool Done() const { return position_ == length_; }
  uint32_t Position() const { return position_; }

  // Writes as much as goes at once. False when nothing went.
  bool WriteSome(int fd) {
    const bool inCopy = position_ < copied_;
    const uint8_t *source = inCopy ? copy_ : data_;
    const uint32_t end = inCopy ? copied_ : length_;
    ssize_t count = -1;
    do {
      count = write(fd, source + position_, end - position_);
    } while (count < 0 && errno == EINTR);
    if (count <= 0) return false;
    position_ += static_cast<uint32_t>(count);
    return true;
  }

 private:
  const uint8_t *data_;
  uint32_t length_;
  uint32_t position_ = 0;
  uint32_t copied_ = 0;
  uint8_t copy_[kLongestCommand];
};

int32_t WriteFails(int line, uint32_t index, uint32_t length) {
  base::PrintAt({kSource, line}, "UartDeviceWrite : writelength < 0, Index = %d, Length = %d\n",
                static_cast<int>(index), static_cast<int>(length));
  return -1;
}

int32_t WriteOnePort(uint32_t index, Outgoing &bytes, uint32_t length) {
  while (!bytes.Done()) {
    if (!bytes.WriteSome(DescriptorOf(index))) return WriteFails(834, index, length);
  }
  return static_cast<int32_t>(length);
}

int32_t WriteDualPort(uint32_t index, Outgoing &bytes, uint32_t length) {
  while (!bytes.Done()) {
    if (!bytes.WriteSome(DescriptorOf(0))) return WriteFails(796, index, length);
    printf("WritePosition  :%d \n", static_cast<int>(bytes.Position()));
  }
  // By then nothing is left for the second port, on purpose.
  while (!bytes.Done()) {
    if (!bytes.WriteSome(DescriptorOf(uart::kSecondPort))) return WriteFails(816, index, length);
  }
  return static_cast<int32_t>(length);
}

bool WriteIsBad(uint32_t index, const void *buffer, uint32_t length) {
  if (!IsBad(index, buffer, length)) return false;
  base::PrintAt({kSource, 733}, "UartDeviceWrite : Input params invailed\n");
  return true;
}

}  // namespace

int32_t UartDeviceRead(uint32_t index, void *buffer, uint32_t length) {
  if (IsBad(index, buffer, length)) {
    base::PrintAt({kSource, 218}, "UartDeviceRead : Input params invailed\n");
    return -1;
  }
  auto *data = static_cast<uint8_t *>(buffer);
  const auto readPort = uart::IsDualPort(index) ? ReadDualPort : ReadOnePort;
  if (!readPort(index, data, length)) return -1;
  if (length >= kEventLength) uart::TranslateEvent(data);
  return static_cast<int32_t>(length);
}

int32_t UartDeviceReadTimed(uint32_t index, void *buffer, int32_t length) {
  if (length == 0) return 0;
  const int fd = DescriptorOf(index);
  if (fd < 0 || fd >= FD_SETSIZE || buffer == nullptr) return -1;
  const size_t target = length >= 1 && length <= 3 ? static_cast<size_t>(length) : kEventLength;
  auto *data = static_cast<uint8_t *>(buffer);
  size_t count = 0;
  for (int budget = kSilences; count < target;) {
    fd_set ready;
    FD_ZERO(&ready);
    FD_SET(fd, &ready);
    timeval time = {0, kSilence};
    const int result = WaitFor(ready, fd, &time);
    if (result < 0 || (result == 0 && --budget == 0)) return -1;
    if (result == 0) continue;
    const ssize_t got = ReadSome(fd, data + count, target - count);
    if (got < 0) return -1;
    count += static_cast<size_t>(got);
  }
  return static_cast<int32_t>(count);
}

int32_t UartDeviceWrite(uint32_t index, const void *buffer, uint32_t length) {
  if (WriteIsBad(index, buffer, length)) return -1;
  Outgoing bytes(static_cast<const uint8_t *>(buffer), length);
  return uart::IsDualPort(index) ? WriteDualPort(index, bytes, length)
                                 : WriteOnePort(index, bytes, length);
}

int32_t UartDeviceWriteOnce(uint32_t index, const void *buffer, uint32_t length) {
  if (WriteIsBad(index, buffer, length)) return -1;
  const ssize_t count = write(DescriptorOf(index), buffer, length);
  return count < 0 ? WriteFails(862, index, length) : static_cast<int32_t>(count);
}
