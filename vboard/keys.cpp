#include "vboard/keys.h"

#include <algorithm>
#include <limits>

namespace vboard {
namespace {

using Type = Value::Type;

constexpr size_t kIndent = 2;
constexpr size_t kWidth = 98;

bool IsSection(const Key &key) {
  return key.value.type == Type::kTable || key.value.type == Type::kTables;
}

// Addresses and sizes as a person writes them.
std::string NumberText(int64_t number) {
  const int64_t low = number & 0xff;
  if (number < 0x10000 || (low != 0 && low != 0xff)) return std::to_string(number);
  std::string digits;
  for (; number != 0; number >>= 4) digits.insert(0, 1, "0123456789abcdef"[number & 0xf]);
  return "0x" + digits;
}

std::string RangeText(int64_t lowest, int64_t highest) {
  const bool open = highest == std::numeric_limits<int64_t>::max();
  if (open && lowest == std::numeric_limits<int64_t>::min()) return "";
  return " from " + NumberText(lowest) + (open ? " on" : " to " + NumberText(highest));
}

std::string TypeText(const Value &value) {
  switch (value.type) {
    case Type::kText:
      return "text";
    case Type::kChoice:
      return ChoicesText(value.choices);
    case Type::kNumber:
      return "number" + RangeText(value.lowest, value.highest);
    case Type::kFlag:
      return "true or false";
    case Type::kTexts:
      return "list of texts";
    case Type::kNumbers:
      return "list of numbers" + RangeText(value.lowest, value.highest);
    case Type::kRows:
      return "list of " + RowsText(value);
    case Type::kPairs:
      return "table of texts";
    case Type::kTable:
      return "table";
    case Type::kTables:
      return "list of tables";
  }
  return "";
}

std::string DefaultText(const Value &value) {
  switch (value.type) {
    case Type::kText:
    case Type::kChoice:
      return '"' + std::string(value.text) + '"';
    case Type::kNumber:
      if (value.number < value.lowest || value.number > value.highest) return "none";
      return NumberText(value.number);
    case Type::kFlag:
      return value.number != 0 ? "true" : "false";
    default:
      return "empty";
  }
}

std::string MissingText(const Value &value) {
  if (value.missing == Value::Missing::kFault) return "needed";
  const bool none = value.missing == Value::Missing::kNothing;
  return "otherwise " + (none ? std::string(value.text) : DefaultText(value));
}

// The words behind a margin, on as many lines as they need.
std::string Wrapped(std::string words, const std::string &margin) {
  std::string text;
  while (margin.size() + words.size() > kWidth) {
    const size_t end = words.rfind(' ', kWidth - margin.size());
    if (end == std::string::npos) break;
    text += margin + words.substr(0, end) + "\n";
    words.erase(0, end + 1);
  }
  return text + margin + words + "\n";
}

std::string Heading(const std::string &path, const Key &key) {
  const bool list = key.value.type == Type::kTables;
  const std::string name = list ? "[[" + path + "]]" : "[" + path + "]";
  const bool optional = key.value.missing == Value::Missing::kNothing;
  const std::string help = key.help + (optional ? "; " + MissingText(key.value) : "");
  return Wrapped(name + "  " + help, "");
}

// The keys of a section but for the sections in it.
std::string KeysText(std::span<const Key> keys) {
  size_t width = 0;
  for (const Key &key : keys) width = std::max(width, std::string_view(key.name).size());
  std::string text;
  for (const Key &key : keys) {
    if (IsSection(key)) continue;
    std::string name = std::string(kIndent, ' ') + key.name;
    name.resize(kIndent + width + kIndent, ' ');
    text += name + TypeText(key.value) + "; " + MissingText(key.value) + "\n";
    text += Wrapped(key.help, std::string(name.size(), ' '));
  }
  return text;
}

// The sections in a section. Those with the same keys stand together.
std::string SectionsText(std::span<const Key> keys, const std::string &path) {
  std::string text, body;
  const Key *before = nullptr;
  for (const Key &key : keys) {
    if (!IsSection(key)) continue;
    const std::string inner = path + key.name;
    if (before != key.value.keys) text += body + "\n";
    text += Heading(inner, key);
    body = KeysText(key.value.Keys()) + SectionsText(key.value.Keys(), inner + ".");
    before = key.value.keys;
  }
  return text + body;
}

}  // namespace

std::string ChoicesText(std::span<const char *const> choices) {
  std::string text = choices[0];
  for (size_t i = 1; i < choices.size(); ++i) {
    text += (i + 1 < choices.size() ? ", " : " or ") + std::string(choices[i]);
  }
  return text;
}

std::string RowsText(const Value &rows) {
  std::string text = rows.rows != 0 ? std::to_string(rows.rows) + " rows of" : "rows of";
  for (const Column &column : rows.columns) {
    const bool open = column.highest == std::numeric_limits<int64_t>::max();
    text += text.ends_with("of") ? " " : ", ";
    text += column.name + (" " + NumberText(column.lowest)) +
            (open ? " on" : " to " + NumberText(column.highest));
  }
  return text;
}

std::string Manual(std::span<const Key> keys) {
  return "At the top\n" + KeysText(keys) + SectionsText(keys, "");
}

}  // namespace vboard
