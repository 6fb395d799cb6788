// The keys of a board description: a table for each section, by which it is checked and completed
// and which is its manual. The names of a section's keys stand in its table and where a device
// takes their values, nowhere else.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <span>
#include <string>
#include <string_view>

namespace vboard {

struct Key;

// A number in a row.
struct Column {
  const char *name;
  int64_t lowest, highest;
};

// What a key can hold. It has to be there unless something is said for a description without it.
struct Value {
  enum class Type {
    kText,
    kChoice,
    kNumber,
    kFlag,
    kTexts,
    kNumbers,
    kRows,
    kPairs,
    kTable,
    kTables,
  };
  enum class Missing { kFault, kDefault, kNothing };

  Type type;
  Missing missing = Missing::kFault;
  std::string_view text =
      {};              // the default of a text; kNothing: what holds without the key, in words
  int64_t number = 0;  // the default of a number or a flag; beyond the range it stands for none
  int64_t lowest = 0;
  int64_t highest = 0;
  std::span<const char *const> choices = {};
  std::span<const Column> columns = {};
  size_t rows = 0;  // 0: any number of rows
  const Key *keys = nullptr;
  size_t keyCount = 0;

  constexpr Value Default(std::string_view value) const {
    Value with = *this;
    with.missing = Missing::kDefault;
    with.text = value;
    return with;
  }
  constexpr Value Default(int64_t value) const {
    Value with = Default("");
    with.number = value;
    return with;
  }
  constexpr Value Optional(std::string_view without) const {
    Value with = Default(without);
    with.missing = Missing::kNothing;
    return with;
  }
  constexpr Value Exactly(size_t count) const {
    Value with = *this;
    with.rows = count;
    return with;
  }
  std::span<const Key> Keys() const;
};

struct Key {
  const char *name;
  Value value;
  const char *help;
};

inline std::span<const Key> Value::Keys() const {
  return {keys, keyCount};
}

namespace key {

using Type = Value::Type;

constexpr Value Text() {
  return {.type = Type::kText};
}
constexpr Value Choice(std::span<const char *const> choices) {
  return {.type = Type::kChoice, .choices = choices};
}
constexpr Value Number(int64_t lowest, int64_t highest) {
  return {.type = Type::kNumber, .lowest = lowest, .highest = highest};
}
constexpr Value Flag(bool otherwise) {
  return Value{.type = Type::kFlag}.Default(otherwise ? 1 : 0);
}
// Lists and tables are empty where nothing else is said.
constexpr Value Texts() {
  return Value{.type = Type::kTexts}.Default("");
}
constexpr Value Numbers(int64_t lowest, int64_t highest) {
  return Value{.type = Type::kNumbers, .lowest = lowest, .highest = highest}.Default("");
}
constexpr Value Rows(std::span<const Column> columns) {
  return Value{.type = Type::kRows, .columns = columns}.Default("");
}
// A table of texts whose keys are free, such as file names.
constexpr Value Pairs() {
  return Value{.type = Type::kPairs}.Default("");
}
constexpr Value Table(std::span<const Key> keys) {
  return Value{.type = Type::kTable, .keys = keys.data(), .keyCount = keys.size()}.Default("");
}
constexpr Value Tables(std::span<const Key> keys) {
  return Value{.type = Type::kTables, .keys = keys.data(), .keyCount = keys.size()}.Default("");
}

}  // namespace key

// "erased, zero or jffs2"
std::string ChoicesText(std::span<const char *const> choices);
// "5 rows of group 0 to 7, bit 0 to 7"
std::string RowsText(const Value &rows);

// The manual of a description with these keys, section by section.
std::string Manual(std::span<const Key> keys);

}  // namespace vboard
