// The face of the open board in a browser.
#pragma once

#include <memory>
#include <string>

namespace vboard::panel {

class Panel {
 public:
  // Follows: where another board is made in the folder, the pages show that one. Throws
  // std::runtime_error.
  explicit Panel(bool follows);
  ~Panel();
  Panel(const Panel &) = delete;
  Panel &operator=(const Panel &) = delete;

  // What to open in a browser.
  const std::string &Url() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace vboard::panel
