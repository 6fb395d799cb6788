// The library's messages, which it prints on standard output: kept out of the results, and shown on
// standard error.
#pragma once

namespace messages {

// From now on messages are set aside, as many as a pipe holds; with `verbose` they are shown as
// they come.
void Start(bool verbose);

// Sets messages aside with `verbose` too, for an operation that reports its failure in no other
// way, and tells whether there are any.
void SetAside();
bool Any();

// A new operation begins. Those before it went well: their messages are of no interest any more.
void Forget();

// Shows the messages set aside, when the command failed or with `verbose`.
void Finish(bool failed);

}  // namespace messages
