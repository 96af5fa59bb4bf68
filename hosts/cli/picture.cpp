#include "hosts/cli/picture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "engine/catalogue/filter.h"

namespace vello::cli {
namespace {

bool canHoldAlpha(ImageFormat format) { return format != ImageFormat::jpeg; }
bool canHold16Bits(ImageFormat format) { return format != ImageFormat::jpeg; }

CIImage overWhite(const CIImage& image) {
  const auto white = CIFilter::filterWithName("CIConstantColorGenerator");
  white->setValueForKey(CIColor(1, 1, 1), "inputColor");
  const auto over = CIFilter::filterWithName("CISourceOverCompositing");
  over->setValueForKey(image, kCIInputImageKey);
  over->setValueForKey(white->outputImage(), kCIInputBackgroundImageKey);
  return over->outputImage();
}

bool isOpaque(const std::vector<uint8_t>& pixels, const PixelLayout& layout) {
  const auto pixelBytes = static_cast<size_t>(layout.bytesPerPixel());
  const size_t alphaBytes = pixelBytes / 4;
  for (size_t end = pixelBytes; end <= pixels.size(); end += pixelBytes)
    for (size_t i = end - alphaBytes; i < end; ++i)
      if (pixels[i] != 0xFF) return false;
  return true;
}

// In place: four components a pixel become the first three.
void dropAlpha(std::vector<uint8_t>& pixels, PixelLayout& layout) {
  const auto from = static_cast<size_t>(layout.bytesPerPixel());
  layout.componentsPerPixel = 3;
  layout.alpha = AlphaInfo::none;
  layout.bytesPerRow = layout.bytesPerPixel() * layout.width;
  const auto to = static_cast<size_t>(layout.bytesPerPixel());
  const size_t count = pixels.size() / from;
  for (size_t i = 0; i < count; ++i) std::memmove(pixels.data() + i * to, pixels.data() + i * from, to);
  pixels.resize(count * to);
}

}  // namespace

PixelLayout layoutFor(const PictureRequest& request) {
  PixelLayout layout;
  layout.width = static_cast<int64_t>(request.rect.size.width);
  layout.height = static_cast<int64_t>(request.rect.size.height);
  layout.bitsPerComponent = request.depth;
  layout.componentsPerPixel = canHoldAlpha(request.format) ? 4 : 3;
  layout.alpha = !canHoldAlpha(request.format) ? AlphaInfo::none
                 : request.premultiplied       ? AlphaInfo::premultipliedLast
                                               : AlphaInfo::last;
  layout.littleEndian = request.depth == 16;
  layout.bytesPerRow = layout.bytesPerPixel() * layout.width;
  return layout;
}

RenderRequest renderRequestFor(const PictureRequest& request) {
  RenderRequest render;
  render.image = canHoldAlpha(request.format) ? request.image : overWhite(request.image);
  render.rect = request.rect;
  render.progress = request.progress;
  return render;
}

std::string sizeProblem(const PixelLayout& layout) {
  const int64_t memory = int64_t{sysconf(_SC_PHYS_PAGES)} * sysconf(_SC_PAGESIZE);
  if (layout.bytesPerRow <= memory / 2 / layout.height) return "";
  return "a picture of " + std::to_string(layout.width) + " x " + std::to_string(layout.height) +
         " pixels is too large for this machine's memory";
}

Picture renderPicture(const PictureRequest& request) {
  PixelLayout layout = layoutFor(request);
  Picture picture;
  picture.error = sizeProblem(layout);
  if (!picture.ok()) return picture;
  std::vector<uint8_t> pixels(static_cast<size_t>(layout.bytesPerRow * layout.height));
  picture.error =
      CIContext(request.options).render(renderRequestFor(request), layout, request.space, pixels.data());
  if (!picture.ok()) return picture;
  if (layout.hasAlpha() && !request.keepAlpha && isOpaque(pixels, layout)) dropAlpha(pixels, layout);
  picture.bitmap = Bitmap(layout, request.space, Data(std::move(pixels)));
  return picture;
}

ColorSpacePtr resultSpace(const Bitmap& bitmap) {
  const ColorSpacePtr& space = bitmap.space();
  const bool writable = space && space->model() == ColorSpace::Model::rgb && space->isMatrix();
  return writable ? space : ColorSpace::sRGB();
}

Bitmap taggedAs(const Bitmap& bitmap, const ColorSpacePtr& space) {
  const auto owner = std::make_shared<const Bitmap>(bitmap);
  return {bitmap.layout(), space, owner, owner->row(0)};
}

int resultDepth(const std::optional<int>& asked, int sourceBits, ImageFormat format) {
  if (!canHold16Bits(format)) return 8;
  return asked.value_or(sourceBits > 8 ? 16 : 8);
}

std::optional<std::string> depthProblem(const std::optional<int>& depth, ImageFormat format) {
  if (depth.value_or(8) <= 8 || canHold16Bits(format)) return std::nullopt;
  return std::string(formatName(format)) + " holds 8 bits per component, not " + std::to_string(*depth);
}

FormatChoice formatForOutput(const std::string& path, const std::string& asked) {
  for (const ImageFormat format : {ImageFormat::tiff, ImageFormat::png, ImageFormat::jpeg})
    if (asked == formatName(format)) return {format, ""};
  const auto byName = imageFormatForPath(path);
  if (!byName) return {{}, path + ": the name says no picture format; use .tif, .png or .jpg, or --format"};
  if (*byName == ImageFormat::webp) return {{}, path + ": WebP is read, but not written"};
  return {*byName, ""};
}

const char* formatName(ImageFormat format) {
  switch (format) {
    case ImageFormat::tiff:
      return "tiff";
    case ImageFormat::png:
      return "png";
    case ImageFormat::jpeg:
      return "jpeg";
    case ImageFormat::webp:
      return "webp";
  }
  return "";
}

std::optional<std::string> outputProblem(const std::string& path) {
  if (path == "-") return "pictures are not written to standard output";
  struct stat info;
  if (stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode)) return std::nullopt;
  return path + (S_ISDIR(info.st_mode) ? ": it is a folder" : ": it is no regular file");
}

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat infoA, infoB;
  return stat(a.c_str(), &infoA) == 0 && stat(b.c_str(), &infoB) == 0 && infoA.st_dev == infoB.st_dev &&
         infoA.st_ino == infoB.st_ino;
}

}  // namespace vello::cli
