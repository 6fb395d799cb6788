// Where the panel of a board's folder is: kept in the folder, so that a page finds the panel again
// that a later command opens.
#pragma once

#include <string>

namespace vboard::panel {

struct Address {
  int port = 0;       // 0: any that is free
  std::string token;  // who knows it may use the panel
};

// The last one of the open board's folder, or a new one. Throws std::runtime_error.
Address AddressInFolder();
// At any port, with a token that is drawn. Throws std::runtime_error.
Address NewAddress();
// Keeps it for the next one, where the folder can be written.
void KeepAddress(const Address &address);

}  // namespace vboard::panel
