#include "Uart/frontboard/keys.h"

#include <stdio.h>

#include <initializer_list>

#include "libsys/frontboard.h"

namespace libsys::panel {
namespace {

constexpr Key kUnused = {0xff, 0xff, 0xff, 0xff};
constexpr Key kReleased = {0xff, 0xff, 0xff, 0x01};

// Keys as their four bytes, one scan line a row; beyond the last row all are the same.
consteval Keys Table(std::initializer_list<uint32_t> words, Key others = kUnused) {
  Keys keys;
  keys.fill(others);
  size_t number = 0;
  for (const uint32_t word : words) {
    keys[number++] = {static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16),
                      static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)};
  }
  return keys;
}

// clang-format off
constinit struct {
  Keys oem20 = Table({
    0xff14fe01, 0xff14fd01, 0xff14fb01, 0xff14f701, 0xff14ef01,
    0xff14df01, 0xff14bf01, 0xff147f01, 0xff1afd01, 0xff1ebf01,
    0xff1cfb01, 0xff1efd01, 0xff1adf01, 0xff1abf01, 0xff1bf701,
    0xff1aef01, 0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1adf01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff1cbf01, 0xff1bbf01});
  Keys oem15 = Table({
    0xff1aef01, 0xff1abfff, 0xff1a7f01, 0xffffffff, 0xffffffff,
    0xff1afb01, 0xff1afd01, 0xff1adf01, 0xffffffff, 0xffffffff});
  Keys oem14 = Table({
    0xff1aef01, 0xff1a7fff, 0xff1cef01, 0xff1bbf01, 0xff1cfbff,
    0xff1adf01, 0xff1afd01, 0xff1cbf01, 0xff1cdf01, 0xff1efdff,
    0xff1abf01, 0xff1bf701, 0xff1cf701, 0xff1bfdff, 0xff1bdfff,
    0xff1afb01, 0xff1ebf01, 0xff1c7f01, 0xff1b7fff, 0xff1adfff,
    0xffffffff, 0xff1bf7ff, 0xff1afdff, 0xff1cbfff, 0xffffffff});
  Keys oem14Model92 = Table({
    0xff1aef01, 0xff1a7fff, 0xff1cef01, 0xff1cdf01, 0xff1cfbff,
    0xff1adf01, 0xff1afd01, 0xff1cbf01, 0xff1cdf01, 0xff1efdff,
    0xff1abf01, 0xff1bf701, 0xff1cf701, 0xff1bfdff, 0xff1bdfff,
    0xff1afb01, 0xff1ebf01, 0xff1c7f01, 0xff1b7fff, 0xff1adfff,
    0xffffffff, 0xff1bf7ff, 0xff1afdff, 0xff1cbfff, 0xffffffff});
  Keys products27To32 = Table({
    0xff1aef01, 0xff1bbf01, 0xff1cdf01, 0xff1cf701, 0xff14ef01,
    0xff1afd01, 0xff1c7f01, 0xff1cbf01, 0xff1adf01, 0xff1aef01,
    0xff1bdf01, 0xff1ebf01, 0xff1afb01, 0xff1bfd01, 0xff1ebf01,
    0xff1edf01, 0xff1bf701, 0xff1a7f01, 0xff1efd01, 0xff1abf01,
    0xff1c7f01, 0xff1edf01, 0xff1cef01, 0xff1cbf01, 0xff1bbf01});
  Keys oem6 = Table({
    0xff1adf01, 0xff1abf01, 0xff1a7f01, 0xffffffff, 0xffffffff,
    0xff1aef01, 0xff1afb01, 0xff1afd01, 0xffffffff, 0xffffffff,
    0xff1c7f01, 0xff1cfb01, 0xff1cdf01, 0xff1bdf01, 0xffffffff,
    0xffffffff, 0xff13fd01, 0xff1cf701, 0xff13fb01, 0xffffffff});
  Keys oem11 = Table({
    0xff1aef01, 0xffffffff, 0xff1cdf01, 0xff1bdf01, 0xffffffff,
    0xff1adf01, 0xff1cef01, 0xff1cf701, 0xff1bf701, 0xffffffff,
    0xff1c7f01, 0xff1cbf01, 0xff1afd01, 0xffffffff, 0xffffffff,
    0xff1a7f01, 0xff1afb01, 0xff1abf01, 0xffffffff, 0xffffffff});
  Keys oem9SubType4 = Table({
    0xff14fe01, 0xff14fd01, 0xff1cdf01, 0xff1cfb01, 0xff14fb01,
    0xff14f701, 0xff1edf01, 0xff1cdf01, 0xff1efd01, 0xff1aef01,
    0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1adf01, 0xff1cf701,
    0xff1adf01, 0xff1afd01, 0xff1cef01, 0xff1cbf01, 0xff1ebf01,
    0xff1bdf01, 0xff1c7f01, 0xff1cef01, 0xff1cbf01, 0xff137f01});
  Keys oem9SubType1 = Table({
    0xff14fe01, 0xff14fd01, 0xff14fb01, 0xff14f701, 0xff14ef01,
    0xff1bdf01, 0xff1cfb01, 0xff1cdf01, 0xff1adf01, 0xff1aef01,
    0xff1aef01, 0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1ebf01,
    0xff1adf01, 0xff1afd01, 0xff1bf701, 0xff1ebf01, 0xff1cfb01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff137f01, 0xff1bbf01});
  Keys oem9SubType3 = Table({
    0xff14fe01, 0xff14fd01, 0xff14bf01, 0xff1ebf01, 0xff14ef01,
    0xff1cfb01, 0xff1c7f01, 0xff1efe01, 0xff14fb01, 0xff1aef01,
    0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1adf01, 0xff14df01,
    0xff14f701, 0xff14ef01, 0xff19fe01, 0xff147f01, 0xff1adf01,
    0xff1afd01, 0xff1cdf01, 0xff1cf701, 0xff13bf01, 0xff1abf01});
  Keys oem9SubType2 = Table({
    0xff13fd01, 0xff13fb01, 0xff1cdf01, 0xff1cdf01, 0xff14ef01,
    0xff1bdf01, 0xff1ebf01, 0xff1cfb01, 0xff1adf01, 0xff1aef01,
    0xff1aef01, 0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1edf01,
    0xff1adf01, 0xff1afd01, 0xff1bf701, 0xff1edf01, 0xff1cfb01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff137f01, 0xff1bbf01});
  Keys oem9Product3SubType1 = Table({
    0xff14fe01, 0xff14fd01, 0xff14fb01, 0xff14f701, 0xff14ef01,
    0xff14df01, 0xff14bf01, 0xff147f01, 0xff1bdf01, 0xff1aef01,
    0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1adf01, 0xff1ebf01,
    0xff1adf01, 0xff1afd01, 0xff1bbf01, 0xff1cbf01, 0xff1cfb01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff1cbf01, 0xff1cdf01});
  Keys otherwise = Table({
    0xff1cdf01, 0xff1bfd01, 0xff1ebf01, 0xff1b7f01, 0xff1bbf01,
    0xff1cfb01, 0xff1a7f01, 0xff1afd01, 0xff1afb01, 0xff1fef01,
    0xff1ff701, 0xff1aef01, 0xff1adf01, 0xff1abf01, 0xff1bf701,
    0xff1cf701, 0xff1c7f01, 0xff1bf701, 0xff1bf701, 0xff1cfb01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff1cbf01, 0xff1bbf01});
  Keys oem4 = Table({
    0xff1cfb01, 0xff1eef01, 0xff1afe01, 0xff1ffd01, 0xff14ef01,
    0xff1cdf01, 0xff1ffb01, 0xff1abf01, 0xff1afd01, 0xff1aef01,
    0xff1ebf01, 0xff1ff701, 0xff1afb01, 0xff019c01, 0xff1ebf01,
    0xff1aef01, 0xff1adf01, 0xff1a7f01, 0xff1cef01, 0xff1bdf01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff1cbf01, 0xff1bbf01});
  Keys oem2 = Table({
    0xff14fe01, 0xff14fd01, 0xff14fb01, 0xff14f701, 0xff14ef01,
    0xff14df01, 0xff14bf01, 0xff147f01, 0xff1bdf01, 0xff1aef01,
    0xff1abf01, 0xff1afb01, 0xff1a7f01, 0xff1adf01, 0xff1ebf01,
    0xff1adf01, 0xff1afd01, 0xff1bf701, 0xff1bf701, 0xff1cfb01,
    0xff1cdf01, 0xff1edf01, 0xff1cef01, 0xff1cbf01, 0xff1bbf01});
  Keys oem13 = Table({
    0xff1afe01, 0xff1abfff, 0xff1a7fff, 0xff1afdff, 0xffffffff,
    0xffffffff, 0xffffffff, 0xffffffff, 0xff1adfff, 0xffffffff,
    0xff1a7fff, 0xff1adfff, 0xff1afbff, 0xffffffff, 0xffffffff,
    0xff1afdff, 0xffffffff, 0xff1a7fff, 0xff1aefff, 0xffffffff});
  // No keys, only their levels, which begin as those of the other OEM-9 panels do: a panel that
  // nobody presses reports nothing.
  Keys oem9Unknown = Table({}, kReleased);
} FrontKeyTable;
// clang-format on

Keys &KeysOfOem9(const Board &board) {
  const bool isProduct3 = board.product == 3;
  switch (FrontboardSubType) {
    case 1:
      return isProduct3 ? FrontKeyTable.oem9Product3SubType1 : FrontKeyTable.oem9SubType1;
    case 2:
      return FrontKeyTable.oem9SubType2;
    case 3:
      return FrontKeyTable.oem9SubType3;
    case 4:
      return isProduct3 ? FrontKeyTable.oem9SubType3 : FrontKeyTable.oem9SubType4;
    default:
      return FrontKeyTable.oem9Unknown;
  }
}

}  // namespace

Keys &KeysOf(const Board &board) {
  if (HasProductMatrix(board)) return FrontKeyTable.products27To32;
  switch (board.variant) {
    case 2:
      return FrontKeyTable.oem2;
    case 4:
      return FrontKeyTable.oem4;
    case 6:
      return FrontKeyTable.oem6;
    case 9:
      return KeysOfOem9(board);
    case 11:
      return FrontKeyTable.oem11;
    case 13:
      return FrontKeyTable.oem13;
    case 14:
      return FrontboardPanelModel == 92 ? FrontKeyTable.oem14Model92 : FrontKeyTable.oem14;
    case 15:
      return FrontKeyTable.oem15;
    case 20:
      return FrontKeyTable.oem20;
    default:
      return FrontKeyTable.otherwise;
  }
}

void KeyEvent(const Board &board, uint8_t number, uint8_t *event) {
  const Keys &keys = KeysOf(board);
  if (&keys == &FrontKeyTable.oem9Unknown) {
    puts(board.product == 3 ? "xka frondboard type error!!@" : "xka frondboard type error!!#");
    return;
  }
  if (number >= keys.size()) return;
  const Key &key = keys[number];
  event[0] = key.sync;
  event[1] = key.group;
  event[2] = key.code;
  if (&keys == &FrontKeyTable.products27To32) {
    printf("..........%d %d %d.........\n", event[0], event[1], event[2]);
  }
}

}  // namespace libsys::panel
