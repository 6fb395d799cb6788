// What an event says: the device that it is of, and the values in its text. The log itself has
// texts only, for people; whoever wants the values asks here, where the forms of all texts are a
// table.
#pragma once

#include <stdint.h>

#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "vboard/transcript.h"

namespace vboard {

using FieldValue = std::variant<int64_t, double, bool, std::string>;

struct Meaning {
  const char *device = "";  // of an event of no known form
  const char *event = "";
  std::vector<std::pair<std::string, FieldValue>> fields;

  // A field's value, or the other one where the event has no such field of this type.
  template <typename Type>
  Type Get(const char *name, Type otherwise) const {
    for (const auto &[known, value] : fields) {
      if (known == name && std::holds_alternative<Type>(value)) return std::get<Type>(value);
    }
    return otherwise;
  }
};

// The meaning of an event of the log.
Meaning MeaningOf(const Line &line);

}  // namespace vboard
