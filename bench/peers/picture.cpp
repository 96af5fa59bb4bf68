#include "bench/peers/picture.h"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <vector>

namespace vello::bench {
namespace {

using Tiff = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

Tiff open(const std::string& path, const char* mode) {
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);
  return {TIFFOpen(path.c_str(), mode), &TIFFClose};
}

float hashed(uint32_t x, uint32_t y, uint32_t seed) {
  uint32_t h = x * 0x8DA6B343u ^ y * 0xD8163841u ^ seed * 0xCB1AB31Fu;
  h = (h ^ (h >> 15)) * 0x2C1B3C6Du;
  h = (h ^ (h >> 12)) * 0x297A2D39u;
  return static_cast<float>((h ^ (h >> 15)) >> 8) * 0x1p-24f;
}

float eased(float t) { return t * t * (3 - 2 * t); }

// Smooth noise: random values on a lattice, eased between its points.
struct Octave {
  float cell, amplitude;
  uint32_t seed;

  // Adds row y. The lattice's two rows are mixed first, so that a pixel costs one more mix.
  void addRow(int y, std::vector<float>& row) const {
    const float v = y / cell;
    const uint32_t j = static_cast<uint32_t>(v);
    const float mixY = eased(v - static_cast<float>(j));
    const auto point = [&](uint32_t i) {
      return std::lerp(hashed(i, j, seed), hashed(i, j + 1, seed), mixY) * amplitude;
    };
    uint32_t i = 0;
    float left = point(0), right = point(1);
    for (size_t x = 0; x < row.size(); ++x) {
      const float u = static_cast<float>(x) / cell;
      for (; static_cast<float>(i + 1) <= u; left = right, right = point(++i + 1)) continue;
      row[x] += left + (right - left) * eased(u - static_cast<float>(i));
    }
  }
};

std::vector<Octave> octaves(Size size, uint32_t seed) {
  std::vector<Octave> all;
  float amplitude = 0.5f;
  for (float cell = std::max(2.0f, size.width / 5.0f); cell >= 2 && all.size() < 8; cell /= 2.3f)
    all.push_back({cell, amplitude, seed * 16 + static_cast<uint32_t>(all.size())}), amplitude *= 0.55f;
  return all;
}

uint8_t byteOf(float v) { return static_cast<uint8_t>(std::clamp(v, 0.0f, 1.0f) * 255 + 0.5f); }

// A skyline before a sky with a sun, all with texture `noise` (0..1) and a little grain.
void shadeRow(Size size, int y, uint32_t seed, const std::vector<float>& noise, std::vector<uint8_t>& bytes) {
  const float down = static_cast<float>(y) / size.height, sunY = y - 0.3f * size.height;
  for (int x = 0; x < size.width; ++x) {
    const float n = noise[x], sunX = x - 0.68f * size.width;
    const uint32_t house = static_cast<uint32_t>(x * 23.0f / size.width);
    const bool wall = down > 0.45f + 0.4f * hashed(house, 7, seed);
    const bool sun = sunX * sunX + sunY * sunY < 0.01f * size.height * size.height;
    const float light = wall ? 0.25f + 0.5f * hashed(house, 9, seed) : 1.15f - 0.4f * down;
    const float grain = 0.03f * (hashed(x, y, seed + 99) - 0.5f) + (sun ? 0.4f : 0);
    bytes[3 * x] = byteOf(light * (0.15f + 0.8f * n) + grain);
    bytes[3 * x + 1] = byteOf(light * (0.25f + 0.55f * n) + grain);
    bytes[3 * x + 2] = byteOf(light * (wall ? 0.1f + 0.4f * n : 0.5f + 0.35f * n) + 0.4f * grain);
  }
}

struct Layout {
  uint32_t width = 0, height = 0;
  uint16_t bits = 8, samples = 3, photometric = PHOTOMETRIC_RGB, planar = PLANARCONFIG_CONTIG;
};

std::optional<Layout> layoutOf(TIFF* tiff) {
  Layout l;
  if (!tiff || TIFFIsTiled(tiff)) return std::nullopt;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &l.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &l.height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &l.bits);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &l.samples);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &l.planar);
  TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &l.photometric);
  return l.planar == PLANARCONFIG_CONTIG ? std::optional(l) : std::nullopt;
}

void setLayout(TIFF* tiff, const Layout& l) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, l.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, l.height);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, l.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, l.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, l.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
}

// One row's samples at a time as 8-bit numbers.
struct Rows {
  explicit Rows(const std::string& path) : file(open(path, "r")) {
    if (const auto found = layoutOf(file.get())) layout = *found;
    if (layout.width > 0) bytes.resize(static_cast<size_t>(TIFFScanlineSize(file.get())));
  }
  bool ok() const {
    return layout.width > 0 && layout.samples >= 3 && (layout.bits == 8 || layout.bits == 16);
  }
  bool read(uint32_t y) { return TIFFReadScanline(file.get(), bytes.data(), y) == 1; }
  double at(size_t x, int channel) const {
    const size_t i = x * layout.samples + channel;
    if (layout.bits == 8) return bytes[i];
    return reinterpret_cast<const uint16_t*>(bytes.data())[i] / 257.0;
  }
  Tiff file;
  Layout layout;
  std::vector<uint8_t> bytes;
};

}  // namespace

Size sizeOfMegapixels(double megapixels) {
  const int height = std::max(1, static_cast<int>(std::lround(std::sqrt(megapixels * 1e6 / 1.5))));
  return {std::max(1, static_cast<int>(std::lround(megapixels * 1e6 / height))), height};
}

void writePhoto(const std::string& path, Size size, uint32_t seed) {
  const Tiff file = open(path, "w");
  if (!file) throw std::runtime_error(path + ": cannot be written");
  setLayout(file.get(),
            {.width = static_cast<uint32_t>(size.width), .height = static_cast<uint32_t>(size.height)});
  std::vector<float> noise(size.width);
  std::vector<uint8_t> bytes(size_t{3} * size.width);
  const std::vector<Octave> layers = octaves(size, seed);
  for (int y = 0; y < size.height; ++y) {
    std::fill(noise.begin(), noise.end(), 0.0f);
    for (const Octave& octave : layers) octave.addRow(y, noise);
    shadeRow(size, y, seed, noise, bytes);
    if (TIFFWriteScanline(file.get(), bytes.data(), static_cast<uint32_t>(y)) != 1)
      throw std::runtime_error(path + ": cannot be written");
  }
}

bool writeUncompressed(const std::string& from, const std::string& to) {
  const Tiff source = open(from, "r");
  const auto layout = layoutOf(source.get());
  if (!layout) return false;
  const Tiff target = open(to, "w");
  if (!target) return false;
  setLayout(target.get(), *layout);
  uint16_t count = 0, *kinds = nullptr;
  if (TIFFGetField(source.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds) && count > 0)
    TIFFSetField(target.get(), TIFFTAG_EXTRASAMPLES, count, kinds);
  std::vector<uint8_t> row(static_cast<size_t>(TIFFScanlineSize(source.get())));
  for (uint32_t y = 0; y < layout->height; ++y)
    if (TIFFReadScanline(source.get(), row.data(), y) != 1 ||
        TIFFWriteScanline(target.get(), row.data(), y) != 1)
      return false;
  return true;
}

std::optional<Size> sizeOfFile(const std::string& path) {
  const Tiff file = open(path, "r");
  const auto layout = layoutOf(file.get());
  if (!layout) return std::nullopt;
  return Size{static_cast<int>(layout->width), static_cast<int>(layout->height)};
}

std::optional<double> meanDifference(const std::string& pathA, const std::string& pathB) {
  Rows a(pathA), b(pathB);
  if (!a.ok() || !b.ok()) return std::nullopt;
  const uint32_t width = std::min(a.layout.width, b.layout.width);
  const uint32_t height = std::min(a.layout.height, b.layout.height);
  const auto inset = [](uint32_t whole, uint32_t part) { return (whole - part) / 2; };
  const size_t xA = inset(a.layout.width, width), xB = inset(b.layout.width, width);
  const uint32_t yA = inset(a.layout.height, height), yB = inset(b.layout.height, height);
  double sum = 0;
  for (uint32_t y = 0; y < height; ++y) {
    if (!a.read(yA + y) || !b.read(yB + y)) return std::nullopt;
    for (size_t x = 0; x < width; ++x)
      for (int channel = 0; channel < 3; ++channel)
        sum += std::abs(a.at(xA + x, channel) - b.at(xB + x, channel));
  }
  return sum / (3.0 * width * height);
}

}  // namespace vello::bench
