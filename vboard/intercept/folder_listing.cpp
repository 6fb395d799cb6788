// Listing folders. A board's folder lists its entries by name, numbers in their order, so that
// the same board is found in the same order on every PC.
#include <string.h>

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "vboard/intercept/intercept.h"

namespace vboard {
namespace {

template <typename Entry>
struct Listing {
  std::vector<Entry> entries;
  size_t next = 0;
};

// The folders of the board that this thread has open.
thread_local std::set<DIR *> open;
template <typename Entry>
thread_local std::map<DIR *, Listing<Entry>> listings;

template <typename Entry>
Listing<Entry> ReadAll(DIR *folder, Entry *(*next)(DIR *)) {
  Listing<Entry> listing;
  while (const Entry *entry = next(folder)) listing.entries.push_back(*entry);
  std::sort(listing.entries.begin(), listing.entries.end(),
            [](const Entry &a, const Entry &b) { return strverscmp(a.d_name, b.d_name) < 0; });
  return listing;
}

template <typename Entry>
Entry *ReadWith(DIR *folder, Entry *(*next)(DIR *)) {
  if (!open.contains(folder)) return next(folder);
  auto [place, isNew] = listings<Entry>.try_emplace(folder);
  Listing<Entry> &listing = place->second;
  if (isNew) listing = ReadAll(folder, next);
  return listing.next < listing.entries.size() ? &listing.entries[listing.next++] : nullptr;
}

}  // namespace
}  // namespace vboard

extern "C" {

DIR *opendir(const char *path) {
  NEXT(opendir);
  const vboard::Path place(path);
  if (!vboard::MayReach("opendir", place)) return nullptr;
  DIR *folder = next(place);
  vboard::Opened(place, folder != nullptr ? dirfd(folder) : -1);
  if (folder != nullptr && place.OnBoard()) vboard::open.insert(folder);
  return folder;
}

struct dirent *readdir(DIR *folder) {
  NEXT(readdir);
  return vboard::ReadWith<struct dirent>(folder, next);
}

struct dirent64 *readdir64(DIR *folder) {
  NEXT(readdir64);
  return vboard::ReadWith<struct dirent64>(folder, next);
}

int closedir(DIR *folder) {
  NEXT(closedir);
  vboard::open.erase(folder);
  vboard::listings<struct dirent>.erase(folder);
  vboard::listings<struct dirent64>.erase(folder);
  return next(folder);
}

}  // extern "C"
