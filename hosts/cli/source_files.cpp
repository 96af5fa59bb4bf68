#include "hosts/cli/source_files.h"

#include <algorithm>

namespace vello::cli {
namespace {

constexpr int64_t kMostBytesAhead = int64_t{16} << 20;

}  // namespace

std::string SourceFile::provide(int64_t begin, int64_t end) {
  if (ahead_.valid()) ahead_.get();
  if (picture_->storage() != StreamedPicture::Storage::inMemory) picture_->release(begin);
  const int64_t height = picture_->bitmap().height();
  if (!picture_->isRowByRow()) {
    asked_ = height;
    return picture_->provide(height);
  }
  std::string problem = picture_->provide(end);  // reading ahead may find the next one
  const int64_t most = kMostBytesAhead / std::max<int64_t>(1, picture_->bitmap().layout().bytesPerRow);
  if (problem.empty() && end > asked_) readAhead(std::min(height, end + std::min(end - asked_, most)));
  asked_ = std::max(asked_, end);
  return problem;
}

// As many rows as were asked for the last time, where those were not very many. An error comes when they are
// asked for.
void SourceFile::readAhead(int64_t end) {
  ahead_ = std::async(std::launch::async, [picture = picture_.get(), end] { picture->provide(end); });
}

std::string SourceFile::provideRest() {
  constexpr int64_t kRows = 64;
  const int64_t height = picture_->bitmap().height();
  std::string problem;
  while (asked_ < height && problem.empty()) problem = provide(asked_, asked_ + kRows);
  return problem;
}

SourceFiles::SourceFiles(const std::string& source, bool randomAccess) : randomAccess_(randomAccess) {
  open(source, 0);
}

const SourceFile* SourceFiles::open(const std::string& path, int64_t maxPixels) {
  std::string problem;
  auto picture =
      StreamedPicture::open(path, {.limits = {.pixels = maxPixels}, .randomAccess = randomAccess_}, &problem);
  if (picture) return &files_.emplace_back(std::move(picture));
  if (error_.empty()) error_ = problem;
  return nullptr;
}

CIImage SourceFiles::picture(const std::string& path, int64_t maxPixels) {
  const SourceFile* file = open(path, maxPixels);
  return file ? CIImage::imageWithBitmap(file->picture().bitmap()) : CIImage();
}

std::string SourceFiles::provide(const std::vector<SourceRows>& rows) {
  for (const SourceRows& part : rows)
    for (SourceFile& file : files_)
      if (file.picture().bitmap().serial() == part.serial)
        if (std::string problem = file.provide(part.begin, part.end); !problem.empty()) return problem;
  return {};
}

std::string SourceFiles::provideRest() {
  for (SourceFile& file : files_)
    if (std::string problem = file.provideRest(); !problem.empty()) return problem;
  return {};
}

}  // namespace vello::cli
