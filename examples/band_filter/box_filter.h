// A 3x3 box filter over 8-bit images, one band of lines at a time.
#pragma once

#include <stdint.h>

#include <vector>

namespace band_filter {

// An 8-bit grey image, lines top to bottom.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> pixels;  // width * height
};

// What one filter run reads and writes; passed as the `data` of q7mp_lib_mp_exec.
struct FilterJob {
  const Image* source;
  Image* target;  // same size as source
};

// Filters lines first_line to last_line (inclusive) of the job's source into its target:
// each pixel becomes the rounded mean of its 3x3 neighbourhood, edges repeating the border
// pixels. An empty range (last_line < first_line) does nothing. Its signature is the one
// q7mp_lib_mp_exec calls.
void filter_lines(void* job, int first_line, int last_line);

// A synthetic test card: gradients, a grid and some deterministic noise.
Image synthetic_image(int width, int height);

}  // namespace band_filter
