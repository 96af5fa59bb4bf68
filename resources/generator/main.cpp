// Makes the pictures of this repository.
//   vello-resources ROOT [NAME...]        writes them (those whose path holds a NAME) below ROOT
//   vello-resources --check ROOT [NAME...] compares those below ROOT with newly made ones, byte for byte
// Lossy files are compared with an allowance.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/image_file.h"
#include "resources/generator/defaults.h"
#include "resources/generator/scenes.h"

namespace {

using namespace vello;
using namespace vello::pictures;

struct File {
  const char* path;
  Picture (*make)();
  Layout layout = Layout::rgb8;
  const char* space = "sRGB";
  double dpi = 72;
};

const File kFiles[] = {
    {"resources/images/Default_Mask.tif", mask},
    {"resources/images/Default_Colormap.tif", colorMap},
    {"resources/images/Default_Texture.tif", texture},
    {"resources/images/Default_Material.tif", material},
    {"resources/images/Default_Shading.tif", shading},
    {"resources/images/Placeholder.tif", placeholder},
    {"resources/images/Pattern.tif", pattern},
    {"resources/images/Sample.tif", sample},
    {"examples/pictures/lake.jpg", [] { return lake(1600, 1067); }, Layout::rgb8, "sRGB", 240},
    {"examples/pictures/still-life.png", [] { return stillLife(720, 900); }, Layout::rgb8, "sRGB", 150},
    {"examples/pictures/balloon.png", [] { return balloon(700, 900); }, Layout::rgba8, "sRGB", 150},
    {"examples/pictures/dunes.tif", [] { return dunes(640, 427); }, Layout::rgb16, "sRGB", 150},
    {"examples/pictures/gerbera.jpg", [] { return gerbera(900, 900); }, Layout::rgb8, "Display P3", 240},
};

bool fail(const std::string& text) {
  std::fprintf(stderr, "vello-resources: %s\n", text.c_str());
  return false;
}

bool write(const File& file, const std::string& path) {
  ImageWriteOptions options;
  options.format = *imageFormatForPath(path);
  options.jpegQuality = 91;
  options.metadata.dpiX = options.metadata.dpiY = file.dpi;
  const auto error = writeImageFile(path, bitmapOf(file.make(), file.layout, file.space), options);
  if (error) return fail(*error);
  std::printf("%s\n", path.c_str());
  return true;
}

// Average distance of two pictures' bytes; negative when their layouts differ.
double distance(const Bitmap& a, const Bitmap& b) {
  const PixelLayout &la = a.layout(), &lb = b.layout();
  if (la.width != lb.width || la.height != lb.height || la.bitsPerComponent != lb.bitsPerComponent ||
      la.componentsPerPixel != lb.componentsPerPixel)
    return -1;
  const int64_t row = la.width * la.bytesPerPixel();
  int64_t sum = 0;
  for (int64_t y = 0; y < la.height; ++y)
    for (int64_t i = 0; i < row; ++i) sum += std::abs(a.row(y)[i] - b.row(y)[i]);
  return static_cast<double>(sum) / static_cast<double>(row * la.height);
}

bool check(const File& file, const std::string& path) {
  const ImageReadResult stored = readImageFile(path);
  if (!stored.ok()) return fail(stored.error);
  const double allowed = stored.info.format == ImageFormat::jpeg ? 3 : 0;
  const double found = distance(stored.bitmap, bitmapOf(file.make(), file.layout, file.space));
  if (found < 0) return fail(path + ": has another size or depth than the one made now");
  if (found > allowed) return fail(path + ": differs from the one made now");
  return true;
}

bool wanted(const char* path, int argc, char** names) {
  for (int i = 0; i < argc; ++i)
    if (std::strstr(path, names[i])) return true;
  return argc == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const bool checks = argc > 1 && std::strcmp(argv[1], "--check") == 0;
  const int first = checks ? 2 : 1;
  if (argc <= first) return fail("usage: vello-resources [--check] ROOT [NAME...]") ? 0 : 2;
  bool good = true;
  int done = 0;
  for (const File& file : kFiles) {
    if (!wanted(file.path, argc - first - 1, argv + first + 1)) continue;
    const std::string path = std::string(argv[first]) + "/" + file.path;
    good = (checks ? check(file, path) : write(file, path)) && good;
    ++done;
  }
  if (done == 0) return fail("no picture has such a name") ? 0 : 2;
  return good ? 0 : 1;
}
