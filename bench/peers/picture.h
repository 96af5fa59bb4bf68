// Test pictures as TIFF files, read and written row by row, so that this program stays small: the peak memory
// of a child process is never reported below that of its parent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vello::bench {

struct Size {
  int width = 0, height = 0;
  double megapixels() const { return width * 1e-6 * height; }
};

// 3:2, as near to that many million pixels as whole numbers allow.
Size sizeOfMegapixels(double megapixels);

// Clouds, texture, hard edges and grain in RGB, 8 bit, uncompressed. Another seed gives another picture.
void writePhoto(const std::string& path, Size size, uint32_t seed);

// The same samples without compression; false when `from` is no TIFF file that is read in rows.
bool writeUncompressed(const std::string& from, const std::string& to);

// Of the header; nothing when the file is no TIFF.
std::optional<Size> sizeOfFile(const std::string& path);

// Mean absolute difference of the colours in steps of 8 bit, over the part both have around their middles.
// Nothing for layouts other than 8- and 16-bit RGB(A).
std::optional<double> meanDifference(const std::string& pathA, const std::string& pathB);

}  // namespace vello::bench
