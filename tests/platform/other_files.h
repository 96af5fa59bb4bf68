// Picture files in forms that our own writers do not make.
#pragma once

#include <tiffio.h>

#include <cstdio>
// jpeglib.h needs FILE
#include <jpeglib.h>
#include <png.h>
#include <zlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "platform/bitmap.h"

namespace vello::testing {

struct TiffForm {
  const char* mode = "w";  // of libtiff: "w8" is BigTIFF, "wb" big-endian
  uint16_t planar = PLANARCONFIG_CONTIG;
  uint16_t compression = COMPRESSION_NONE;
  int tile = 0;                // its side; 0: strips
  uint32_t rowsPerStrip = 16;  // 0: one strip
  bool mixed = false;          // strips of one row, of which there are odd many, in no order
  uint16_t photometric = PHOTOMETRIC_RGB;
  uint16_t orientation = 1;
  uint16_t bits = 0;  // 0: as the bitmap has; fewer: its bytes hold several samples
  float resolution = 0;
};

inline void setTags(TIFF* tiff, const PixelLayout& layout, const TiffForm& form) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(layout.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(layout.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, form.bits ? form.bits : layout.bitsPerComponent);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, layout.componentsPerPixel);
  TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, layout.isFloat ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, form.photometric);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, form.planar);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, form.compression);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, form.orientation);
  if (form.tile > 0) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, form.tile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, form.tile);
  } else {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP,
                 form.rowsPerStrip ? form.rowsPerStrip : static_cast<uint32_t>(layout.height));
  }
  if (form.photometric == PHOTOMETRIC_PALETTE) {
    std::vector<uint16_t> colors(256);
    for (unsigned i = 0; i < 256; ++i) colors[i] = static_cast<uint16_t>(i * 257);
    const std::vector<uint16_t> falling(colors.rbegin(), colors.rend()), one(256, 257);
    TIFFSetField(tiff, TIFFTAG_COLORMAP, colors.data(), falling.data(), one.data());
  }
  const uint16_t unspecified[2] = {EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNSPECIFIED};
  if (layout.componentsPerPixel == 5) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 2, unspecified);
  if (form.photometric == PHOTOMETRIC_YCBCR) TIFFSetField(tiff, TIFFTAG_YCBCRSUBSAMPLING, 1, 1);
  if (form.resolution > 0) {
    TIFFSetField(tiff, TIFFTAG_XRESOLUTION, form.resolution);
    TIFFSetField(tiff, TIFFTAG_YRESOLUTION, form.resolution);
  }
}

// The bitmap's components in native byte order, as libtiff is given them.
inline void writeTiff(const std::string& path, const Bitmap& bitmap, const TiffForm& form) {
  const PixelLayout& layout = bitmap.layout();
  TIFF* tiff = TIFFOpen(path.c_str(), form.mode);
  setTags(tiff, layout, form);
  const int64_t sample = layout.bitsPerComponent / 8, pixel = layout.bytesPerPixel();
  const bool separate = form.planar == PLANARCONFIG_SEPARATE;
  const auto run = [&](int64_t left, int64_t y, int64_t count, int plane) {
    std::vector<uint8_t> bytes;
    if (!separate && left + count <= layout.width && y < layout.height) {
      bytes.assign(bitmap.row(y) + left * pixel, bitmap.row(y) + (left + count) * pixel);
      return bytes;
    }
    for (int64_t x = left; x < left + count; ++x) {
      const bool inside = x < layout.width && y < layout.height;
      const uint8_t* p = inside ? bitmap.row(y) + x * pixel : bitmap.row(0);
      bytes.insert(bytes.end(), separate ? p + plane * sample : p,
                   separate ? p + (plane + 1) * sample : p + pixel);
    }
    return bytes;
  };
  for (int plane = 0; plane < (separate ? layout.componentsPerPixel : 1); ++plane) {
    for (int64_t k = 0; k < layout.height && form.tile == 0; ++k) {
      const int64_t y = form.mixed ? 2 * k % layout.height : k;
      std::vector<uint8_t> row = run(0, y, layout.width, plane);
      TIFFWriteScanline(tiff, row.data(), static_cast<uint32_t>(y), static_cast<uint16_t>(plane));
    }
    for (int64_t top = 0; form.tile > 0 && top < layout.height; top += form.tile) {
      for (int64_t left = 0; left < layout.width; left += form.tile) {
        std::vector<uint8_t> tile;
        for (int64_t y = top; y < top + form.tile; ++y) {
          const std::vector<uint8_t> row = run(left, y, form.tile, plane);
          tile.insert(tile.end(), row.begin(), row.end());
        }
        TIFFWriteTile(tiff, tile.data(), static_cast<uint32_t>(left), static_cast<uint32_t>(top), 0,
                      static_cast<uint16_t>(plane));
      }
    }
  }
  TIFFClose(tiff);
}

struct PNGForm {
  int type = PNG_COLOR_TYPE_RGB, depth = 8, interlace = PNG_INTERLACE_ADAM7;
};

// The bitmap's rows hold the pixels as the form packs them.
inline void writePNG(const std::string& path, const Bitmap& bitmap, const PNGForm& form) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, static_cast<png_uint_32>(bitmap.width()), static_cast<png_uint_32>(bitmap.height()),
               form.depth, form.type, form.interlace, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  const png_color colors[4] = {{0, 1, 2}, {10, 11, 12}, {20, 21, 22}, {30, 31, 32}};
  const png_byte alphas[4] = {10, 20, 30, 40};
  if (form.type == PNG_COLOR_TYPE_PALETTE) {
    png_set_PLTE(png, info, colors, 4);
    png_set_tRNS(png, info, alphas, 4, nullptr);
  }
  std::vector<uint8_t*> rows;
  for (int64_t y = 0; y < bitmap.height(); ++y) rows.push_back(const_cast<uint8_t*>(bitmap.row(y)));
  png_set_rows(png, info, rows.data());
  png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

inline void putBigEndian32(uint8_t* to, size_t value) {
  for (int k = 0; k < 4; ++k) to[k] = static_cast<uint8_t>(value >> (24 - 8 * k));
}

// With its length before and its checksum behind it.
inline std::vector<uint8_t> pngChunk(const std::string& name, const std::vector<uint8_t>& data) {
  const size_t length = name.size() + data.size();
  std::vector<uint8_t> chunk(4 + length + 4);
  uint8_t* const text = chunk.data() + 4;
  putBigEndian32(chunk.data(), data.size());
  std::copy(name.begin(), name.end(), text);
  std::copy(data.begin(), data.end(), text + name.size());
  putBigEndian32(text + length, crc32(0, text, static_cast<uInt>(length)));
  return chunk;
}

// Of an 8-bit RGB or CMYK bitmap; a CMYK file holds Adobe's marker and inverted ink, as its bytes are.
inline void writeJPEG(const std::string& path, const Bitmap& bitmap, bool progressive,
                      const std::vector<uint8_t>& profile = {}) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  std::FILE* file = std::fopen(path.c_str(), "wb");
  jpeg_stdio_dest(&info, file);
  info.image_width = static_cast<JDIMENSION>(bitmap.width());
  info.image_height = static_cast<JDIMENSION>(bitmap.height());
  info.input_components = bitmap.layout().componentsPerPixel;
  info.in_color_space = info.input_components == 4 ? JCS_CMYK : JCS_RGB;
  jpeg_set_defaults(&info);
  if (progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  if (!profile.empty()) jpeg_write_icc_profile(&info, profile.data(), static_cast<unsigned>(profile.size()));
  for (int64_t y = 0; y < bitmap.height(); ++y) {
    JSAMPROW row = const_cast<uint8_t*>(bitmap.row(y));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::fclose(file);
}

}  // namespace vello::testing
