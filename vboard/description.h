// Board descriptions: reading one file under boards/ and naming every fault in it by file,
// line and key.
#pragma once

#include <stdint.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vboard {

struct DescriptionError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One table of a description. Every key has to be asked for: what nobody asked for is an
// unknown key.
class Section {
 public:
  struct Node;
  Section(std::shared_ptr<const Node> node);
  ~Section();

  bool Has(const char *key);
  // The value of a key, or the second argument where the key is missing.
  std::string Text(const char *key, const char *otherwise);
  int64_t Number(const char *key, int64_t otherwise, int64_t lowest, int64_t highest);
  bool Flag(const char *key, bool otherwise);
  // The same for keys that have to be there.
  std::string Text(const char *key);
  int64_t Number(const char *key, int64_t lowest, int64_t highest);
  std::vector<std::string> Texts(const char *key);
  std::vector<int64_t> Numbers(const char *key);
  // A row of whole numbers for each entry, each row with this many.
  std::vector<std::vector<int64_t>> Rows(const char *key, size_t length);
  // The pairs of a table whose keys are free, such as file names, in the file's order.
  std::vector<std::pair<std::string, std::string>> Pairs(const char *key);
  Section Table(const char *key);
  std::vector<Section> Tables(const char *key);

  // Throws DescriptionError with the place of a key in the file.
  [[noreturn]] void Fail(const char *key, const std::string &what);
  // The same for an entry of the table that a key names.
  [[noreturn]] void FailAt(const char *key, const std::string &entry, const std::string &what);
  // Throws DescriptionError for the first key that nobody asked for, here and in the tables
  // below that were asked for.
  void RefuseUnknownKeys();

  // The section with what was taken for keys that are missing, for tools that play boards
  // elsewhere.
  std::string AsJson();

 private:
  std::shared_ptr<const Node> node_;
};

// Reads a description. The key "base" names another one, from the folder of this one: its keys
// hold where this one has none of the same name, table by table. Throws DescriptionError.
Section ReadDescription(const std::string &path);

}  // namespace vboard
