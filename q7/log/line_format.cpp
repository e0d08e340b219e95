// Log lines composed by hand: the lines are the hot path of every program that logs.
#include "q7/log/internal/line_format.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <bit>

namespace q7::internal {

namespace {

// Appends to a fixed buffer, dropping what does not fit.
class LineWriter {
 public:
  LineWriter(char* line, size_t size) : line_(line), room_(size - 1) {}

  void bytes(const char* bytes, size_t count) {
    const size_t fits = count < room_ - length_ ? count : room_ - length_;
    memcpy(line_ + length_, bytes, fits);
    length_ += fits;
  }

  void text(const char* text) { bytes(text, strlen(text)); }

  size_t finish() {
    line_[length_] = '\0';
    return length_;
  }

 private:
  char* line_;
  size_t room_;
  size_t length_ = 0;
};

void put_two_digits(char* out, long long value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
}

}  // namespace

bool round_to_hundredths(double value, long long& hundredths) {
  if (!(value >= 0 && value < 100)) return false;
  // value = mantissa * 2^-shift exactly; times 100 the mantissa still fits 64 bits, so the
  // rounding below works on the exact product.
  const uint64_t bits = std::bit_cast<uint64_t>(value);
  const int biased_exponent = static_cast<int>(bits >> 52);
  const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
  const uint64_t mantissa = biased_exponent == 0 ? fraction : fraction | (uint64_t{1} << 52);
  const int shift = 1075 - (biased_exponent == 0 ? 1 : biased_exponent);  // at least 46
  if (shift >= 64) {
    hundredths = 0;  // below 2^-11 hundredths: far from the first rounding boundary
    return true;
  }
  const uint64_t scaled = mantissa * 100;
  const uint64_t whole = scaled >> shift;
  const uint64_t rest = scaled & ((uint64_t{1} << shift) - 1);
  const uint64_t half = uint64_t{1} << (shift - 1);
  const bool up = rest > half || (rest == half && (whole & 1) != 0);
  hundredths = static_cast<long long>(whole + (up ? 1 : 0));
  return true;
}

size_t compose_line(char* line, size_t size, const char* facility, int hours, int minutes,
                    double seconds, const char* level, const char* text, size_t text_length) {
  LineWriter writer(line, size);
  writer.text(facility);
  if (level == nullptr) {
    writer.bytes("                  : ", 20);
    writer.bytes(text, text_length);
    return writer.finish();
  }
  long long hundredths;
  if (hours < 0 || hours > 99 || minutes < 0 || minutes > 99 ||
      !round_to_hundredths(seconds, hundredths) || hundredths >= 10000) {
    char time[64];
    snprintf(time, sizeof time, " %02d:%02d:%05.2f ", hours, minutes, seconds);
    writer.text(time);
  } else {
    char time[] = " hh:mm:ss.hh ";
    put_two_digits(time + 1, hours);
    put_two_digits(time + 4, minutes);
    put_two_digits(time + 7, hundredths / 100);
    put_two_digits(time + 10, hundredths % 100);
    writer.bytes(time, sizeof time - 1);
  }
  writer.text(level);
  writer.bytes(": ", 2);
  writer.bytes(text, text_length);
  return writer.finish();
}

}  // namespace q7::internal
