// The GPIO driver inside the library.
#pragma once

namespace libsys::gpio {

// Opens the driver's device where it is closed. False, without a message, where there is none.
bool Open();

}  // namespace libsys::gpio
