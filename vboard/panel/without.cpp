// For a vboard that is built without the library of the panel's server.
#include <stdexcept>

#include "vboard/panel/panel.h"

namespace vboard::panel {

struct Panel::Parts {
  std::string url;
};

Panel::Panel(bool) {
  throw std::runtime_error("this vboard was built without the panel");
}
Panel::~Panel() = default;

const std::string &Panel::Url() const {
  return parts_->url;
}

}  // namespace vboard::panel
