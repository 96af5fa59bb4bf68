// Picture files in forms that our own writers do not make.
#pragma once

#include <tiffio.h>

#include <cstdio>
// jpeglib.h needs FILE
#include <jpeglib.h>
#include <png.h>

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
  uint16_t photometric = PHOTOMETRIC_RGB;
  uint16_t orientation = 1;
};

inline void setTags(TIFF* tiff, const PixelLayout& layout, const TiffForm& form) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(layout.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(layout.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, layout.bitsPerComponent);
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
    TIFFSetField(tiff, TIFFTAG_COLORMAP, colors.data(), colors.data(), colors.data());
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
    for (int64_t y = 0; y < layout.height && form.tile == 0; ++y) {
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

// Of an 8-bit RGB bitmap.
inline void writeInterlacedPNG(const std::string& path, const Bitmap& bitmap) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_IHDR(png, info, static_cast<png_uint_32>(bitmap.width()), static_cast<png_uint_32>(bitmap.height()),
               8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_ADAM7, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  std::vector<uint8_t*> rows;
  for (int64_t y = 0; y < bitmap.height(); ++y) rows.push_back(const_cast<uint8_t*>(bitmap.row(y)));
  png_set_rows(png, info, rows.data());
  png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
  png_destroy_write_struct(&png, &info);
  std::fclose(file);
}

// Of an 8-bit RGB bitmap.
inline void writeProgressiveJPEG(const std::string& path, const Bitmap& bitmap) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  std::FILE* file = std::fopen(path.c_str(), "wb");
  jpeg_stdio_dest(&info, file);
  info.image_width = static_cast<JDIMENSION>(bitmap.width());
  info.image_height = static_cast<JDIMENSION>(bitmap.height());
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  for (int64_t y = 0; y < bitmap.height(); ++y) {
    JSAMPROW row = const_cast<uint8_t*>(bitmap.row(y));
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  std::fclose(file);
}

}  // namespace vello::testing
