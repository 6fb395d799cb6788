// Keeps devices and files off descriptors 0, 1 and 2. A program may be started with some of these
// closed, by init or by a daemon; what it prints then goes into whatever is opened next.
#pragma once

#include <fcntl.h>  // the flags
#include <stdio.h>
#include <sys/types.h>

namespace libsys::base {

// Opens /dev/null in place of each standard descriptor that is closed, and leaves it there. The
// first thing that a program does. Returns which ones were closed: bit n for descriptor n.
unsigned OpenStandardDescriptors();

// As open, but close-on-exec and never as a standard descriptor. Before it opens anything that can
// be written to, it does what OpenStandardDescriptors does, unless the program has: afterwards
// would be too late, for another thread, or a signal's handler, may print at any moment.
int Open(const char *path, int flags, mode_t mode = 0);

// As fopen, the same way; a mode is "r", "w" or "r+" and so on with "e" behind it.
FILE *OpenFile(const char *path, const char *mode);

// Moves what a call opened, close-on-exec, above the standard descriptors. A call that failed,
// -1, stays that; a move that fails closes the descriptor.
int MoveAboveStandard(int fd);

}  // namespace libsys::base
