#include "Uart/frontboard/key_translation.h"

#include <span>

#include "System/version/products.h"
#include "libsys/frontboard.h"
#include "libsys/version.h"

using namespace libsys;

namespace {

constexpr int16_t kAny = -1;   // of a group that a rule looks at
constexpr int16_t kSame = -1;  // of a byte that a rule leaves alone

// A rule looks at an event's group and code and replaces them.
struct Rule {
  int16_t group;
  uint8_t code;
  uint8_t newCode;
  int16_t newGroup;
  int16_t newState = kSame;
  bool goesBack = false;  // the new event also goes to the front board
};

struct GroupAndCode {
  uint8_t group, code;
};

constexpr Rule Code(uint8_t code, uint8_t newCode) {
  return {kAny, code, newCode, kSame};
}
constexpr Rule Pair(GroupAndCode from, GroupAndCode to) {
  return {from.group, from.code, to.code, to.group};
}
// A key that switches something on the front board itself.
constexpr Rule SwitchKey(int16_t group, uint8_t code) {
  return {.group = group, .code = code, .newCode = 0x00, .newGroup = 0x09, .goesBack = true};
}
// The launcher's service key.
constexpr Rule ServiceKey(uint8_t code) {
  return {.group = kAny, .code = code, .newCode = 0xfe, .newGroup = 0x1a, .newState = 0x01};
}

// The rules of a list are applied one after the other, each to the result of those before it.

// OEM 6 on boards of type 2 whose front board is a plain one.
constexpr Rule kBlock1[] = {
    Code(0x01, 0x87), Code(0x02, 0x86), Code(0x03, 0x85), Code(0x04, 0x8b), Code(0x05, 0x8a),
    Code(0x06, 0x89), Code(0x07, 0x8f), Code(0x08, 0x8e), Code(0x09, 0x8d), Code(0x0a, 0x92),
    Code(0x0b, 0x90), Code(0x0c, 0x96), Code(0x0e, 0x82), Code(0x10, 0x9e), Code(0x12, 0x9e),
    Code(0x13, 0x71), Code(0x14, 0x9f), Code(0x15, 0x9e), Code(0x17, 0x84), Code(0x18, 0x94),
    Code(0x19, 0x82), Code(0x1a, 0x99), Code(0x1b, 0x95), Code(0x1c, 0x96), Code(0x1d, 0x82),
    Code(0x1e, 0x9b), Code(0x1f, 0x9a), Code(0x40, 0x9c), Code(0x41, 0x83), Code(0x42, 0x8c),
    Code(0x43, 0x91), Code(0x44, 0x84), ServiceKey(0x0f),
};

// Products 40 to 43, OEM types other than 9 and 17.
constexpr Rule kBlock2[] = {
    Pair({0x1f, 0xfd}, {0x1f, 0xfe}),
    Pair({0x1e, 0xdf}, {0x18, 0xbf}),
};

// Products 40 to 43, OEM 17, remote control.
constexpr Rule kBlock3[] = {
    SwitchKey(0x01, 0x01), Code(0x1c, 0x97), Code(0x1e, 0x86), Code(0x00, 0x93),
    Code(0x18, 0x8b),      Code(0x1d, 0xa9), Code(0x1b, 0x91), Code(0x11, 0x88),
    Code(0x40, 0xa5),      Code(0x19, 0x8d), Code(0x0e, 0x9e), Code(0x13, 0x95),
    Code(0x0f, 0x96),      Code(0x14, 0x9b), Code(0x15, 0x9e), Code(0x16, 0x99),
    Code(0x41, 0x95),      Code(0x17, 0x9a), Code(0x10, 0x84), Code(0x02, 0x87),
    Code(0x03, 0x86),      Code(0x04, 0x85), Code(0x05, 0x8b), Code(0x06, 0x8a),
    Code(0x07, 0x89),      Code(0x08, 0x8f), Code(0x09, 0x8e), Code(0x0a, 0x8d),
    Code(0x0c, 0x92),      Code(0x0b, 0x83), Code(0x0d, 0x96), Code(0x45, 0xa4),
    Code(0x42, 0x8c),      Code(0x43, 0x8c), Code(0x44, 0x8c), Code(0x1a, 0x82),
    Code(0x46, 0x8c),      Code(0x47, 0x8c), Code(0x48, 0x8c), Code(0x49, 0x82),
    Code(0x4a, 0x9d),      Code(0x4b, 0x9f), Code(0x4c, 0x81), SwitchKey(kAny, 0x0c),
};

// Products 40 to 43, OEM 9: the front's keys, then the remote control.
constexpr Rule kBlock4[] = {
    Pair({0x1e, 0xbf}, {0x13, 0x7f}), Pair({0x11, 0xef}, {0x1e, 0xbf}),
    Pair({0x12, 0xbf}, {0x1c, 0x7f}), Pair({0x13, 0xfd}, {0x13, 0xbf}),
    Pair({0x1e, 0x7f}, {0x1e, 0xdf}),
};
constexpr Rule kBlock4Remote[] = {
    Code(0x00, 0x9e), Code(0x01, 0x87), Code(0x02, 0x86), Code(0x03, 0x85),      Code(0x04, 0x8b),
    Code(0x05, 0x8a), Code(0x06, 0x89), Code(0x07, 0x8f), Code(0x08, 0x8e),      Code(0x09, 0x8d),
    Code(0x0a, 0x97), Code(0x0b, 0x90), Code(0x0d, 0x82), Code(0x0e, 0x93),      Code(0x0f, 0x9b),
    Code(0x10, 0x84), Code(0x11, 0x9c), Code(0x12, 0x95), Code(0x13, 0x91),      Code(0x14, 0x80),
    Code(0x15, 0x99), Code(0x16, 0x9e), Code(0x17, 0x9f), Code(0x18, 0x92),      Code(0x19, 0x94),
    Code(0x1b, 0xa9), Code(0x1c, 0xa4), Code(0x1d, 0x9a), Code(0x1e, 0x96),      Code(0x1f, 0x82),
    Code(0x40, 0x83), Code(0x41, 0x96), Code(0x54, 0x8c), SwitchKey(kAny, 0x0c),
};

// OEM 11: the front's keys, then codes of any group.
constexpr Rule kBlock5[] = {
    Pair({0x1e, 0xfb}, {0x1c, 0xef}),
    Pair({0x12, 0xbf}, {0x1c, 0x7f}),
    Pair({0x1e, 0xfd}, {0x1b, 0xdf}),
};
constexpr Rule kBlock5Codes[] = {
    Code(0x57, 0x84), Code(0x5f, 0x97), Code(0x5b, 0x87), Code(0x4f, 0x86), Code(0x53, 0x85),
    Code(0x5a, 0x8b), Code(0x0f, 0x8a), Code(0x5e, 0x89), Code(0x56, 0x8f), Code(0x4e, 0x8e),
    Code(0x52, 0x8d), Code(0x55, 0x92), Code(0x58, 0x93), Code(0x50, 0x90), Code(0x1a, 0x91),
    Code(0x54, 0x96), Code(0x17, 0x83), Code(0x0e, 0x95), Code(0x16, 0x9b), Code(0x12, 0x9e),
    Code(0x1e, 0x99), Code(0x14, 0x9a), Code(0x18, 0x8c), Code(0x10, 0x81), Code(0x1c, 0x9f),
    Code(0x19, 0x9c), Code(0x11, 0x82), Code(0x5c, 0x9d),
};

// OEM 17.
constexpr Rule kBlock6[] = {
    Pair({0x12, 0xbf}, {0x19, 0xfe}),
    // The next three never fire, for the first one has changed the group.
    Pair({0x12, 0xbf}, {0x15, 0xfb}),
    Pair({0x12, 0xbf}, {0x1e, 0xfe}),
    Pair({0x12, 0xbf}, {0x1b, 0xf7}),
    Pair({0x12, 0xef}, {0x1c, 0xdf}),
    Pair({0x12, 0xf7}, {0x1c, 0xef}),
    Pair({0x1e, 0x7f}, {0x1e, 0xdf}),
    Pair({0x17, 0xf7}, {0x1c, 0xbf}),
    Pair({0x02, 0xfb}, {0x1a, 0xef}),
    Pair({0x02, 0xef}, {0x1a, 0xfb}),
    Pair({0x1b, 0xef}, {0x1e, 0xfd}),
    Pair({0x1a, 0xfd}, {0x1a, 0xfd}),
    Pair({0x02, 0xf7}, {0x1a, 0xbf}),
    Pair({0x02, 0xdf}, {0x1a, 0x7f}),
    Pair({0x1c, 0xfb}, {0x1c, 0xfb}),
    Pair({0x1e, 0xbf}, {0x1e, 0xbf}),
    Pair({0x12, 0xfd}, {0x1a, 0xdf}),
};

// OEM 15.
constexpr Rule kBlock7[] = {
    Pair({0x01, 0xc0}, {0x1a, 0xfe}),
};

constexpr uint8_t kRemote = 0x01;

bool Fits(const Rule &rule, const uint8_t *event) {
  return (rule.group == kAny || rule.group == event[1]) && rule.code == event[2];
}

void Apply(std::span<const Rule> rules, uint8_t *event) {
  for (const Rule &rule : rules) {
    if (!Fits(rule, event)) continue;
    if (rule.newGroup != kSame) event[1] = static_cast<uint8_t>(rule.newGroup);
    event[2] = rule.newCode;
    if (rule.newState != kSame) event[3] = static_cast<uint8_t>(rule.newState);
    if (rule.goesBack) FrontboardWrite(event, uart::kEventLength);
  }
}

// The group counts as it is before the first rule.
void ApplyToRemote(std::span<const Rule> rules, uint8_t *event) {
  if (event[1] == kRemote) Apply(rules, event);
}

bool HasPlainFrontboard(int32_t oem) {
  return oem == 6 && FrontboardVariantA == 0 && DvrGetBoardType() == 2;
}

void TranslateByOem(int32_t oem, uint8_t *event) {
  switch (oem) {
    case 17:
      return ApplyToRemote(kBlock3, event);
    case 9:
      Apply(kBlock4, event);
      return ApplyToRemote(kBlock4Remote, event);
    default:
      return Apply(kBlock2, event);
  }
}

// A command's code becomes a group and its value the code.
struct CommandRule {
  uint8_t code, newGroup;
};
constexpr uint8_t kCommandGroup = 0xdd;
constexpr CommandRule kCommands[] = {
    {0x09, 0x0d}, {0x0a, 0x11}, {0x0b, 0x10}, {0x0c, 0x12}, {0x0d, 0x23},
};

bool NeedsCommands(int32_t oem, int32_t panel) {
  return HasPlainFrontboard(oem) || oem == 11 || panel == product::kPanel40 ||
         panel == product::kPanel45;
}

}  // namespace

void uart::TranslateEvent(uint8_t *event) {
  const int32_t oem = DvrGetHwidInformation(OEM_TYPE);
  const int32_t panel = product::Get(&product::Product::panel);
  if (HasPlainFrontboard(oem)) Apply(kBlock1, event);
  if (panel == product::kPanel40) TranslateByOem(oem, event);
  if (oem == 11) {
    Apply(kBlock5, event);
    Apply(kBlock5Codes, event);
  }
  if (oem == 17) Apply(kBlock6, event);
  if (oem == 15) Apply(kBlock7, event);
}

bool uart::TranslateCommand(uint8_t *command) {
  if (!NeedsCommands(DvrGetHwidInformation(OEM_TYPE), product::Get(&product::Product::panel)))
    return false;
  for (const auto &[code, newGroup] : kCommands) {
    if (command[1] != kCommandGroup || command[2] != code) continue;
    command[1] = newGroup;
    command[2] = command[3];
    return true;
  }
  if (command[1] != 0xcc || command[2] != 0x0d || command[3] != 0x06) return false;
  command[1] = 0x0a;
  command[2] = 0x00;
  command[3] = 0x00;
  return true;
}
