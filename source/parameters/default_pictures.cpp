#include "source/parameters/default_pictures.h"

#include <map>
#include <mutex>

#include "platform/log.h"
#include "platform/resources.h"
#include "source/parameters/picture_file.h"

namespace vello {
namespace {

constexpr const char* kNotInstalled = "*** Vello : the default picture %@ is not installed\n";

constexpr const char* kMask = "images/Default_Mask.tif";
constexpr const char* kColormap = "images/Default_Colormap.tif";
constexpr const char* kTexture = "images/Default_Texture.tif";
constexpr const char* kMaterial = "images/Default_Material.tif";
constexpr const char* kShading = "images/Default_Shading.tif";
constexpr const char* kPlaceholder = "images/Placeholder.tif";

const char* pictureName(std::string_view filterName, std::string_view key) {
  if (key == "inputMaskImage" || key == "inputDisplacementImage") return kMask;
  if (key == "inputGradientImage") return kColormap;
  if (key == "inputTexture") return kTexture;
  if (key == "inputShadingImage") return filterName == "CIShadedMaterial" ? kMaterial : kShading;
  return kPlaceholder;
}

class Pictures {
 public:
  static Pictures& shared() {
    static Pictures pictures;
    return pictures;
  }
  std::string path(std::string_view name) const {
    const auto found = paths_.find(name);
    return found == paths_.end() ? std::string() : found->second;
  }
  std::optional<CIImage> imageAtPath(const std::string& path) {
    const auto found = byPath_.find(path);
    if (found == byPath_.end()) return std::nullopt;
    Picture& picture = found->second;
    std::call_once(picture.decoded, [&] { picture.image = readPicture(path); });
    return picture.image;
  }

 private:
  struct Picture {
    std::once_flag decoded;
    CIImage image;
  };
  Pictures() {
    for (const char* name : {kMask, kColormap, kTexture, kMaterial, kShading, kPlaceholder}) {
      const auto path = pathForResource(name);
      if (!path) {
        logLine(kNotInstalled, {name});
        continue;
      }
      paths_[name] = *path;
      byPath_[*path];
    }
  }
  std::map<std::string, std::string, std::less<>> paths_;  // by name
  std::map<std::string, Picture> byPath_;
};

}  // namespace

std::string defaultPicturePath(std::string_view filterName, std::string_view key) {
  return Pictures::shared().path(pictureName(filterName, key));
}

std::optional<CIImage> defaultPictureAtPath(const std::string& path) {
  return Pictures::shared().imageAtPath(path);
}

}  // namespace vello
