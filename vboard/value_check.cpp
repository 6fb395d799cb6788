#include "vboard/value_check.h"

#include <algorithm>

namespace vboard {
namespace {

using Type = Value::Type;

bool InRange(int64_t number, int64_t lowest, int64_t highest) {
  return number >= lowest && number <= highest;
}

std::string RangeText(const Value &range) {
  return "from " + std::to_string(range.lowest) + " to " + std::to_string(range.highest);
}

bool AreTexts(const toml::array &list) {
  return std::all_of(list.begin(), list.end(), [](const auto &one) { return one.is_string(); });
}

bool AreTexts(const toml::table &table) {
  return std::all_of(table.begin(), table.end(),
                     [](const auto &entry) { return entry.second.is_string(); });
}

std::string ChoiceFault(const toml::node &node, const Value &value) {
  const bool known =
      std::any_of(value.choices.begin(), value.choices.end(),
                  [&](const char *choice) { return node.value<std::string>() == choice; });
  return known ? "" : "has to be " + ChoicesText(value.choices);
}

std::string NumberFault(const toml::node &node, const Value &value) {
  if (!node.is_integer()) return "has to be a whole number";
  const bool fits = InRange(node.as_integer()->get(), value.lowest, value.highest);
  return fits ? "" : "has to be " + RangeText(value);
}

std::string NumbersFault(const toml::node &node, const Value &value) {
  if (!node.is_array()) return "has to be a list of numbers";
  for (const toml::node &number : *node.as_array()) {
    if (!number.is_integer()) return "has to be a list of numbers";
    if (!InRange(number.as_integer()->get(), value.lowest, value.highest)) {
      return "has to hold numbers " + RangeText(value);
    }
  }
  return "";
}

bool IsRow(const toml::node &node, size_t length) {
  const toml::array *row = node.as_array();
  return row != nullptr && row->size() == length &&
         std::all_of(row->begin(), row->end(), [](const auto &one) { return one.is_integer(); });
}

std::string RowsFault(const toml::node &node, const Value &value) {
  const size_t length = value.columns.size();
  const toml::array *rows = node.as_array();
  if (rows == nullptr || !std::all_of(rows->begin(), rows->end(),
                                      [&](const toml::node &row) { return IsRow(row, length); })) {
    return "has to be a list of rows of " + std::to_string(length) + " numbers";
  }
  bool fits = value.rows == 0 || value.rows == rows->size();
  for (const toml::node &row : *rows) {
    for (size_t i = 0; i < length; ++i) {
      const int64_t number = row.as_array()->get(i)->as_integer()->get();
      fits = fits && InRange(number, value.columns[i].lowest, value.columns[i].highest);
    }
  }
  return fits ? "" : "has to hold " + RowsText(value);
}

}  // namespace

std::string Fault(const toml::node &node, const Value &value) {
  switch (value.type) {
    case Type::kText:
      return node.is_string() ? "" : "has to be a text";
    case Type::kChoice:
      return ChoiceFault(node, value);
    case Type::kNumber:
      return NumberFault(node, value);
    case Type::kFlag:
      return node.is_boolean() ? "" : "has to be true or false";
    case Type::kTexts:
      return node.is_array() && AreTexts(*node.as_array()) ? "" : "has to be a list of texts";
    case Type::kNumbers:
      return NumbersFault(node, value);
    case Type::kRows:
      return RowsFault(node, value);
    case Type::kPairs:
      return node.is_table() && AreTexts(*node.as_table()) ? "" : "has to be a table of texts";
    case Type::kTable:
      return node.is_table() ? "" : "has to be a table";
    case Type::kTables:
      return node.is_array_of_tables() || (node.is_array() && node.as_array()->empty())
                 ? ""
                 : "has to be a list of tables";
  }
  return "";
}

}  // namespace vboard
