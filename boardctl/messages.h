// The library prints its messages on standard output. They are kept out of the results here, and
// shown on standard error.
#pragma once

namespace boardctl::messages {

// From now on messages are set aside, as many as a pipe holds; with `verbose` they are shown as
// they come.
void Start(bool verbose);

// Sets messages aside with `verbose` too: some operations report a failure in no other way.
void SetAside();
// Returns whether any message was set aside.
bool Any();

// Drops the messages set aside. The operations that printed them went well, and what comes is about
// the next one.
void Forget();

// Shows the messages set aside, when the command failed or with `verbose`.
void Finish(bool failed);

}  // namespace boardctl::messages
