#include "source/parameters/KPImageSourcePromise.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "engine/render/context.h"
#include "platform/image_file.h"
#include "platform/log.h"

namespace vello {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNoPixels = "*** Vello : the image dragged out of its well has no pixels: %@";
constexpr double kLargestSide = 1 << 20;

// A folder that goes with it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::error_code ignored;
    std::string name = (fs::temp_directory_path(ignored) / "vello-drag-XXXXXX").string();
    if (mkdtemp(name.data())) path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

Bitmap rendered(const CIImage& image, std::string* error) {
  RenderRequest request;
  request.image = image;
  request.rect = roundedOut(image.extent());
  PixelLayout layout;
  layout.width = static_cast<int64_t>(request.rect.size.width);
  layout.height = static_cast<int64_t>(request.rect.size.height);
  layout.bytesPerRow = layout.width * 4;
  layout.alpha = AlphaInfo::last;
  return CIContext().createBitmap(request, layout, ColorSpace::sRGB(), error);
}

bool hasPixels(const CGRect& extent) {
  return !isEmpty(extent) && extent.size.width <= kLargestSide && extent.size.height <= kLargestSide;
}

Data bytesOf(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Data(std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {}));
}

}  // namespace

std::optional<Data> KPImageSourcePromise::provideDataForType(std::string_view type) const {
  if (type != NSTIFFPboardType) return std::nullopt;
  std::string error = hasPixels(fImage.extent()) ? "" : "its extent";
  const Bitmap bitmap = error.empty() ? rendered(fImage, &error) : Bitmap();
  const TemporaryFolder folder;
  const fs::path file = folder.path() / "image.tif";
  if (error.empty()) error = writeImageFile(file, bitmap, {}).value_or("");
  if (error.empty()) return bytesOf(file);
  logLine(kNoPixels, {error});
  return std::nullopt;
}

}  // namespace vello
