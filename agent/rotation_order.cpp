// Rotation order codes: the order of a segment's six channels, three bits per entry
// (TX 1, TY 2, TZ 3, RX 4, RY 5, RZ 6), e0 in bits 15 and above, e5 in bits 0 to 2.
#include <cctype>
#include <cstring>
#include <string>

#include "agent/skeleton.h"

namespace {

// Bit shift of entry i (0..5).
constexpr int kShift[6] = {15, 12, 9, 6, 3, 0};

// Channel code of one upper-case word, by containment, the first match in TX..RZ order.
int channel_of_word(const std::string& word) {
  static const char* const kNames[6] = {"TX", "TY", "TZ", "RX", "RY", "RZ"};
  for (int code = 1; code <= 6; ++code)
    if (word.find(kNames[code - 1]) != std::string::npos) return code;
  return 0;
}

// Words of an order string are split at blanks and tabs only; any other character, a line end
// included, belongs to the word.
bool is_word_separator(char c) {
  return c == ' ' || c == '\t';
}

}  // namespace

extern "C" {

void order_unpack(int32_t order, int entries[6]) {
  entries[0] = static_cast<int>(static_cast<uint32_t>(order) >> 15);
  for (int i = 1; i < 6; ++i) entries[i] = (order >> kShift[i]) & 7;
}

int32_t order_pack(const int entries[6]) {
  uint32_t code = 0;
  for (int i = 0; i < 6; ++i) code += static_cast<uint32_t>(entries[i]) << kShift[i];
  return static_cast<int32_t>(code);
}

int32_t strToOrder(const char* text) {
  int entries[6] = {0, 0, 0, 0, 0, 0};
  int count = 0;
  bool named[7] = {};
  if (text) {
    std::string upper(text);
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    size_t pos = 0;
    while (count < 6) {
      while (pos < upper.size() && is_word_separator(upper[pos])) ++pos;
      if (pos >= upper.size()) break;
      size_t end = pos;
      while (end < upper.size() && !is_word_separator(upper[end])) ++end;
      const int code = channel_of_word(upper.substr(pos, end - pos));
      entries[count++] = code;
      named[code] = true;
      pos = end;
    }
  }
  // Channels not named follow in their natural order until six entries exist.
  for (int code = 1; code <= 6 && count < 6; ++code)
    if (!named[code]) entries[count++] = code;
  return order_pack(entries);
}

int32_t order_normalise(int32_t order) {
  int entries[6];
  order_unpack(order, entries);
  bool present[7] = {};
  for (int e : entries)
    if (e >= 1 && e <= 6) present[e] = true;
  static const int kFillOrder[6] = {ORDER_RX, ORDER_RY, ORDER_RZ, ORDER_TX, ORDER_TY, ORDER_TZ};
  int next_fill = 0;
  for (int& e : entries) {
    if (e != 0) continue;
    while (next_fill < 6 && present[kFillOrder[next_fill]]) ++next_fill;
    if (next_fill == 6) break;
    e = kFillOrder[next_fill];
    present[e] = true;
  }
  return order_pack(entries);
}

int order_euler_code(int32_t order) {
  int entries[6];
  order_unpack(order, entries);
  int axes[3] = {0, 0, 0};
  int rotations = 0;
  for (int e : entries) {
    if (e < ORDER_RX || e > ORDER_RZ) continue;
    if (rotations == 3) return -1;  // more than three rotation entries repeat an axis
    axes[rotations++] = e - ORDER_RX + 1;
  }
  if (rotations == 0) return -1;
  if (rotations == 1) return 0;
  if (rotations == 2) axes[2] = 6 - axes[0] - axes[1];
  switch (axes[0] * 100 + axes[1] * 10 + axes[2]) {
    case 123:
      return 0;
    case 132:
      return 4;
    case 231:
      return 8;
    case 213:
      return 12;
    case 312:
      return 16;
    case 321:
      return 20;
    default:
      return -1;
  }
}

}  // extern "C"
