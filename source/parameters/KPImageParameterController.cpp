#include "source/parameters/KPImageParameterController.h"

#include "source/geometry/KPRectTemplate.h"
#include "source/geometry/rect_functions.h"
#include "source/geometry/rect_text.h"
#include "source/parameters/chain_pictures.h"
#include "source/parameters/default_pictures.h"

namespace vello {
namespace {

// Images that a filter tiles or maps have no place of their own.
bool isPlaced(std::string_view key) {
  return key != "inputTexture" && key != "inputShadingImage" && key != "inputGradientImage";
}

// The largest size of `size`'s proportions that fits into `room`.
KPSizeTemplate fittingSize(const KPSizeTemplate& size, const KPSizeTemplate& room) {
  const float ratio = size.Width() / size.Height();
  const float height = room.Width() / ratio;
  if (height > room.Height()) return {ratio * room.Height(), room.Height()};
  return {room.Width(), height};
}

std::string textIn(const PropertyListDictionary& values, std::string_view key) {
  const PropertyList* entry = values.find(key);
  return entry && entry->string() ? *entry->string() : std::string();
}

}  // namespace

std::unique_ptr<KPImageParameterController> KPImageParameterController::controllerForFilter(
    std::shared_ptr<CIFilter> filter, std::string parameter) {
  return create<KPImageParameterController>(std::move(filter), std::move(parameter));
}

KPImageParameterController::KPImageParameterController(std::shared_ptr<CIFilter> filter,
                                                       std::string parameter)
    : KPCoreImageParameterController(std::move(filter), std::move(parameter), kFastUpdateDelay),
      fCanManipulateImage(isPlaced(fKey)) {}

void KPImageParameterController::initControls() {
  if (fCanManipulateImage) announcePositionControl();
  const std::string path = defaultPicturePath(fFilter->name(), fKey);
  if (!path.empty()) setImageParameterWithPath(path);
}

void KPImageParameterController::removingFilter() {
  if (fCanManipulateImage) withdrawPositionControl();
  KPCoreImageParameterController::removingFilter();
}

void KPImageParameterController::reset() {
  if (fCanManipulateImage) setRectValue(centeredAndConstrainedBounds(rectValue()));
}

bool KPImageParameterController::setImageParameterWithPath(const std::string& path) {
  CIImage image = pictureAtPath(path);
  if (image.isNil()) return false;
  fSourceImageFilename = path;
  setImageParameterWithImage(std::move(image));
  return true;
}

void KPImageParameterController::setImageParameterWithImage(CIImage image) {
  if (image.isNil()) return;
  if (fCanManipulateImage) {
    const CGRect extent = image.extent();
    const CGRect place = centeredAndConstrainedBounds(extent);
    if (place != extent) image = image.imageByApplyingTransform(NSRectToNSRectTransform(extent, place));
  }
  setFilterValue(std::move(image));
}

CGRect KPImageParameterController::centeredAndConstrainedBounds(const CGRect& rect) const {
  const KPRectTemplate bounds = fImageBounds;
  KPRectTemplate placed = rect;
  placed.CenterOn(bounds.Center());
  const KPRectTemplate room = bounds.GetConstrainedRect(placed);
  if (room == placed) return placed;
  const KPSizeTemplate size = fittingSize(placed.Size(), room.Size());
  placed.Inset((placed.Width() - size.Width()) * 0.5f, (placed.Height() - size.Height()) * 0.5f);
  return placed;
}

CIImage KPImageParameterController::filterImage() const {
  const CIImage* image = filterValue().image();
  return image ? *image : CIImage();
}

CGRect KPImageParameterController::rectValue() const { return filterImage().extent(); }

void KPImageParameterController::setRectValue(const CGRect& rect) {
  const CGRect extent = rectValue();
  if (isEmpty(extent) || isEmpty(rect)) return;
  setFilterValue(filterImage().imageByApplyingTransform(NSRectToNSRectTransform(extent, rect)));
}

void KPImageParameterController::addValueToDict(PropertyListDictionary& dict, const CGRect& imageRect) const {
  PropertyListDictionary values;
  if (!fSourceImageFilename.empty()) {
    values.set("path", fSourceImageFilename);
    values.set("bounds", NSStringFromRect(rectValue()));
    values.set("source", NSStringFromRect(imageRect));
  }
  dict.set(fKey, std::move(values));
}

void KPImageParameterController::setValueFromDict(const PropertyListDictionary& dict,
                                                  const CGRect& imageRect) {
  const PropertyList* entry = dict.find(fKey);
  const PropertyListDictionary* values = entry ? entry->dictionary() : nullptr;
  const std::string path = values ? textIn(*values, "path") : std::string();
  if (path.empty() || !setImageParameterWithPath(path)) return;
  if (NSRectFromString(textIn(*values, "source")) == imageRect)
    setRectValue(NSRectFromString(textIn(*values, "bounds")));
}

}  // namespace vello
