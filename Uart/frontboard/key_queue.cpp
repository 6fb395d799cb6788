#include "Uart/frontboard/key_queue.h"

#include <unistd.h>

#include <array>
#include <atomic>

namespace {

constexpr uint32_t kEntries = 128;
constexpr useconds_t kPoll = 10'000;

// Each index is written by one side only. An entry is one word: a reader that is lapped sees
// the old one or the new one, never a mixture.
struct {
  std::array<std::atomic<uint32_t>, kEntries> entries{};
  std::atomic<uint32_t> writeIndex{0};
  std::atomic<uint32_t> readIndex{0};
} FrontKeyQueue;

constexpr uint32_t Next(uint32_t index) {
  return (index + 1) % kEntries;
}

}  // namespace

namespace libsys::panel {

void PutKey(QueueEntry entry) {
  const uint32_t index = FrontKeyQueue.writeIndex.load(std::memory_order_relaxed);
  const uint32_t word = entry.source | uint32_t{entry.code} << 8 | uint32_t{entry.state} << 16;
  FrontKeyQueue.entries[index].store(word, std::memory_order_relaxed);
  FrontKeyQueue.writeIndex.store(Next(index), std::memory_order_release);
}

QueueEntry WaitForKey() {
  const uint32_t index = FrontKeyQueue.readIndex.load(std::memory_order_relaxed);
  while (FrontKeyQueue.writeIndex.load(std::memory_order_acquire) == index) usleep(kPoll);
  const uint32_t word = FrontKeyQueue.entries[index].load(std::memory_order_relaxed);
  return {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8),
          static_cast<uint8_t>(word >> 16)};
}

void DropKey() {
  const uint32_t index = FrontKeyQueue.readIndex.load(std::memory_order_relaxed);
  FrontKeyQueue.readIndex.store(Next(index), std::memory_order_release);
}

}  // namespace libsys::panel
