// The files of a board, seen from outside: what devices and tests read and write in its folder.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

class Section;

// The place in the board's folder of a path as programs on the board name it, whether or not
// something is mounted there.
std::string RootPath(std::string_view path);

// The same through the mounts: where a program on the board really finds this path.
std::string PathOnBoard(std::string_view path);

// The other way round: the board's path of a place on the PC, empty for one outside the board.
std::string BoardPath(std::string_view place);
// The same without memory from the heap, for what a signal handler calls. False for a place outside
// the board and for a path that does not fit.
bool BoardPath(std::string_view place, std::span<char> path);

// True when the path is the prefix or something in the folder that it names.
bool IsBelow(std::string_view path, std::string_view prefix);

// True for a path that belongs to the board and not to the PC. It has to be normal.
bool BelongsToBoard(std::string_view path);

// True for a name that leads from a folder to something below it, by the shortest way.
bool StaysBelow(std::string_view name);

// True for a whole path that a description may name.
bool IsBoardPath(std::string_view path);

// Writes a whole file and the folders above it. A name that ends in '/' makes a folder. Throws
// std::runtime_error, also where something else than a plain file is in the way.
void WriteFile(const std::string &path, std::string_view content);
std::string ReadFile(const std::string &path);
// Writes the file that an entry of a table under this key names, to its place. Throws
// DescriptionError with the entry's place in the description.
void PutFile(Section &section, const char *key, const std::string &name, const std::string &place,
             std::string_view content);
// The same for all that a section's table "files" names, below a folder.
void PutFiles(Section &section, const std::string &folder);
// Puts bytes into a FIFO for the programs that have it open. The number of bytes that it took, or
// -1 with ENXIO when there is no such program.
ssize_t FeedFifo(const std::string &path, const void *data, size_t length);

}  // namespace vboard
