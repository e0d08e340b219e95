// Binary PGM files.
#include "examples/band_filter/pgm.h"

#include <ctype.h>
#include <stdio.h>

namespace band_filter {

namespace {

constexpr int kMaxSide = 65535;

// Reads the next header number, skipping white space and comment lines. -1 when there is
// none or it is out of range.
int header_number(FILE* file) {
  int c = fgetc(file);
  while (c != EOF && (isspace(c) || c == '#')) {
    if (c == '#') {
      while (c != EOF && c != '\n') c = fgetc(file);
    }
    c = fgetc(file);
  }
  long value = 0;
  bool any = false;
  while (c != EOF && isdigit(c)) {
    value = value * 10 + (c - '0');
    if (value > kMaxSide) return -1;
    any = true;
    c = fgetc(file);
  }
  return any ? static_cast<int>(value) : -1;
}

}  // namespace

bool read_pgm(const std::string& path, Image& image, std::string& error) {
  FILE* file = fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = "cannot open " + path;
    return false;
  }
  char magic[2] = {};
  const bool is_pgm = fread(magic, 1, 2, file) == 2 && magic[0] == 'P' && magic[1] == '5';
  const int width = is_pgm ? header_number(file) : -1;
  const int height = width > 0 ? header_number(file) : -1;
  const int max_value = height > 0 ? header_number(file) : -1;
  if (!is_pgm || width <= 0 || height <= 0 || max_value <= 0 || max_value > 255) {
    fclose(file);
    error = path + " is not a binary 8-bit PGM";
    return false;
  }
  image = Image{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height)};
  const size_t read = fread(image.pixels.data(), 1, image.pixels.size(), file);
  fclose(file);
  if (read != image.pixels.size()) {
    error = path + " is cut short";
    return false;
  }
  return true;
}

bool write_pgm(const std::string& path, const Image& image) {
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  fprintf(file, "P5\n%d %d\n255\n", image.width, image.height);
  const bool written =
      fwrite(image.pixels.data(), 1, image.pixels.size(), file) == image.pixels.size();
  return fclose(file) == 0 && written;
}

}  // namespace band_filter
