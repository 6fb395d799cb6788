// Where a device puts what it is in: values by their names, in objects and lists.
#pragma once

#include <stdint.h>

#include <string_view>

namespace vboard {

class Values {
 public:
  Values() = default;
  Values(const Values &) = delete;
  Values &operator=(const Values &) = delete;
  virtual ~Values() = default;

  // The names in a list do not matter.
  virtual void Number(const char *name, int64_t value) = 0;
  virtual void Flag(const char *name, bool value) = 0;
  virtual void Text(const char *name, std::string_view value) = 0;

  // What is filled in meanwhile belongs into it. One that is there already gets more.
  template <typename Fill>
  void Object(const char *name, Fill fill) {
    Begin(name, false);
    fill();
    End();
  }
  template <typename Fill>
  void List(const char *name, Fill fill) {
    Begin(name, true);
    fill();
    End();
  }

 private:
  virtual void Begin(const char *name, bool list) = 0;
  virtual void End() = 0;
};

}  // namespace vboard
