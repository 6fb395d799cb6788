// Messages on standard output. Plain lines go through puts and printf; a message that
// carries a fixed source position goes through PrintAt.
#pragma once

namespace libsys::base {

// The position that a message names. It is part of the message's text: technicians look
// messages up by it, so it does not follow the code when lines move.
struct Position {
  const char *file;
  int line;
};

// Prints "LIBDVR : FILE -> %s, LINE -> %d: " with the position, then the formatted text, in
// one piece even when other threads print.
[[gnu::format(printf, 2, 3)]] void PrintAt(Position position, const char *format, ...);

}  // namespace libsys::base
