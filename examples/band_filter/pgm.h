// Reading and writing binary (P5) PGM files with 8-bit samples.
#pragma once

#include <string>

#include "examples/band_filter/box_filter.h"

namespace band_filter {

// Reads a binary PGM with a maximum value of 255 or less. Returns false, with the reason in
// `error`, for anything else (missing file, other formats, absurd sizes, short data).
bool read_pgm(const std::string& path, Image& image, std::string& error);

// Writes the image as a binary PGM with a maximum value of 255. Returns false on failure.
bool write_pgm(const std::string& path, const Image& image);

}  // namespace band_filter
