// Answers of first-generation boards that are more than a field of the identifier.
#pragma once

#include <stdint.h>

namespace libsys::first_generation {

int32_t AudioChannels();
int32_t AlarmInputs();
int32_t AlarmOutputs();
int32_t Disks();
int32_t Field54();

}  // namespace libsys::first_generation
