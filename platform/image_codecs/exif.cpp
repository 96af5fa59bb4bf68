#include "platform/image_codecs/exif.h"

#include <algorithm>
#include <cmath>

namespace vello {

namespace {

constexpr double kCentimetresPerInch = 2.54;

std::optional<TiffDirectory> firstDirectory(std::span<const uint8_t> exif) {
  const MemorySource source(exif);
  const std::optional<TiffHeader> header = readTiffHeader(source);
  if (!header || header->format.bigTiff) return std::nullopt;
  return readTiffDirectory(source, header->format, header->firstDirectory);
}

}  // namespace

ExifDensity densityOf(const TiffDirectory& directory) {
  constexpr uint64_t kInch = 2, kCentimetre = 3;
  const uint64_t unit = directory.integer(tiff_tag::kResolutionUnit).value_or(kInch);
  if (unit != kInch && unit != kCentimetre) return {};
  const auto dpi = [&](uint16_t tag) -> std::optional<double> {
    const std::optional<double> value = directory.rational(tag);
    if (!value || !(*value > 0)) return std::nullopt;
    return unit == kCentimetre ? *value * kCentimetresPerInch : *value;
  };
  return {dpi(tiff_tag::kXResolution), dpi(tiff_tag::kYResolution)};
}

int exifOrientation(std::span<const uint8_t> exif) {
  const std::optional<TiffDirectory> directory = firstDirectory(exif);
  const uint64_t value = directory ? directory->integer(tiff_tag::kOrientation).value_or(1) : 1;
  return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

ExifDensity exifDensity(std::span<const uint8_t> exif) {
  const std::optional<TiffDirectory> directory = firstDirectory(exif);
  return directory ? densityOf(*directory) : ExifDensity{};
}

std::pair<uint32_t, uint32_t> toRational(double value) {
  // Continued fractions: the smallest terms that are the same double, or as near as 32 bits come.
  double x = value;
  uint64_t n0 = 0, d0 = 1, n1 = 1, d1 = 0;
  for (int i = 0; i < 32; ++i) {
    const double whole = std::floor(x);
    if (!(whole < 4294967296.0)) break;
    const auto a = static_cast<uint64_t>(whole);
    const uint64_t n2 = a * n1 + n0, d2 = a * d1 + d0;
    if (n2 > UINT32_MAX || d2 > UINT32_MAX) break;
    n0 = n1, d0 = d1, n1 = n2, d1 = d2;
    if (static_cast<double>(n1) / static_cast<double>(d1) == value || x == whole) break;
    x = 1 / (x - whole);
  }
  return {static_cast<uint32_t>(n1), static_cast<uint32_t>(d1)};
}

namespace {

class ExifPatcher {
 public:
  ExifPatcher(std::vector<uint8_t>& exif, const TiffDirectory& directory)
      : exif_(exif), directory_(directory), bigEndian_(directory.format.bigEndian) {}

  void setInteger(const TiffDirectory& in, uint16_t tag, uint64_t number) {
    const auto found = in.values.find(tag);
    if (found == in.values.end() || found->second.count == 0) return;
    const uint16_t type = found->second.type;
    if (type != tiff_type::kShort && type != tiff_type::kLong) return;
    writeInteger(exif_.data() + found->second.offset, tiffTypeSize(type), bigEndian_, number);
  }
  void setRational(uint16_t tag, double number) {
    const auto found = directory_.values.find(tag);
    if (found == directory_.values.end() || found->second.type != tiff_type::kRational ||
        found->second.count == 0) {
      return;
    }
    const auto [numerator, denominator] = toRational(number);
    writeInteger(exif_.data() + found->second.offset, 4, bigEndian_, numerator);
    writeInteger(exif_.data() + found->second.offset + 4, 4, bigEndian_, denominator);
  }
  void dropThumbnail();

 private:
  std::vector<uint8_t>& exif_;
  const TiffDirectory& directory_;
  bool bigEndian_;
};

struct Range {
  uint64_t begin, end;
};

void addRanges(const TiffDirectory& directory, std::vector<Range>& ranges) {
  ranges.push_back({directory.offset, directory.offset + directory.size});
  for (const auto& [tag, value] : directory.values) {
    ranges.push_back({value.offset, value.offset + value.bytes.size()});
  }
  for (const auto& [tag, child] : directory.children) addRanges(child, ranges);
}

// Unlinked and cleared; cut off where nothing else lies behind or among it. Cleared bytes never belong to a
// value that stays.
void ExifPatcher::dropThumbnail() {
  const uint64_t size = exif_.size();
  if (directory_.next == 0 || directory_.offset + directory_.size > size) return;
  const MemorySource source(exif_);
  const auto thumbnail = readTiffDirectory(source, directory_.format, directory_.next);
  writeInteger(exif_.data() + directory_.offset + directory_.size - 4, 4, bigEndian_, 0);
  if (!thumbnail) return;
  std::vector<Range> dropped, kept;
  addRanges(*thumbnail, dropped);
  addRanges(directory_, kept);
  const auto place = thumbnail->integer(tiff_tag::kThumbnailOffset);
  const auto length = thumbnail->integer(tiff_tag::kThumbnailLength);
  if (place && length && *place <= size && *length <= size - *place) {
    dropped.push_back({*place, *place + *length});
  }
  uint64_t begin = size, end = 0, covered = 0, keptEnd = 0;
  for (const Range& range : kept) keptEnd = std::max(keptEnd, range.end);
  for (const Range& range : dropped) {
    const bool shared = std::any_of(kept.begin(), kept.end(), [&](const Range& other) {
      return range.begin < other.end && other.begin < range.end;
    });
    if (shared) continue;
    begin = std::min(begin, range.begin), end = std::max(end, range.end), covered += range.end - range.begin;
    std::fill(exif_.begin() + static_cast<long>(range.begin), exif_.begin() + static_cast<long>(range.end),
              0);
  }
  constexpr uint64_t kPadding = 64;  // between its pieces
  if (begin >= keptEnd && end + kPadding >= size && covered + kPadding >= end - begin && begin < size) {
    exif_.resize(begin);
  }
}

}  // namespace

void updateExif(std::vector<uint8_t>& exif, int64_t width, int64_t height, const ExifDensity& density) {
  const std::optional<TiffDirectory> directory = firstDirectory(exif);
  if (!directory) return;
  ExifPatcher patcher(exif, *directory);
  patcher.setInteger(*directory, tiff_tag::kOrientation, 1);
  patcher.setInteger(*directory, tiff_tag::kImageWidth, static_cast<uint64_t>(width));
  patcher.setInteger(*directory, tiff_tag::kImageLength, static_cast<uint64_t>(height));
  const auto child = directory->children.find(tiff_tag::kExif);
  if (child != directory->children.end()) {
    patcher.setInteger(child->second, tiff_tag::kPixelXDimension, static_cast<uint64_t>(width));
    patcher.setInteger(child->second, tiff_tag::kPixelYDimension, static_cast<uint64_t>(height));
  }
  if (density.x && density.y) {
    constexpr uint64_t kInch = 2;
    patcher.setRational(tiff_tag::kXResolution, *density.x);
    patcher.setRational(tiff_tag::kYResolution, *density.y);
    patcher.setInteger(*directory, tiff_tag::kResolutionUnit, kInch);
  }
  patcher.dropThumbnail();
}

std::vector<uint8_t> makeExif(double dpiX, double dpiY) {
  TiffDirectory directory;
  const auto rational = [](double value) {
    TiffValue result{tiff_type::kRational, 1, std::vector<uint8_t>(8), 0};
    const auto [numerator, denominator] = toRational(value);
    writeInteger(result.bytes.data(), 4, false, numerator);
    writeInteger(result.bytes.data() + 4, 4, false, denominator);
    return result;
  };
  directory.values[tiff_tag::kXResolution] = rational(dpiX);
  directory.values[tiff_tag::kYResolution] = rational(dpiY);
  directory.values[tiff_tag::kResolutionUnit] = {tiff_type::kShort, 1, {2, 0}, 0};
  return serialisedBlock(directory);
}

}  // namespace vello
