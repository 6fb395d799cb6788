#include "vboard/description.h"

// What the parser asserts before it looks for an error is an error of the description.
#define TOML_ASSERT(expression) static_assert(true)
#include <toml++/toml.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <sstream>

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
constexpr std::string_view kQuotes = "\"'#";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

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

// Behind the text or comment that begins here.
size_t AfterQuoted(std::string_view text, size_t at) {
  if (text[at] == '#') return std::min(text.find('\n', at), text.size());
  const size_t quotes = text.find_first_not_of(text[at], at) >= at + 3 ? 3 : 1;
  const std::string_view mark = text.substr(at, quotes);
  for (at += quotes; at < text.size() && (quotes == 3 || text[at] != '\n'); ++at) {
    if (text.substr(at).starts_with(mark)) return at + quotes;
    if (text[at] == '\\' && mark[0] == '"') ++at;
  }
  return std::min(at, text.size());
}

// The parser's behaviour is undefined for what is not ASCII outside texts and comments.
void RefuseOddCharacters(const std::string &path, std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  for (size_t at = 0; at < text.size();) {
    if ((text[at] & 0x80) != 0) {
      const auto line =
          1 + std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(at), '\n');
      throw DescriptionError(path + ":" + std::to_string(line) +
                             ": outside of quotes there are only ASCII characters");
    }
    at = kQuotes.find(text[at]) != kQuotes.npos ? AfterQuoted(text, at) : at + 1;
  }
}

// `wanted`: what asks for this file, for the message.
std::string ReadText(const std::string &path, const std::string &wanted) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file || std::filesystem::is_directory(path)) {
    throw DescriptionError(wanted + path + ": cannot be read");
  }
  return text.str();
}

toml::table Parse(const std::string &path, int chain, const std::string &wanted = "") try {
  const std::string text = ReadText(path, wanted);
  RefuseOddCharacters(path, text);
  toml::table description = toml::parse(text, std::string_view(path));
  const toml::node *base = description.get("base");
  if (base == nullptr) return description;
  const std::string where = Place(path, base->source()) + "'base' ";
  if (!base->is_string()) throw DescriptionError(where + "has to be a file name");
  if (chain == kLongestChain) throw DescriptionError(where + "leads round in a circle");
  const std::filesystem::path file = base->as_string()->get();
  const std::string next = std::filesystem::path(path).parent_path() / file;
  description.erase("base");
  Complete(description, Parse(next, chain + 1, where + "needs "));
  return description;
} catch (const toml::parse_error &error) {
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

void Section::FailAt(const char *key, const std::string &entry, const std::string &what) {
  for (const auto &[name, value] : *node_->table->get(key)->as_table()) {
    if (name.str() != entry) continue;
    throw DescriptionError(Place(node_->file, name.source()) + "'" + key + "' has '" + entry +
                           "': " + what);
  }
  Fail(key, "has '" + entry + "': " + what);
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
