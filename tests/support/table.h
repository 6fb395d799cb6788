// Tables of expectations in tests/data: "== NAME", a line of headings, and a row a line.
#pragma once

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/identifiers.h"
#include "vboard/files.h"

namespace test {

inline std::vector<std::string> Words(const std::string &text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

// Numbers between commas, decimal or hexadecimal with 0x.
inline std::vector<uint32_t> Numbers(const std::string &cell) {
  std::istringstream stream(cell);
  std::vector<uint32_t> numbers;
  for (std::string number; std::getline(stream, number, ',');) {
    numbers.push_back(static_cast<uint32_t>(std::stoul(number, nullptr, 0)));
  }
  return numbers;
}

// Cells by the headings of their columns.
using Row = std::map<std::string, std::string>;

inline std::vector<Row> Table(const std::string &file, const std::string &name) {
  std::istringstream stream(vboard::ReadFile(SOURCE_FOLDER "/tests/data/" + file));
  std::string line;
  while (std::getline(stream, line) && line != "== " + name) continue;
  std::getline(stream, line);
  const std::vector<std::string> headings = Words(line);
  std::vector<Row> rows;
  while (std::getline(stream, line) && !line.empty()) {
    if (line.starts_with('#')) continue;
    const std::vector<std::string> cells = Words(line);
    if (cells.size() != headings.size()) throw std::runtime_error(name + ": " + line);
    Row &row = rows.emplace_back();
    for (size_t i = 0; i < cells.size(); ++i) row[headings[i]] = cells[i];
  }
  if (rows.empty()) throw std::runtime_error(file + ": no table " + name);
  return rows;
}

// The first-generation identifier of a row; a field without a column is 0.
inline uint64_t FirstOf(const Row &row) {
  const auto field = [&](const char *name) {
    return row.contains(name) ? std::stoull(row.at(name)) : 0;
  };
  return First({.code = field("code"),
                .channels = field("channels"),
                .audio = field("audio"),
                .alarmInputs = field("inputs"),
                .alarmOutputs = field("outputs"),
                .videoChip = field("chip"),
                .bit40 = field("bit40"),
                .dsps = field("dsps"),
                .count = field("count")});
}

// An identifier of this product type.
inline uint64_t IdentifierOf(const std::string &type, bool first) {
  for (const Row &board : Table("identity.txt", "first generation")) {
    if (first && board.at("type") == type) return FirstOf(board);
  }
  for (Row &board : Table("identity.txt", "second generation")) {
    for (const uint64_t channels : {4, 8, 16, 24, 32}) {
      const std::string types = "/" + board[std::to_string(channels)] + "/";
      const size_t place = types.find("/" + type + "/");
      if (place == std::string::npos) continue;
      return Second(std::stoul(board["product"]), channels, std::stoul(board["sub-type"]),
                    place == 0 ? 0 : 1);
    }
  }
  throw std::runtime_error("no identifier of product type " + type);
}

}  // namespace test
