#include "vboard/description.h"

#include <algorithm>
#include <sstream>

#include "vboard/description_file.h"
#include "vboard/value_check.h"

namespace vboard {

struct Section::Node {
  std::shared_ptr<toml::table> root;
  toml::table *table;
  std::string file;
  std::span<const Key> keys;
};

namespace {

using Type = Value::Type;

void InsertDefault(toml::table &table, const Key &key) {
  switch (key.value.type) {
    case Type::kText:
    case Type::kChoice:
      table.insert(key.name, key.value.text);
      break;
    case Type::kNumber:
      table.insert(key.name, key.value.number);
      break;
    case Type::kFlag:
      table.insert(key.name, key.value.number != 0);
      break;
    case Type::kPairs:
    case Type::kTable:
      table.insert(key.name, toml::table());
      break;
    default:
      table.insert(key.name, toml::array());
      break;
  }
}

const Key *Find(const Section::Node &node, std::string_view name) {
  const auto key = std::find_if(node.keys.begin(), node.keys.end(),
                                [&](const Key &known) { return name == known.name; });
  return key != node.keys.end() ? &*key : nullptr;
}

const Key &Find(const Section::Node &node, const char *name, std::initializer_list<Type> types) {
  const Key *key = Find(node, name);
  if (key != nullptr && std::find(types.begin(), types.end(), key->value.type) != types.end()) {
    return *key;
  }
  throw std::logic_error("no key '" + std::string(name) + "' of this type is in the table");
}

// The checked value of a key; null for an optional one that is missing.
toml::node *Take(const Section::Node &node, const Key &key) {
  toml::node *value = node.table->get(key.name);
  if (value == nullptr && key.value.missing == Value::Missing::kDefault) {
    InsertDefault(*node.table, key);
    return node.table->get(key.name);
  }
  const bool isDefault = value != nullptr && !value->source().begin;
  if (isDefault) return value;
  const std::string fault = value == nullptr ? "is missing" : Fault(*value, key.value);
  if (value == nullptr && key.value.missing == Value::Missing::kNothing) return nullptr;
  if (fault.empty()) return value;
  throw DescriptionError(Place(node.file, (value != nullptr ? value : node.table)->source()) + "'" +
                         key.name + "' " + fault);
}

// The same for a key that the caller knows to be there.
toml::node &Need(const Section::Node &node, const char *name, std::initializer_list<Type> types) {
  toml::node *value = Take(node, Find(node, name, types));
  if (value != nullptr) return *value;
  throw std::logic_error("the optional key '" + std::string(name) + "' is missing");
}

}  // namespace

Section::Section(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
Section::~Section() = default;

void Section::Complete() {
  for (const auto &[name, value] : *node_->table) {
    if (Find(*node_, name.str()) == nullptr) {
      throw DescriptionError(Place(node_->file, name.source()) + "unknown key '" +
                             std::string(name.str()) + "'");
    }
  }
  for (const Key &key : node_->keys) {
    if (Take(*node_, key) == nullptr) continue;
    if (key.value.type == Type::kTable) Table(key.name).Complete();
    if (key.value.type != Type::kTables) continue;
    for (Section &section : Tables(key.name)) section.Complete();
  }
}

bool Section::Has(const char *key) {
  if (Find(*node_, key) == nullptr) throw std::logic_error("no key '" + std::string(key) + "'");
  return node_->table->contains(key);
}

std::string Section::Text(const char *key) {
  return Need(*node_, key, {Type::kText, Type::kChoice}).as_string()->get();
}

std::string Section::Text(const char *key, const std::string &otherwise) {
  node_->table->insert(key, otherwise);
  return Text(key);
}

int64_t Section::WholeNumber(const char *key) {
  return Need(*node_, key, {Type::kNumber}).as_integer()->get();
}

int64_t Section::Number(const char *key, int64_t otherwise) {
  node_->table->insert(key, otherwise);
  return WholeNumber(key);
}

bool Section::Flag(const char *key) {
  return Need(*node_, key, {Type::kFlag}).as_boolean()->get();
}

std::vector<std::string> Section::Texts(const char *key) {
  std::vector<std::string> texts;
  for (const toml::node &text : *Need(*node_, key, {Type::kTexts}).as_array()) {
    texts.push_back(text.as_string()->get());
  }
  return texts;
}

std::vector<int64_t> Section::Numbers(const char *key) {
  std::vector<int64_t> numbers;
  for (const toml::node &number : *Need(*node_, key, {Type::kNumbers}).as_array()) {
    numbers.push_back(number.as_integer()->get());
  }
  return numbers;
}

std::vector<std::vector<int64_t>> Section::Rows(const char *key) {
  std::vector<std::vector<int64_t>> rows;
  for (const toml::node &numbers : *Need(*node_, key, {Type::kRows}).as_array()) {
    std::vector<int64_t> &row = rows.emplace_back();
    for (const toml::node &number : *numbers.as_array()) row.push_back(number.as_integer()->get());
  }
  return rows;
}

std::vector<std::pair<std::string, std::string>> Section::Pairs(const char *key) {
  std::vector<std::pair<toml::source_position, std::pair<std::string, std::string>>> placed;
  for (const auto &[name, text] : *Need(*node_, key, {Type::kPairs}).as_table()) {
    placed.push_back({name.source().begin, {std::string(name.str()), text.as_string()->get()}});
  }
  std::sort(placed.begin(), placed.end(),
            [](const auto &a, const auto &b) { return a.first < b.first; });
  std::vector<std::pair<std::string, std::string>> pairs;
  for (auto &entry : placed) pairs.push_back(std::move(entry.second));
  return pairs;
}

Section Section::Table(const char *key) {
  toml::table *table = Need(*node_, key, {Type::kTable}).as_table();
  const std::span<const Key> keys = Find(*node_, key)->value.Keys();
  return Section(std::make_shared<Node>(Node{node_->root, table, node_->file, keys}));
}

std::vector<Section> Section::Tables(const char *key) {
  std::vector<Section> sections;
  toml::array &list = *Need(*node_, key, {Type::kTables}).as_array();
  const std::span<const Key> keys = Find(*node_, key)->value.Keys();
  for (toml::node &table : list) {
    sections.push_back(
        Section(std::make_shared<Node>(Node{node_->root, table.as_table(), node_->file, keys})));
  }
  return sections;
}

void Section::Fail(const char *key, const std::string &what) {
  const toml::node *value = node_->table->get(key);
  const bool written = value != nullptr && value->source().begin;
  const toml::source_region &region = written ? value->source() : node_->table->source();
  throw DescriptionError(Place(node_->file, region) + "'" + key + "' " + what);
}

void Section::FailAt(const char *key, const std::string &entry, const std::string &what) {
  for (const auto &[name, value] : *node_->table->get(key)->as_table()) {
    if (name.str() != entry) continue;
    throw DescriptionError(Place(node_->file, name.source()) + "'" + key + "' has '" + entry +
                           "': " + what);
  }
  Fail(key, "has '" + entry + "': " + what);
}

std::string Section::AsJson() {
  std::ostringstream text;
  text << toml::json_formatter(*node_->table);
  return text.str();
}

Section ReadDescription(const std::string &path, std::span<const Key> keys) {
  auto root = std::make_shared<toml::table>(ReadFiles(path));
  return Section(std::make_shared<Section::Node>(Section::Node{root, root.get(), path, keys}));
}

}  // namespace vboard
