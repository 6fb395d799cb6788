// The main function of a target where there is no fuzzer: runs it on the files of the folders
// named.
#include <stdio.h>

#include <filesystem>

#include "vboard/files.h"

extern "C" {
int LLVMFuzzerInitialize(int *count, char ***words);
int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
}

int main(int count, char **words) {
  LLVMFuzzerInitialize(&count, &words);
  int inputs = 0;
  for (int i = 1; i < count; ++i) {
    for (const auto &entry : std::filesystem::directory_iterator(words[i])) {
      const std::string content = vboard::ReadFile(entry.path());
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(content.data()), content.size());
      ++inputs;
    }
  }
  fprintf(stderr, "%d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;
}
