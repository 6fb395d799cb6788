// Test cases on the real kernel, without the board, in namespaces of their own.
#pragma once

#include <sched.h>
#include <stdio.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

namespace test {

// What a command printed, errors included.
inline std::string Shell(const std::string &command) {
  std::string output;
  FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  char piece[512];
  while (fgets(piece, sizeof piece, pipe) != nullptr) output += piece;
  pclose(pipe);
  return output;
}

inline void Write(const std::string &path, const std::string &text) {
  std::ofstream(path) << text;
}

inline std::string Read(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Becomes the administrator of a network and a mount table of its own.
inline bool EnterNamespaces() {
  if (geteuid() == 0 && unshare(CLONE_NEWNET | CLONE_NEWNS) == 0) return true;
  const std::string user = "0 " + std::to_string(geteuid()) + " 1";
  const std::string group = "0 " + std::to_string(getegid()) + " 1";
  if (unshare(CLONE_NEWUSER | CLONE_NEWNET | CLONE_NEWNS) != 0) return false;
  Write("/proc/self/setgroups", "deny");
  Write("/proc/self/uid_map", user);
  Write("/proc/self/gid_map", group);
  return true;
}

}  // namespace test
