// The file through which a supervised application and its launcher speak: one character, written by
// the launcher before each start and by the application at its end.
#pragma once

namespace application {

constexpr const char *kFlagFile = "/opt/sav/Config/Config3";
constexpr char kStarted = '0';
constexpr char kHandedBack = '1';
constexpr char kRestart = '2';

}  // namespace application
