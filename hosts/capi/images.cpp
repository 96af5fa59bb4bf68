// Images, their bytes and their colour spaces.
#include "engine/render/context.h"
#include "hosts/capi/guarded.h"
#include "hosts/capi/host_pixels.h"
#include "hosts/capi/objects.h"
#include "platform/image_file.h"
#include "source/core/session/KPImageFilter.h"

using vello::AlphaInfo;
using vello::Bitmap;
using vello::ColorSpace;
using vello::ColorSpacePtr;
using vello::guarded;
using vello::logLine;
using vello::PixelLayout;

namespace {

constexpr const char* kBadImage = "*** Vello : the image's pixels cannot be used: %@\n";
constexpr const char* kBadFile = "*** Vello : %@\n";
constexpr const char* kNoImage = "*** Vello : there is no image to write to %@\n";

CGImageRef noImage(const std::string& reason) {
  logLine(kBadImage, {reason});
  return nullptr;
}

CGColorSpaceRef newSpace(ColorSpacePtr space) { return space ? new CGColorSpace(std::move(space)) : nullptr; }

// nullptr for NULL, so that every reader below can begin alike.
const Bitmap* bitmapOf(CGImageRef image) { return image ? &image->image.bitmap : nullptr; }

Bitmap bitmapOver(const PixelLayout& layout, CGColorSpaceRef space, const vello::SharedBytes& content,
                  const CGFloat* decode) {
  const ColorSpacePtr own = space ? space->space : nullptr;
  if (!decode || vello::isIdentityDecode(decode, layout.colorComponents()))
    return Bitmap(layout, own, content.owner, content.bytes);
  return Bitmap(layout, own, vello::decodedPixels(layout, content.bytes, decode));
}

// What a file of `format` can hold of a bitmap.
PixelLayout fileLayout(const Bitmap& bitmap, vello::ImageFormat format) {
  PixelLayout layout;
  layout.width = bitmap.width();
  layout.height = bitmap.height();
  const bool jpeg = format == vello::ImageFormat::jpeg;
  layout.bitsPerComponent = jpeg || bitmap.layout().bitsPerComponent == 8 ? 8 : 16;
  const bool alpha = bitmap.layout().hasAlpha() && !jpeg;
  layout.alpha = alpha ? AlphaInfo::last : AlphaInfo::none;
  layout.componentsPerPixel = alpha ? 4 : 3;
  layout.bytesPerRow = layout.width * layout.bytesPerPixel();
  return layout;
}

std::string write(const Bitmap& bitmap, const std::string& path) {
  const auto format = vello::imageFormatForPath(path);
  if (!format || *format == vello::ImageFormat::webp)
    return path + ": the name must end in .tif, .tiff, .png, .jpg or .jpeg";
  const ColorSpacePtr& own = bitmap.space();
  const bool writable = own->isMatrix() && own->model() == ColorSpace::Model::rgb;
  vello::RenderRequest request;
  request.image = vello::CIImage::imageWithBitmap(bitmap);
  request.rect = request.image.extent();
  std::string error;
  const Bitmap result = vello::CIContext().createBitmap(request, fileLayout(bitmap, *format),
                                                        writable ? own : ColorSpace::sRGB(), &error);
  if (!error.empty()) return path + ": " + error;
  vello::ImageWriteOptions options;
  options.format = *format;
  return vello::writeImageFile(path, result, options).value_or("");
}

}  // namespace

CGDataProviderRef KP_CGDataProviderCreateWithCFData(CFDataRef data) {
  return guarded("KP_CGDataProviderCreateWithCFData", static_cast<CGDataProviderRef>(nullptr),
                 [&] { return data ? new CGDataProvider(data->content) : nullptr; });
}

CGImageRef KP_CGImageCreate(size_t width, size_t height, size_t bitsPerComponent, size_t bitsPerPixel,
                            size_t bytesPerRow, CGColorSpaceRef space, uint32_t bitmapInfo,
                            CGDataProviderRef provider, const CGFloat* decode, int32_t,
                            int32_t renderingIntent) {
  return guarded("KP_CGImageCreate", static_cast<CGImageRef>(nullptr), [&]() -> CGImageRef {
    if (!provider) return noImage("there is no data provider");
    const auto [layout, error] =
        vello::layoutOfHostPixels({width, height, bitsPerComponent, bitsPerPixel, bytesPerRow,
                                   space ? space->space.get() : nullptr, bitmapInfo});
    if (!error.empty()) return noImage(error);
    if (const auto problem = checkLayout(layout, provider->content.length)) return noImage(*problem);
    return new CGImage({bitmapOver(layout, space, provider->content, decode), renderingIntent});
  });
}

CGColorSpaceRef CreateCGColorSpaceFromProfile(const void* profileBytes, int32_t length) {
  const CGColorSpaceRef space =
      length >= 1 ? VelloColorSpaceCreateWithProfile(profileBytes, static_cast<size_t>(length)) : nullptr;
  return space ? space : VelloColorSpaceCreateWithName("generic RGB");
}

CGColorSpaceRef VelloColorSpaceCreateWithName(const char* name) {
  return guarded("VelloColorSpaceCreateWithName", static_cast<CGColorSpaceRef>(nullptr),
                 [&] { return name ? newSpace(ColorSpace::named(name)) : nullptr; });
}

CGColorSpaceRef VelloColorSpaceCreateWithProfile(const void* profileBytes, size_t length) {
  return guarded(
      "VelloColorSpaceCreateWithProfile", static_cast<CGColorSpaceRef>(nullptr), [&]() -> CGColorSpaceRef {
        if (!profileBytes || length == 0) return nullptr;
        return newSpace(ColorSpace::fromProfile({static_cast<const uint8_t*>(profileBytes), length}));
      });
}

CFStringRef VelloColorSpaceCopyName(CGColorSpaceRef space) {
  return guarded("VelloColorSpaceCopyName", static_cast<CFStringRef>(nullptr),
                 [&] { return space ? new __CFString(space->space->name()) : nullptr; });
}

CFDataRef VelloColorSpaceCopyProfile(CGColorSpaceRef space) {
  return guarded("VelloColorSpaceCopyProfile", static_cast<CFDataRef>(nullptr),
                 [&] { return space ? new __CFData(vello::SharedBytes(space->space->profile())) : nullptr; });
}

CGImageRef VelloImageCreateWithFile(const char* path) {
  return guarded("VelloImageCreateWithFile", static_cast<CGImageRef>(nullptr), [&]() -> CGImageRef {
    if (!path) return nullptr;
    const vello::ImageReadResult read = vello::readImageFile(path);
    for (const std::string& warning : read.warnings) logLine(kBadFile, {warning});
    if (read.ok()) return new CGImage({read.bitmap, 0});
    logLine(kBadFile, {read.error});
    return nullptr;
  });
}

int32_t VelloImageWriteToFile(CGImageRef image, const char* path) {
  return guarded("VelloImageWriteToFile", int32_t{-1}, [&]() -> int32_t {
    if (!image || !path) return logLine(kNoImage, {path ? path : "no file"}), -1;
    const std::string error = write(image->image.bitmap, path);
    if (!error.empty()) logLine(kBadFile, {error});
    return error.empty() ? 0 : -1;
  });
}

size_t VelloImageGetWidth(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? static_cast<size_t>(bitmap->width()) : 0;
}

size_t VelloImageGetHeight(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? static_cast<size_t>(bitmap->height()) : 0;
}

size_t VelloImageGetBitsPerComponent(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? static_cast<size_t>(bitmap->layout().bitsPerComponent) : 0;
}

size_t VelloImageGetBitsPerPixel(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? static_cast<size_t>(bitmap->layout().bytesPerPixel()) * 8 : 0;
}

size_t VelloImageGetBytesPerRow(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? static_cast<size_t>(bitmap->layout().bytesPerRow) : 0;
}

uint32_t VelloImageGetBitmapInfo(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? vello::bitmapInfoOfLayout(bitmap->layout()) : 0;
}

const void* VelloImageGetBytes(CGImageRef image) {
  const Bitmap* bitmap = bitmapOf(image);
  return bitmap ? bitmap->row(0) : nullptr;
}

CGColorSpaceRef VelloImageCopyColorSpace(CGImageRef image) {
  return guarded("VelloImageCopyColorSpace", static_cast<CGColorSpaceRef>(nullptr),
                 [&] { return image ? newSpace(image->image.bitmap.space()) : nullptr; });
}

CGColorSpaceRef VelloImageCopyResultColorSpace(CGImageRef image) {
  return guarded("VelloImageCopyResultColorSpace", static_cast<CGColorSpaceRef>(nullptr),
                 [&]() -> CGColorSpaceRef {
                   if (!image) return nullptr;
                   const auto session = vello::KPImageFilter::imageFilterWithCGImage(image->image);
                   return newSpace(session->windowController().resultColorSpace());
                 });
}
