#include "vboard/description.h"

#include <toml++/toml.h>

#include <sstream>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>

namespace vboard {

struct Section::Node {
  std::shared_ptr<const toml::table> root;
  const toml::table *table;
  std::string file;
  mutable std::set<std::string, std::less<>> asked;
  mutable std::vector<std::shared_ptr<const Node>> children;
  // The key that the table has in the one above, and its place where that is a list.
  std::string key = {};
  std::optional<size_t> place = {};
  mutable toml::table defaults = {};  // what was taken for keys that are missing
};

namespace {

const toml::table kEmpty;

constexpr int kLongestChain = 8;

// A key may come from another file, which the description is based on.
std::string Place(const std::string &file, const toml::source_region &region) {
  const std::string &origin = region.path != nullptr ? *region.path : file;
  return origin + ":" + std::to_string(region.begin.line) + ": ";
}

// Moves what the base has and the description has not.
void Complete(toml::table &description, toml::table &&base) {
  for (auto &&[key, value] : base) {
    toml::node *own = description.get(key);
    if (own == nullptr) {
      description.insert(key, std::move(value));
    } else if (own->is_table() && value.is_table()) {
      Complete(*own->as_table(), std::move(*value.as_table()));
    }
  }
}

toml::table Parse(const std::string &path, int chain) try {
  toml::table description = toml::parse_file(path);
  const toml::node *base = description.get("base");
  if (base == nullptr) return description;
  const std::string where = Place(path, base->source()) + "'base' ";
  if (!base->is_string()) throw DescriptionError(where + "has to be a file name");
  if (chain == kLongestChain) throw DescriptionError(where + "leads round in a circle");
  const std::filesystem::path file = base->as_string()->get();
  const std::string next = std::filesystem::path(path).parent_path() / file;
  description.erase("base");
  Complete(description, Parse(next, chain + 1));
  return description;
} catch (const toml::parse_error &error) {
  if (error.source().begin.line == 0) throw DescriptionError(path + ": cannot be read");
  throw DescriptionError(Place(path, error.source()) + std::string(error.description()));
}

const toml::node *Ask(const Section::Node &node, const char *key) {
  node.asked.insert(key);
  return node.table->get(key);
}

// The same, and what is taken when the key is missing.
template <typename Value>
const toml::node *Ask(const Section::Node &node, const char *key, Value &&otherwise) {
  const toml::node *value = Ask(node, key);
  if (value == nullptr) node.defaults.insert_or_assign(key, std::forward<Value>(otherwise));
  return value;
}

// The table with what was taken for keys that are missing, here and below.
toml::table Completed(const Section::Node &node) {
  toml::table whole = *node.table;
  for (const auto &[key, value] : node.defaults) whole.insert(key, value);
  for (const auto &child : node.children) {
    if (child->place) {
      *whole[child->key][*child->place].as_table() = Completed(*child);
    } else {
      whole.insert_or_assign(child->key, Completed(*child));
    }
  }
  return whole;
}

}  // namespace

Section::Section(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
Section::~Section() = default;

void Section::Fail(const char *key, const std::string &what) {
  const toml::node *value = node_->table->get(key);
  const auto &region = value != nullptr ? value->source() : node_->table->source();
  throw DescriptionError(Place(node_->file, region) + "'" + key + "' " + what);
}

bool Section::Has(const char *key) {
  return Ask(*node_, key) != nullptr;
}

std::string Section::Text(const char *key, const char *otherwise) {
  return Ask(*node_, key, otherwise) != nullptr ? Text(key) : otherwise;
}

std::string Section::Text(const char *key) {
  const toml::node *value = Ask(*node_, key);
  if (value == nullptr) Fail(key, "is missing");
  if (!value->is_string()) Fail(key, "has to be a text");
  return value->as_string()->get();
}

int64_t Section::Number(const char *key, int64_t otherwise, int64_t lowest, int64_t highest) {
  return Ask(*node_, key, otherwise) != nullptr ? Number(key, lowest, highest) : otherwise;
}

int64_t Section::Number(const char *key, int64_t lowest, int64_t highest) {
  const toml::node *value = Ask(*node_, key);
  if (value == nullptr) Fail(key, "is missing");
  if (!value->is_integer()) Fail(key, "has to be a whole number");
  const int64_t number = value->as_integer()->get();
  if (number < lowest || number > highest) {
    Fail(key, "has to be from " + std::to_string(lowest) + " to " + std::to_string(highest));
  }
  return number;
}

bool Section::Flag(const char *key, bool otherwise) {
  const toml::node *value = Ask(*node_, key, otherwise);
  if (value == nullptr) return otherwise;
  if (!value->is_boolean()) Fail(key, "has to be true or false");
  return value->as_boolean()->get();
}

std::vector<std::string> Section::Texts(const char *key) {
  std::vector<std::string> texts;
  const toml::node *value = Ask(*node_, key, toml::array());
  if (value == nullptr) return texts;
  if (!value->is_array()) Fail(key, "has to be a list of texts");
  for (const toml::node &element : *value->as_array()) {
    if (!element.is_string()) Fail(key, "has to be a list of texts");
    texts.push_back(element.as_string()->get());
  }
  return texts;
}

std::vector<int64_t> Section::Numbers(const char *key) {
  std::vector<int64_t> numbers;
  const toml::node *value = Ask(*node_, key, toml::array());
  if (value == nullptr) return numbers;
  if (!value->is_array()) Fail(key, "has to be a list of numbers");
  for (const toml::node &element : *value->as_array()) {
    if (!element.is_integer()) Fail(key, "has to be a list of numbers");
    numbers.push_back(element.as_integer()->get());
  }
  return numbers;
}

std::vector<std::vector<int64_t>> Section::Rows(const char *key, size_t length) {
  const std::string what = "has to be a list of rows of " + std::to_string(length) + " numbers";
  std::vector<std::vector<int64_t>> rows;
  const toml::node *value = Ask(*node_, key, toml::array());
  if (value == nullptr) return rows;
  if (!value->is_array()) Fail(key, what);
  for (const toml::node &element : *value->as_array()) {
    const toml::array *numbers = element.as_array();
    if (numbers == nullptr || numbers->size() != length) Fail(key, what);
    std::vector<int64_t> &row = rows.emplace_back();
    for (const toml::node &number : *numbers) {
      if (!number.is_integer()) Fail(key, what);
      row.push_back(number.as_integer()->get());
    }
  }
  return rows;
}

std::vector<std::pair<std::string, std::string>> Section::Pairs(const char *key) {
  std::vector<std::pair<std::string, std::string>> pairs;
  const toml::node *value = Ask(*node_, key, toml::table());
  if (value == nullptr) return pairs;
  if (!value->is_table()) Fail(key, "has to be a table of texts");
  std::vector<std::pair<toml::source_position, std::pair<std::string, std::string>>> placed;
  for (const auto &[name, element] : *value->as_table()) {
    if (!element.is_string()) Fail(key, "has to be a table of texts");
    placed.push_back({name.source().begin, {std::string(name.str()), element.as_string()->get()}});
  }
  std::sort(placed.begin(), placed.end(),
            [](const auto &a, const auto &b) { return a.first < b.first; });
  for (auto &entry : placed) pairs.push_back(std::move(entry.second));
  return pairs;
}

Section Section::Table(const char *key) {
  const toml::node *value = Ask(*node_, key);
  if (value != nullptr && !value->is_table()) Fail(key, "has to be a table");
  auto child = std::make_shared<Node>(
      Node{node_->root, value == nullptr ? &kEmpty : value->as_table(), node_->file, {}, {}, key});
  node_->children.push_back(child);
  return Section(child);
}

std::vector<Section> Section::Tables(const char *key) {
  std::vector<Section> sections;
  const toml::node *value = Ask(*node_, key, toml::array());
  if (value == nullptr) return sections;
  if (!value->is_array_of_tables()) Fail(key, "has to be a list of tables");
  for (const toml::node &element : *value->as_array()) {
    auto child = std::make_shared<Node>(
        Node{node_->root, element.as_table(), node_->file, {}, {}, key, sections.size()});
    node_->children.push_back(child);
    sections.push_back(Section(child));
  }
  return sections;
}

void Section::RefuseUnknownKeys() {
  for (const auto &[key, value] : *node_->table) {
    if (!node_->asked.contains(key.str())) {
      throw DescriptionError(Place(node_->file, key.source()) + "unknown key '" +
                             std::string(key.str()) + "'");
    }
  }
  for (const auto &child : node_->children) Section(child).RefuseUnknownKeys();
}

Section ReadDescription(const std::string &path) {
  auto root = std::make_shared<const toml::table>(Parse(path, 0));
  return Section(std::make_shared<Section::Node>(Section::Node{root, root.get(), path, {}, {}}));
}

std::string Section::AsJson() {
  const toml::table whole = Completed(*node_);
  std::ostringstream text;
  text << toml::json_formatter(whole);
  return text.str();
}

}  // namespace vboard
