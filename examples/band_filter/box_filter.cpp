// The 3x3 box filter and the synthetic test card.
#include "examples/band_filter/box_filter.h"

#include <algorithm>

namespace band_filter {

namespace {

// Sum of the three pixels around x in one line, the border pixel standing in for the
// missing neighbour.
inline int triple(const uint8_t* line, int x, int width) {
  const int left = x > 0 ? line[x - 1] : line[x];
  const int right = x + 1 < width ? line[x + 1] : line[x];
  return left + line[x] + right;
}

inline uint8_t mean_of_nine(int sum) { return static_cast<uint8_t>((sum + 4) / 9); }

void filter_line(const uint8_t* above, const uint8_t* here, const uint8_t* below, uint8_t* out,
                 int width) {
  const auto edge = [&](int x) {
    out[x] =
        mean_of_nine(triple(above, x, width) + triple(here, x, width) + triple(below, x, width));
  };
  edge(0);
  // The inside of the line needs no border tests, so the compiler can vectorise it.
  for (int x = 1; x < width - 1; ++x) {
    const int sum = above[x - 1] + above[x] + above[x + 1] + here[x - 1] + here[x] + here[x + 1] +
                    below[x - 1] + below[x] + below[x + 1];
    out[x] = mean_of_nine(sum);
  }
  if (width > 1) edge(width - 1);
}

}  // namespace

void filter_lines(void* raw, int first_line, int last_line) {
  const auto* job = static_cast<const FilterJob*>(raw);
  const Image& source = *job->source;
  const int width = source.width;
  const auto line = [&](int y) { return &source.pixels[static_cast<size_t>(y) * width]; };
  for (int y = first_line; y <= last_line; ++y) {
    filter_line(line(std::max(y - 1, 0)), line(y), line(std::min(y + 1, source.height - 1)),
                &job->target->pixels[static_cast<size_t>(y) * width], width);
  }
}

Image synthetic_image(int width, int height) {
  Image image{width, height, std::vector<uint8_t>(static_cast<size_t>(width) * height)};
  uint32_t noise = 12345;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      noise = noise * 1103515245u + 12345u;
      const bool grid = x % 64 == 0 || y % 64 == 0;
      const int value = grid ? 255 : (x * 255 / width + y * 255 / height) / 2 + (noise >> 28);
      image.pixels[static_cast<size_t>(y) * width + x] = static_cast<uint8_t>(std::min(value, 255));
    }
  }
  return image;
}

}  // namespace band_filter
