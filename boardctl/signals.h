// A command that has switched something on catches signals, to switch it off again before it ends.
#pragma once

namespace boardctl::signals {

// Has the handler called for each signal that would end the command, and ignores those that would
// stop it. A signal that was ignored already stays ignored.
void Catch(void (*handler)(int number));

// Ends the command as the signal would have.
void EndBy(int number);

}  // namespace boardctl::signals
