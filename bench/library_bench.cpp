// The library's work on a virtual board: processor time of the code and of the board's model
// together, which is what the CRC beside zlib's is not.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <zlib.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "System/boot/crc32.h"
#include "libsys/boot.h"
#include "libsys/flash.h"
#include "libsys/version.h"
#include "vboard/board.h"
#include "vboard/files.h"
#include "vboard/make.h"

namespace {

// Identifiers: a first-generation board with blocks of 64 KiB, a second-generation one with
// blocks of 128 KiB.
constexpr const char *kSmallBlock = "0000000000000004";
constexpr const char *kLargeBlock = "4280000000000000";

class Board {
 public:
  Board(const std::string &product, unsigned sectorSize, unsigned partitions) {
    std::string text = "summary = \"benchmark\"\n[identity]\nproduct = \"" + product +
                       "\"\noem = 0\n[flash]\nsector_size = " + std::to_string(sectorSize) + "\n";
    for (unsigned i = 0; i < partitions; ++i) {
      const std::string name = i == 0 ? "boot" : i == 1 ? "env" : "part" + std::to_string(i);
      text += "[[flash.partition]]\nname = \"" + name +
              "\"\nsize = " + std::to_string(4 * sectorSize) + "\n";
    }
    const bool env = product == kLargeBlock;
    text += "[flash.environment]\npartition = \"" + std::string(env ? "env" : "boot") +
            "\"\noffset = " + std::to_string(env ? 0 : 3 * sectorSize) +
            "\nsize = " + std::to_string(sectorSize) +
            "\nvariables = { bootdelay = \"1\", ethaddr = \"00:11:22:33:44:55\", xapp = \"1\" }\n";
    vboard::WriteFile(folder_.path() + "/board.toml", text);
    vboard::MakeBoard(folder_.path() + "/board.toml", folder_.path() + "/board", "");
    vboard::PowerOn();
    vboard::Attach(folder_.path() + "/board");
    DvrReadBootParameters();
    FlashCloseAll();
  }
  ~Board() { vboard::Detach(); }
  Board(const Board &) = delete;
  Board &operator=(const Board &) = delete;

 private:
  vboard::TemporaryFolder folder_;
};

// The product type is kept for a process's life, so one process measures one kind of board.
std::string product = kSmallBlock;
unsigned sectorSize = 0x10000;

void BootEnvironmentGet(benchmark::State &state) {
  const Board board(product, sectorSize, 3);
  char value[8];
  for (auto _ : state) benchmark::DoNotOptimize(BootEnvGet("xapp", value, sizeof value));
  if (value[0] != '1') state.SkipWithError("xapp was not found");
}

void BootEnvironmentSet(benchmark::State &state) {
  const Board board(product, sectorSize, 3);
  for (auto _ : state) {
    if (BootEnvSet("xapp", "1") != 0) state.SkipWithError("xapp was not saved");
  }
}

void HardwareInformation(benchmark::State &state) {
  const Board board(product, sectorSize, 3);
  for (auto _ : state) {
    for (uint32_t command = 0; command < 32; ++command) {
      benchmark::DoNotOptimize(DvrGetHwidInformation(command));
    }
  }
  state.SetItemsProcessed(state.iterations() * 32);
}

void FlashInit11Partitions(benchmark::State &state) {
  const Board board(product, sectorSize, 11);
  for (auto _ : state) {
    if (FlashInit() != 0) state.SkipWithError("no partitions");
    FlashCloseAll();
  }
}

const std::vector<uint8_t> kBlock(0x10000 - 4, 0x5a);

void CrcOurs(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(libsys::boot::Crc32(0, kBlock));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock.size()));
}

void CrcZlib(benchmark::State &state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(crc32(0, kBlock.data(), static_cast<uInt>(kBlock.size())));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * kBlock.size()));
}

}  // namespace

// "library_bench large" measures a second-generation board; without it, a first-generation one.
int main(int count, char **arguments) {
  const bool large = count > 1 && std::string(arguments[1]) == "large";
  if (large) {
    product = kLargeBlock;
    sectorSize = 0x20000;
    --count;
    ++arguments;
  }
  const std::string block = large ? "/128KiB" : "/64KiB";
  benchmark::RegisterBenchmark(("BootEnvGet" + block).c_str(), BootEnvironmentGet);
  benchmark::RegisterBenchmark(("BootEnvSet" + block).c_str(), BootEnvironmentSet);
  benchmark::RegisterBenchmark(
      large ? "DvrGetHwidInformation/second" : "DvrGetHwidInformation/first", HardwareInformation);
  benchmark::RegisterBenchmark("FlashInit/11", FlashInit11Partitions);
  if (!large) {
    benchmark::RegisterBenchmark("Crc32/ours", CrcOurs);
    benchmark::RegisterBenchmark("Crc32/zlib", CrcZlib);
  }
  benchmark::Initialize(&count, arguments);
  // The library prints on standard output; the numbers go to standard error.
  if (freopen("/dev/null", "w", stdout) == nullptr) return 1;
  benchmark::ConsoleReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
  reporter.SetOutputStream(&std::cerr);
  reporter.SetErrorStream(&std::cerr);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return 0;
}
