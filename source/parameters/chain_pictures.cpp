#include "source/parameters/chain_pictures.h"

#include <utility>

#include "platform/log.h"
#include "source/parameters/default_pictures.h"
#include "source/parameters/picture_file.h"

namespace vello {
namespace {

constexpr const char* kTooMany = "*** Vello : the chain names more pictures than it may: %@ is not read\n";

thread_local ChainPictures* innermost = nullptr;
thread_local PictureReader readFile = readPicture;

}  // namespace

ChainPictures::ChainPictures(size_t maxFiles, int64_t maxPixels)
    : maxFiles_(maxFiles), pixelsLeft_(maxPixels), outer_(std::exchange(innermost, this)) {}

ChainPictures::~ChainPictures() { innermost = outer_; }

ChainPictures* ChainPictures::current() { return innermost; }

CIImage ChainPictures::pictureAtPath(const std::string& path) {
  const auto known = pictures_.find(path);
  if (known != pictures_.end()) return known->second;
  if (pictures_.size() >= maxFiles_ || pixelsLeft_ <= 0) {
    logLine(kTooMany, {path});
    return {};
  }
  CIImage& image = pictures_[path];
  image = readFile(path, pixelsLeft_);
  if (const Bitmap* bitmap = image.sourceBitmap()) pixelsLeft_ -= bitmap->width() * bitmap->height();
  return image;
}

PictureReaderScope::PictureReaderScope(PictureReader reader)
    : outer_(std::exchange(readFile, std::move(reader))) {}

PictureReaderScope::~PictureReaderScope() { readFile = std::move(outer_); }

CIImage pictureAtPath(const std::string& path) {
  if (const auto image = defaultPictureAtPath(path)) return *image;
  ChainPictures* chain = ChainPictures::current();
  return chain ? chain->pictureAtPath(path) : readFile(path, 0);
}

}  // namespace vello
