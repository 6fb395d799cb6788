#include "boardctl/json.h"

namespace boardctl::json {
namespace {

// UTF-8 allows a character to begin with a byte from `first` to `last`, if the second byte is from
// `secondFirst` to `secondLast` and all further ones are from 0x80 to 0xbf.
struct Sequence {
  unsigned char first, last, secondFirst, secondLast;
  size_t length;  // bytes of the character
};
constexpr Sequence kSequences[] = {
    {0x01, 0x7f, 0x00, 0xff, 1}, {0xc2, 0xdf, 0x80, 0xbf, 2}, {0xe0, 0xe0, 0xa0, 0xbf, 3},
    {0xe1, 0xec, 0x80, 0xbf, 3}, {0xed, 0xed, 0x80, 0x9f, 3}, {0xee, 0xef, 0x80, 0xbf, 3},
    {0xf0, 0xf0, 0x90, 0xbf, 4}, {0xf1, 0xf3, 0x80, 0xbf, 4}, {0xf4, 0xf4, 0x80, 0x8f, 4},
};

bool Fits(const Sequence &sequence, const unsigned char *text) {
  if (text[0] < sequence.first || text[0] > sequence.last) return false;
  if (text[1] < sequence.secondFirst || text[1] > sequence.secondLast) return false;
  for (size_t i = 2; i < sequence.length; ++i) {
    if (text[i] < 0x80 || text[i] > 0xbf) return false;
  }
  return true;
}

// Returns how many bytes the character has that the text begins with; 0 when it begins with none.
size_t CharacterLength(const char *text) {
  for (const Sequence &sequence : kSequences) {
    if (Fits(sequence, reinterpret_cast<const unsigned char *>(text))) return sequence.length;
  }
  return 0;
}

}  // namespace

bool PrintText(FILE *file, const char *text) {
  bool valid = true;
  while (*text != '\0') {
    const size_t length = CharacterLength(text);
    const auto c = static_cast<unsigned char>(*text);
    if (length == 0) {
      fputs("\\ufffd", file);
      valid = false;
    } else if (c < ' ') {
      fprintf(file, "\\u%04x", static_cast<unsigned>(c));
    } else {
      if (c == '"' || c == '\\') putc('\\', file);
      fwrite(text, 1, length, file);
    }
    text += length == 0 ? 1 : length;
  }
  return valid;
}

void PrintBytes(FILE *file, const char *text) {
  for (; *text != '\0'; ++text) {
    fprintf(file, "%02x", static_cast<unsigned>(static_cast<unsigned char>(*text)));
  }
}

}  // namespace boardctl::json
