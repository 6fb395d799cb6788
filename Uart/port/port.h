// What the files of the serial ports share.
#pragma once

#include <stdint.h>
#include <termios.h>

namespace libsys::uart {

constexpr uint32_t kPorts = 4;
constexpr uint32_t kSecondPort = 2;  // the one that the routed console stands for besides port 0

// The port's descriptor; -1: closed, or there is no such port.
int DescriptorOf(uint32_t index);

// True when this port stands for ports 0 and 2.
bool IsDualPort(uint32_t index);

// True on product types where the routed console stands for two ports.
bool HasDualPort();

// The copy of standard output that serial start lends to the console's port, -1 without one.
// Closing the port leaves it open, so that serial stop closes what is still its own.
int SavedOutput();

// Standard output's terminal settings at the start; zero when it is no terminal.
extern termios consoleTerminal;

}  // namespace libsys::uart
