#include "Network/output_file.h"

#include <fcntl.h>
#include <stdarg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "Base/standard_descriptors.h"
#include "Network/network_text.h"

namespace libsys::network {
namespace {

FILE *OpenForOwner(const char *path) {
  constexpr mode_t kOwnerOnly = 0600;
  const int fd = base::Open(path, O_WRONLY | O_CREAT, kOwnerOnly);
  if (fd < 0) return nullptr;
  FILE *file = nullptr;
  if (fchmod(fd, kOwnerOnly) == 0 && ftruncate(fd, 0) == 0) file = fdopen(fd, "w");
  if (file == nullptr) close(fd);
  return file;
}

}  // namespace

OutputFile::OutputFile(const char *path, Readers readers)
    : file_(readers == Readers::kOwner ? OpenForOwner(path) : base::OpenFile(path, "we")) {}

void OutputFile::Print(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vfprintf(file_, format, arguments);
  va_end(arguments);
}

void OutputFile::PrintEscaped(const char *field, size_t size, std::span<const Escape> escapes) {
  const std::span text(field, static_cast<size_t>(LineLength(field, size)));
  for (const char character : text) {
    const auto escape = std::find_if(escapes.begin(), escapes.end(), [=](const Escape &candidate) {
      return candidate.special == character;
    });
    if (escape != escapes.end()) {
      fputs(escape->written, file_);
    } else {
      fputc(character, file_);
    }
  }
}

}  // namespace libsys::network
