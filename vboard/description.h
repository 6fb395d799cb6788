// Board descriptions: reading one file under boards/ and naming every fault in it by file,
// line and key.
#pragma once

#include <stdint.h>

#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "vboard/keys.h"

namespace vboard {

struct DescriptionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One table of a description, with the keys that it can have. Only those of the right type can be
// asked for: anything else is a fault of the program, std::logic_error.
class Section {
 public:
  struct Node;
  explicit Section(std::shared_ptr<const Node> node);
  ~Section();

  // Checks the section and the tables in it, and gives missing keys their defaults. Throws
  // DescriptionError with the place of the first fault.
  void Complete();

  // Whether the value of an optional key is there.
  bool Has(const char *key);
  // The value of a key.
  std::string Text(const char *key);
  template <typename Type = int64_t>
  Type Number(const char *key) {
    return static_cast<Type>(WholeNumber(key));
  }
  bool Flag(const char *key);
  std::vector<std::string> Texts(const char *key);
  std::vector<int64_t> Numbers(const char *key);
  std::vector<std::vector<int64_t>> Rows(const char *key);
  // In the file's order.
  std::vector<std::pair<std::string, std::string>> Pairs(const char *key);
  Section Table(const char *key);
  std::vector<Section> Tables(const char *key);

  // The value of an optional key, which becomes the given one where it is missing.
  std::string Text(const char *key, const std::string &otherwise);
  int64_t Number(const char *key, int64_t otherwise);

  // Throws DescriptionError with the place of a key in the file.
  [[noreturn]] void Fail(const char *key, const std::string &what);
  // The same for an entry of the table that a key names.
  [[noreturn]] void FailAt(const char *key, const std::string &entry, const std::string &what);

  // The section for tools that play boards elsewhere.
  std::string AsJson();

 private:
  int64_t WholeNumber(const char *key);

  std::shared_ptr<const Node> node_;
};

// Reads a description with these keys. Its key "base" names another one, from the folder of this
// one: its keys hold where this one has none of the same name, table by table. Throws
// DescriptionError.
Section ReadDescription(const std::string &path, std::span<const Key> keys);

}  // namespace vboard
