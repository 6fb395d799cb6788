#include "vboard/event_forms.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string_view>

namespace vboard {
namespace {

// A text with places for fields: <name> is any text, <name:word> one without blanks, <name:number>
// a number, <name:bytes> bytes in hexadecimal with a blank in front of each, <name:error> what the
// C library calls an error. <name?no|yes> is a flag that is told in words, <name:zero|one> a
// number. The first form that fits is the one.
struct Form {
  const char *device;
  const char *event;
  const char *text;
};

constexpr Form kForms[] = {
    {"gpio", "direction", "gpio: <group:number>,<bit:number> <output?input|output>"},
    {"gpio", "level", "gpio: <group:number>,<bit:number> = <level:number>"},
    {"gpio", "driven", "gpio: <group:number>,<bit:number> driven <level:low|high> from outside"},
    {"gpio", "direction", "gpio: <group:number>,<bit:number> <name> <output?input|output>"},
    {"gpio", "level", "gpio: <group:number>,<bit:number> <name> = <level:number>"},
    {"keys", "key", "panel: key <key:number> <pressed?released|pressed>"},
    {"ir", "code", "infrared: code <code:number>, state <state:number>"},

    {"uart", "sent", "uart<port:number>: sent<bytes:bytes>"},
    {"uart", "sent", "uart<port:number>: sent<bytes:bytes> (<name> = <level:number>)"},
    {"uart", "sent", "uart<port:number>: sent<bytes:bytes> (<name> <level:off|on>)"},
    {"uart", "received", "uart<port:number>: received<bytes:bytes>"},
    {"uart", "lost", "uart<port:number>: lost, nobody listens"},
    {"uart", "dropped", "uart<port:number>: <count:number> received bytes dropped"},
    {"uart", "dropped",
     "uart<port:number>: <count:number> received bytes dropped, and all that is not sent"},
    {"uart", "unplugged", "uart<port:number>: unplugged"},
    {"uart", "plugged", "uart<port:number>: plugged in"},
    {"uart", "settings",
     "uart<port:number>: <baud:number> baud, <data_bits:number> data bits, <parity:word> parity, "
     "<stop_bits:number> stop bit"},
    {"uart", "settings",
     "uart<port:number>: <baud:number> baud, <data_bits:number> data bits, <parity:word> parity, "
     "<stop_bits:number> stop bits"},
    {"uart", "settings", "uart<port:number>: ? baud, <settings>"},

    {"flash", "write", "flash: write mtd<partition:number> <offset:number> +<length:number>"},
    {"flash", "erase", "flash: erase mtd<partition:number> <offset:number> +<length:number>"},
    {"clock", "register", "clock: register <register:number> = <value:number>"},
    {"clock", "memory", "clock: nvram <address:number> = <value:number>"},
    {"clock", "set", "clock: set to <date> from outside"},
    {"clock", "battery", "clock: battery <battery:word>"},
    {"clock", "system", "clock: system clock set to <seconds:number>"},
    {"temperature", "temperature", "temperature: <degrees:number>"},
    {"console", "suspended", "console: suspended"},
    {"console", "resumed", "console: resumed"},
    {"memory", "register", "register: <address:number> = <value:number>"},
    {"stick", "pulled", "stick: <name> pulled"},
    {"stick", "plugged", "stick: <name> plugged in as <node:word>"},
    {"disk", "command", "disk: <node:word> command<bytes:bytes>"},
    {"disk", "flushed", "disk: <node:word> flushed"},
    {"watchdog", "running", "watchdog: running, <timeout:number> s"},
    {"watchdog", "timeout", "watchdog: timeout <timeout:number> s"},
    {"watchdog", "fed", "watchdog: fed"},
    {"watchdog", "stopped", "watchdog: stopped"},
    {"watchdog", "closed", "watchdog: closed without its magic, goes on"},
    {"watchdog", "restart", "watchdog: restart requested"},
    {"watchdog", "not fed", "watchdog: not fed for <timeout:number> s, the board restarts"},

    {"power", "on", "power: on, boot <boot:number>"},
    {"power", "cycled", "power: cycled from outside"},
    {"power", "switched on", "power: switched on"},
    {"power", "off", "power: switched off"},
    {"power", "cut", "power: cut from outside"},
    {"power", "cut", "power cut"},
    {"power", "hang", "power: every program hangs"},

    {"process", "not started", "start: <path>: it is not on the board: it <why>"},
    {"process", "not started", "start: <path>: <error:error>"},
    {"process", "start", "start: <path>: <arguments>"},
    {"process", "start", "start: <path>:"},
    {"process", "no number",
     "processes: no more than <places:number> at a time have a number, the others show as -1"},
    {"process", "exit", "exit: status <status:number>"},
    {"process", "killed", "killed: <signal>"},
    {"process", "inherited", "inherited: descriptor <descriptor:number>, <path>"},
    {"process", "signal", "signal <signal:number> is the board's"},
    {"terminal", "drain", "terminal: waits until everything is sent"},
    {"terminal", "opened", "terminal: <path> opened without O_NOCTTY"},
    {"command", "run", "command: <command>"},
    {"command", "not found", "command not found: <command>"},
    {"command", "order", "command runs before the output in front of it"},
    {"time", "sleep", "sleep: <seconds:number> s"},
    {"time", "computes", "time: a program computes on and on, the others go on beside it"},
    {"time", "no place", "time: more threads wait than the board has places for"},
    {"file", "missing", "missing: <path>"},
    {"file", "gone", "gone: <path>: <error:error>"},
    {"mount", "sync", "sync"},
    {"mount", "unmount", "unmount: <point>: <error:error>"},
    {"mount", "unmount", "unmount: <point>"},
    {"mount", "no room", "mount: the board has room for <places:number> mounts"},
    {"mount", "mount",
     "mount: <source> on <point>, <type:word>, flags <flags:number>, <data>: <error:error>"},
    {"mount", "mount", "mount: <source> on <point>, <type:word>, flags <flags:number>, <data>"},
    {"fault", "part", "fault: <call:word> <path>: <done:number> of <asked:number> bytes"},
    {"fault", "power", "fault: <call:word> <path>: the power goes"},
    {"fault", "error", "fault: <call:word> <path>: <error:error>"},
    {"fault", "signal", "fault: <call:word> <path>: <signal>"},
    {"scenario", "ended", "scenario: ended at <step>"},
    {"trial", "no effect", "trial: <action>: has no effect"},

    {"network", "frame", "arp <interface:word> <frame:word>"},
    {"network", "frame", "frame <interface:word> <frame:word>"},
    {"network", "failed", "ifconfig: <error:error>"},
    {"network", "failed", "route: <error:error>"},
    {"network", "route", "route <added?del|add> <route>"},
    {"network", "wireless", "wireless <connected?disconnected|connected>"},
    {"network", "link", "<interface:word> link <link?down|up>"},
    {"network", "up", "<interface:word> <up?down|up>"},
    {"network", "address", "<interface:word> address <address:word>"},
    {"network", "netmask", "<interface:word> netmask <netmask:word>"},
    {"network", "mac", "<interface:word> mac <mac:word>"},
    {"network", "mode", "<interface:word> mode <speed:number> <full_duplex?half|full> automatic"},
    {"network", "mode", "<interface:word> mode <speed:number> <full_duplex?half|full>"},
    {"process", "signal", "<call:word>: signal <signal:number> is the board's"},
    {"process", "not served", "<call:word>: not served on the board"},
    {"process", "not served", "<call:word>: <what:word> is not served on the board"},
    {"process", "no timer", "<call:word>: the board has no timer left of <places:number>"},
};

// One place of a form.
struct Place {
  std::string_view name;
  std::string_view kind;  // empty: any text
  bool flag = false;
};

Place PlaceIn(std::string_view inside) {
  const size_t end = std::min(inside.find_first_of(":?"), inside.size());
  if (end == inside.size()) return {inside, {}, false};
  return {inside.substr(0, end), inside.substr(end + 1), inside[end] == '?'};
}

bool IsError(std::string_view text) {
  for (int error = 1; error < 200; ++error) {
    const char *known = strerrordesc_np(error);
    if (known != nullptr && text == known) return true;
  }
  return false;
}

// The length of a number at the text's beginning; 0: there is none.
size_t TakeNumber(std::string_view text, FieldValue &value) {
  const std::string number(text.substr(0, text.find_first_not_of("0123456789abcdefx+-.")));
  const bool hex = number.starts_with("0x");
  char *end = nullptr;
  value = static_cast<int64_t>(strtoull(number.c_str(), &end, hex ? 16 : 10));
  if (!hex && (*end == '.' || *end == 'e')) value = strtod(number.c_str(), &end);
  return static_cast<size_t>(end - number.c_str());
}

size_t TakeBytes(std::string_view text, FieldValue &value) {
  const auto digit = [&](size_t at) {
    return at < text.size() && isxdigit(static_cast<unsigned char>(text[at])) != 0;
  };
  std::string bytes;
  size_t length = 0;
  for (; text.substr(length, 1) == " " && digit(length + 1) && digit(length + 2); length += 3) {
    bytes += text.substr(length + 1, 2);
  }
  value = std::move(bytes);
  return length;
}

// The number of the word, of those between bars, at the text's beginning.
size_t TakeChoice(std::string_view text, const Place &place, FieldValue &value) {
  const size_t bar = place.kind.find('|');
  const std::string_view words[] = {place.kind.substr(0, bar), place.kind.substr(bar + 1)};
  for (int64_t i = 1; i >= 0; --i) {
    if (!text.starts_with(words[i])) continue;
    value = i;
    if (place.flag) value = i != 0;
    return words[i].size();
  }
  return 0;
}

class Match {
 public:
  // Cut: the text may end before the form does.
  Match(bool cut, Meaning &meaning) : cut_(cut), fields_(meaning.fields) {}

  // Whether the form, from here on, is that of the text, from here on.
  bool Fits(std::string_view form, std::string_view text) {
    const size_t length = std::min(form.find('<'), form.size());
    const std::string_view fixed = form.substr(0, length);
    if (!text.starts_with(fixed)) return cut_ && !fields_.empty() && fixed.starts_with(text);
    form.remove_prefix(length);
    text.remove_prefix(length);
    if (form.empty()) return text.empty();
    if (cut_ && text.empty()) return true;
    const size_t end = form.find('>');
    const Place place = PlaceIn(form.substr(1, end - 1));
    form.remove_prefix(end + 1);
    const bool isText = place.kind.empty() || place.kind == "word" || place.kind == "error";
    fields_.emplace_back(place.name, FieldValue());
    return isText ? TakeText(place.kind, form, text) : TakeValue(place, form, text);
  }

 private:
  // A text ends at the first place where the rest of the form fits.
  bool TakeText(std::string_view kind, std::string_view form, std::string_view text) {
    const size_t field = fields_.size();
    const size_t longest = kind == "word" ? std::min(text.find(' '), text.size()) : text.size();
    for (size_t length = form.empty() ? longest : 0; length <= longest; ++length) {
      const std::string_view taken = text.substr(0, length);
      fields_.resize(field);
      if ((kind == "error" && !IsError(taken)) || !Fits(form, text.substr(length))) continue;
      fields_[field - 1].second = std::string(taken);
      return true;
    }
    return false;
  }

  bool TakeValue(const Place &place, std::string_view form, std::string_view text) {
    FieldValue &value = fields_.back().second;
    const size_t length = place.kind == "number"  ? TakeNumber(text, value)
                          : place.kind == "bytes" ? TakeBytes(text, value)
                                                  : TakeChoice(text, place, value);
    if (length == 0) return false;
    text.remove_prefix(length);
    // Of the last byte only a part is there.
    if (cut_ && place.kind == "bytes" && text.size() < 3) text = {};
    return Fits(form, text);
  }

  bool cut_;
  std::vector<std::pair<std::string, FieldValue>> &fields_;
};

}  // namespace

// A text that was cut may still have a whole form, which ends with a text.
Meaning MeaningOf(const Line &line) {
  Meaning meaning;
  for (int lenient = 0; lenient <= int{line.cut}; ++lenient) {
    for (const Form &form : kForms) {
      meaning.fields.clear();
      if (!Match(lenient != 0, meaning).Fits(form.text, line.text)) continue;
      meaning.device = form.device;
      meaning.event = form.event;
      return meaning;
    }
  }
  meaning.fields.clear();
  return meaning;
}

}  // namespace vboard
