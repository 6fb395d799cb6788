// Signals to a command that has switched something on and must switch it off again.
#pragma once

namespace signals {

// From now on the handler is called for each signal that would end the command; those that would
// stop it are ignored. A signal that was ignored already stays so.
void Catch(void (*handler)(int number));

// Ends the command as the signal would have.
void EndBy(int number);

}  // namespace signals
