// A copy of a folder that can be made as it was again, at the cost of what was changed in it.
#pragma once

#include <sys/stat.h>

#include <map>
#include <string>

namespace campaign {

class Pristine {
 public:
  // Throws std::runtime_error.
  Pristine(std::string original, std::string copy);
  // What was changed is replaced, what is new is removed. A file that is mapped into memory may be
  // changed without a trace: it has to have been opened for that with a change that shows.
  void Restore();
  // Whether the file of this name below the folder is not the one that was put there. One that was
  // only mapped may have changed all the same.
  bool HasChanged(const std::string &name) const;

 private:
  struct Entry {
    struct stat original;
    struct stat copied;  // as it was when it was copied
    bool seen;
  };

  void Copy(const std::string &name, Entry &entry);
  void Look(const std::string &folder);

  std::string original_, copy_;
  std::map<std::string, Entry>
      entries_;  // by name below the folder; folders before what is in them
};

}  // namespace campaign
