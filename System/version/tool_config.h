// The factory tool's settings, one record for the whole process.
#pragma once

#include "libsys/version.h"

namespace libsys::identity {

// Nothing is set in it until the file has been read.
extern ToolConfig toolConfig;
extern const ToolConfig kNothingSet;

// A slot of the record that is set replaces what the board would say.
inline int32_t Override(int32_t slot, int32_t value) {
  return slot != -1 ? slot : value;
}

}  // namespace libsys::identity
