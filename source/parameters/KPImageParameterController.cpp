#include "source/parameters/KPImageParameterController.h"

#include <cmath>

#include "platform/log.h"
#include "platform/number_text.h"
#include "source/geometry/KPRectTemplate.h"
#include "source/geometry/rect_functions.h"
#include "source/geometry/rect_text.h"
#include "source/parameters/chain_pictures.h"
#include "source/parameters/default_pictures.h"
#include "source/parameters/vector_encoding.h"

namespace vello {
namespace {

constexpr const char* kNoPixels = "*** Vello : %@: an image of the size %@ x %@ was refused";
constexpr const char* kBadPlace = "*** Vello : %@: an image cannot be placed at %@";
constexpr double kSameLength = 0.001;  // of a side that is moved, not resized

// One direction of a rectangle.
struct Span {
  double from, length;
  double to() const { return from + length; }
};
Span horizontal(const CGRect& rect) { return {rect.origin.x, rect.size.width}; }
Span vertical(const CGRect& rect) { return {rect.origin.y, rect.size.height}; }

// Moved back inside, or the edge that was dragged out put on the bounds' edge.
Span heldInside(Span span, const Span& current, const Span& bounds) {
  const bool isMove = std::fabs(span.length - current.length) < kSameLength;
  if (span.to() > bounds.to()) {
    (isMove ? span.from : span.length) -= span.to() - bounds.to();
  } else if (span.from < bounds.from) {
    if (!isMove) span.length = span.to() - bounds.from;
    span.from = bounds.from;
  }
  return span;
}

Span validatedSpan(const Span& proposed, const Span& current, const Span& bounds) {
  Span span = heldInside(proposed, current, bounds);
  if (span.length != 0) return span;
  if (span.to() >= bounds.to()) span.from -= 1;
  span.length = 1;
  return span;
}

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
  fLabelView.setDisplayLabel(inputAttributes().displayName);
  initWell();
  if (fCanManipulateImage) initRectView();
  const std::string path = defaultPicturePath(fFilter->name(), fKey);
  if (!path.empty()) setImageParameterWithPath(path);
}

void KPImageParameterController::initWell() {
  fImageView.setAction([this] { imageChanged(); });
  fImageView.setFileAction([this](const std::string& path) { setSourceImageFilename(path); });
  fChooseButton.setAction([this] { chooseImage(); });
}

void KPImageParameterController::initRectView() {
  fRectView = std::make_unique<KPRectParameterView>(canvasTitle(), true, *this);
  announcePositionControl();
  KPProperty place = property([this] { return Value(vectorWithRect(rectValue())); },
                              [this](const Value& v) { setRectValue(vello::rectValue(*v.vector())); });
  place.validate = [this](const Value& v) {
    return Value(vectorWithRect(validateRectValue(vello::rectValue(*v.vector()))));
  };
  fRectView->bind(std::move(place));
}

void KPImageParameterController::setImageBounds(const CGRect& bounds) {
  fImageBounds = bounds;
  if (fRectView) fRectView->setConstrainingRect(bounds);
}

void KPImageParameterController::removingFilter() {
  if (fRectView) {
    fRectView->unbind();
    withdrawPositionControl();
  }
  KPCoreImageParameterController::removingFilter();
}

void KPImageParameterController::chooseImage() {
  KPScreen* screen = KPScreen::current();
  if (const auto path = screen ? screen->runOpenPanel() : std::nullopt) setImageParameterWithPath(*path);
}

// Dropped pixels come from no file.
void KPImageParameterController::imageChanged() {
  const CIImage dropped = fImageView.image();
  if (!canBePlaced(dropped)) return fImageView.setImage(fUnplacedImage);
  fSourceImageFilename.clear();
  setImageParameterWithImage(dropped);
}

void KPImageParameterController::reset() {
  if (fCanManipulateImage) setRectValue(centeredAndConstrainedBounds(rectValue()));
}

bool KPImageParameterController::setImageParameterWithPath(const std::string& path) {
  CIImage image = pictureAtPath(path);
  if (image.isNil()) return false;
  fSourceImageFilename = path;
  fImageView.setImage(image);
  setImageParameterWithImage(std::move(image));
  return true;
}

void KPImageParameterController::setImageParameterWithImage(CIImage image) {
  if (image.isNil() || !canBePlaced(image)) return;
  const CGRect extent = image.extent();
  fUnplacedImage = image;
  if (!fRectView) return setPlacedImage(std::move(image));
  fRectView->setAspectRatio(static_cast<float>(extent.size.width / extent.size.height));
  const CGRect place = centeredAndConstrainedBounds(extent);
  if (place != extent) image = image.imageByApplyingTransform(NSRectToNSRectTransform(extent, place));
  setPlacedImage(std::move(image));
}

bool KPImageParameterController::canBePlaced(const CIImage& image) const {
  const CGRect extent = image.extent();
  if (!isEmpty(extent) && !isInfinite(extent)) return true;
  logLine(kNoPixels, {fKey, numberText(extent.size.width), numberText(extent.size.height)});
  return false;
}

void KPImageParameterController::setPlacedImage(CIImage image) {
  fPlacedImage = image;
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
  if (!IsFinite(rect)) return logLine(kBadPlace, {fKey, NSStringFromRect(rect)});
  if (isEmpty(rectValue()) || isEmpty(rect)) return;
  if (filterImage() != fPlacedImage) fUnplacedImage = filterImage();  // set from elsewhere
  const CGAffineTransform toPlace = NSRectToNSRectTransform(fUnplacedImage.extent(), rect);
  setPlacedImage(fUnplacedImage.imageByApplyingTransform(toPlace));
}

CGRect KPImageParameterController::validateRectValue(const CGRect& proposed) const {
  const CGRect current = rectValue();
  const Span x = validatedSpan(horizontal(proposed), horizontal(current), horizontal(fImageBounds));
  const Span y = validatedSpan(vertical(proposed), vertical(current), vertical(fImageBounds));
  return {{x.from, y.from}, {x.length, y.length}};
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
