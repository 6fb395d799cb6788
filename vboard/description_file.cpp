#include "vboard/description_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "vboard/description.h"

namespace vboard {
namespace {

constexpr int kLongestChain = 8;
constexpr std::string_view kQuotes = "\"'#";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

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

// Behind the text or comment that begins here; or where a backslash in it, by itself or over the
// end of its line, is followed by what is not ASCII.
size_t AfterQuoted(std::string_view text, size_t at) {
  if (text[at] == '#') return std::min(text.find('\n', at), text.size());
  const size_t quotes = text.find_first_not_of(text[at], at) >= at + 3 ? 3 : 1;
  const std::string_view mark = text.substr(at, quotes);
  for (at += quotes; at < text.size() && (quotes == 3 || text[at] != '\n'); ++at) {
    if (text.substr(at).starts_with(mark)) return at + quotes;
    if (text[at] != '\\' || mark[0] != '"') continue;
    const size_t next = text.find_first_not_of(" \t\r\n\v\f", at + 1);
    if (next < text.size() && (text[next] & 0x80) != 0) return next;
    ++at;
  }
  return std::min(at, text.size());
}

// Where the parser takes a quote for the start of a text: in a key, and where a value begins. In
// the middle of a value it is a character like any other.
class Places {
 public:
  bool TakesTexts() const { return place_ != Place::kInValue; }

  void Pass(char c) {
    const char list = lists_.empty() ? '\0' : lists_.back();
    if ((c == '[' || c == '{') && place_ == Place::kValue) {
      lists_.push_back(c);
      place_ = c == '[' ? Place::kValue : Place::kKey;
    } else if (c == ',' && list != '\0') {
      place_ = list == '[' ? Place::kValue : Place::kKey;
    } else if (c == '=' && place_ == Place::kKey) {
      place_ = Place::kValue;
    } else if (c == '\n' && list == '\0') {
      place_ = Place::kKey;
    } else if (place_ == Place::kValue && kSpace.find(c) == kSpace.npos) {
      place_ = Place::kInValue;
    }
    if ((c == ']' || c == '}') && list != '\0') {
      lists_.pop_back();
      place_ = Place::kInValue;
    }
  }

 private:
  static constexpr std::string_view kSpace = " \t\r\n";
  enum class Place { kKey, kValue, kInValue };
  Place place_ = Place::kKey;
  std::string lists_;  // that are open: [ or {
};

// The parser's behaviour is undefined for what is not ASCII outside texts and comments, and where a
// text goes on behind a backslash.
void RefuseOddCharacters(const std::string &path, std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  Places places;
  for (size_t at = 0; at < text.size();) {
    if ((text[at] & 0x80) != 0) {
      const auto line =
          1 + std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(at), '\n');
      throw DescriptionError(
          path + ":" + std::to_string(line) +
          ": outside of quotes and behind a backslash there are only ASCII characters");
    }
    const char c = text[at];
    const bool quoted = c == '#' || (kQuotes.find(c) != kQuotes.npos && places.TakesTexts());
    at = quoted ? AfterQuoted(text, at) : at + 1;
    if (c != '#') places.Pass(c);
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

}  // namespace

toml::table ReadFiles(const std::string &path) {
  return Parse(path, 0);
}

std::string Place(const std::string &file, const toml::source_region &region) {
  const std::string &origin = region.path != nullptr ? *region.path : file;
  return origin + ":" + std::to_string(region.begin.line) + ": ";
}

}  // namespace vboard
