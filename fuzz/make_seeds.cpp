// Writes small valid files for the fuzz targets to start from: make_seeds FOLDER makes FOLDER/<target>/...
#include <webp/encode.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "platform/image_codecs/exif.h"
#include "platform/image_file.h"

namespace vello {
namespace {

Bitmap picture(int bits, int components, AlphaInfo alpha) {
  PixelLayout layout{
      .width = 16, .height = 9, .bitsPerComponent = bits, .componentsPerPixel = components, .alpha = alpha};
  layout.bytesPerRow = layout.width * layout.bytesPerPixel();
  std::vector<uint8_t> bytes(static_cast<size_t>(layout.bytesPerRow * layout.height));
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * i / 7);
  return Bitmap(layout, nullptr, Data(std::move(bytes)));
}

ImageMetadata metadata() {
  const std::string xmp = "<x:xmpmeta tiff:Orientation=\"6\"/>";
  return {300, 350.5, makeExif(300, 350.5), {0x1c, 2, 120, 0, 1, 'a'}, {xmp.begin(), xmp.end()}};
}

void write(const std::filesystem::path& path, const uint8_t* bytes, size_t count) {
  std::filesystem::create_directories(path.parent_path());
  writeFileAtomically(path.string(), {bytes, count});
}

void writePictures(const std::filesystem::path& folder) {
  struct Kind {
    const char* file;
    ImageFormat format;
    int bits, components;
    AlphaInfo alpha;
  };
  const Kind kinds[] = {
      {"tiff_fuzz/rgb8", ImageFormat::tiff, 8, 3, AlphaInfo::none},
      {"tiff_fuzz/rgba16", ImageFormat::tiff, 16, 4, AlphaInfo::premultipliedLast},
      {"tiff_fuzz/gray8", ImageFormat::tiff, 8, 1, AlphaInfo::none},
      {"png_fuzz/rgb8", ImageFormat::png, 8, 3, AlphaInfo::none},
      {"png_fuzz/rgba16", ImageFormat::png, 16, 4, AlphaInfo::last},
      {"jpeg_fuzz/rgb", ImageFormat::jpeg, 8, 3, AlphaInfo::none},
      {"jpeg_fuzz/gray", ImageFormat::jpeg, 8, 1, AlphaInfo::none},
  };
  for (const Kind& kind : kinds) {
    const std::filesystem::path path = folder / kind.file;
    std::filesystem::create_directories(path.parent_path());
    ImageWriteOptions options{.format = kind.format, .metadata = metadata()};
    const auto error =
        writeImageFile(path.string(), picture(kind.bits, kind.components, kind.alpha), options);
    if (error) std::fprintf(stderr, "%s\n", error->c_str());
  }
}

void writeWebP(const std::filesystem::path& folder) {
  const Bitmap bitmap = picture(8, 3, AlphaInfo::none);
  uint8_t* bytes = nullptr;
  const size_t lossless = WebPEncodeLosslessRGB(bitmap.row(0), 16, 9, 16 * 3, &bytes);
  write(folder / "webp_fuzz/lossless", bytes, lossless);
  WebPFree(bytes);
  const size_t lossy = WebPEncodeRGB(bitmap.row(0), 16, 9, 16 * 3, 80, &bytes);
  write(folder / "webp_fuzz/lossy", bytes, lossy);
  WebPFree(bytes);
}

void writeProfiles(const std::filesystem::path& folder) {
  for (const char* name : {"sRGB", "Adobe RGB", "generic gray"}) {
    const Data& profile = ColorSpace::named(name)->profile();
    write(folder / "profile_fuzz" / name, profile.data(), profile.size());
  }
}

}  // namespace
}  // namespace vello

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: make_seeds FOLDER\n"), 2;
  vello::writePictures(argv[1]);
  vello::writeWebP(argv[1]);
  vello::writeProfiles(argv[1]);
}
