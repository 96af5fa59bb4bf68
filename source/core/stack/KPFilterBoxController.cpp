#include "source/core/stack/KPFilterBoxController.h"

#include "platform/exception.h"
#include "platform/notification_center.h"
#include "source/core/stack/KPFilterStack.h"
#include "source/core/stack/chain_text.h"
#include "source/core/stack/control_kind.h"
#include "source/core/stack/host_defaults.h"
#include "source/parameters/KPCheckboxParameterController.h"
#include "source/parameters/KPColorParameterController.h"
#include "source/parameters/KPDialParameterController.h"
#include "source/parameters/KPImageParameterController.h"
#include "source/parameters/KPOffsetParameterController.h"
#include "source/parameters/KPRectParameterController.h"
#include "source/parameters/KPSliderParameterController.h"
#include "source/parameters/KPTransformParameterController.h"
#include "source/parameters/KPVector2DParameterController.h"
#include "source/parameters/KPVector3DParameterController.h"
#include "source/parameters/KPVector4DParameterController.h"
#include "source/parameters/number_transformers.h"
#include "source/screen/KPLocalizedString.h"
#include "source/screen/notifications.h"

namespace vello {
namespace {

constexpr const char* kBackgroundFilterName = "CIConstantColorGenerator";
constexpr const char* kBackgroundTitleKey = "kKPImageFilter_BackgroundColorFilterTitle";
constexpr const char* kColorKey = "inputColor";

using FilterPtr = std::shared_ptr<CIFilter>;
using ControllerPtr = std::unique_ptr<KPCoreImageParameterController>;

template <class Controller>
ControllerPtr make(const FilterPtr& filter, const std::string& key) {
  return Controller::controllerForFilter(filter, key);
}

ControllerPtr makeSlider(const FilterPtr& filter, const std::string& key) {
  const std::string& type = filter->attributes().input(key)->type;
  KPSliderParameterController::Transformer shown;
  if (type == "Time") shown = std::make_shared<KPTimeValueTransformer>();
  if (type == "Angle") shown = std::make_shared<KPAngleValueTransformer>();
  return KPSliderParameterController::controllerForFilter(filter, key, shown);
}

// The dial turns in whole degrees; its edit box takes any.
ControllerPtr makeDial(const FilterPtr& filter, const std::string& key) {
  const InputAttributes& input = *filter->attributes().input(key);
  const auto rotation = [&](bool discrete) {
    return std::make_shared<KPRotationValueTransformer>(static_cast<float>(input.sliderMin.value_or(0)),
                                                        static_cast<float>(input.sliderMax.value_or(0)),
                                                        discrete);
  };
  return KPDialParameterController::controllerForFilter(filter, key, rotation(false), rotation(true));
}

struct ControllerRow {
  ControlKind kind;
  ControllerPtr (*make)(const FilterPtr&, const std::string& key);
};

constexpr ControllerRow kControllers[] = {
    {ControlKind::slider, makeSlider},
    {ControlKind::dial, makeDial},
    {ControlKind::checkbox, make<KPCheckboxParameterController>},
    {ControlKind::color, make<KPColorParameterController>},
    {ControlKind::image, make<KPImageParameterController>},
    {ControlKind::vector2D, make<KPVector2DParameterController>},
    {ControlKind::vector3D, make<KPVector3DParameterController>},
    {ControlKind::vector4D, make<KPVector4DParameterController>},
    {ControlKind::offset, make<KPOffsetParameterController>},
    {ControlKind::rect, make<KPRectParameterController>},
    {ControlKind::transform, make<KPTransformParameterController>},
};

// Initial colours of new filters, from the host's preferences.
struct ColorDefaultRow {
  const char* inputKey;
  const char* defaultsKey;
};
constexpr ColorDefaultRow kColorDefaults[] = {
    {"inputColor0", "frontColor"}, {"inputColor", "frontColor"}, {"inputColor1", "backColor"}};

FilterPtr createFilter(std::string_view name) {
  if (FilterPtr filter = CIFilter::filterWithName(name)) return filter;
  PropertyListDictionary userInfo;
  userInfo.set("CIFilterName", std::string(name));
  throw KPException(kKPFilterBoxInitializationException, "Could not create the given CI filter", userInfo);
}

void post(const char* name, const KPFilterBoxController& box) {
  NotificationCenter::defaultCenter().post({name, &box, {}});
}

}  // namespace

KPFilterBoxController::KPFilterBoxController(std::string_view filterName, const KPFilterStack& stack)
    : fParentStack(stack), fFilter(createFilter(filterName)) {
  fFilter->setDefaults();
  applyColorDefaults();
  const FilterAttributes& attributes = fFilter->attributes();
  fTitle = CIFilter::localizedNameForFilterName(filterName).value_or(std::string(filterName));
  fHasBackground = hasImageInput(attributes, kCIInputBackgroundImageKey);
  fIsGenerator = !fHasBackground && !hasImageInput(attributes, kCIInputImageKey);
  fIsTileEffect = attributes.isInCategory("CICategoryTileEffect");
  createFilterControls();
}

KPFilterBoxController::~KPFilterBoxController() = default;

std::unique_ptr<KPFilterBoxController> KPFilterBoxController::backgroundColorFilter(
    bool transparent, const KPFilterStack& stack) {
  auto box = std::make_unique<KPFilterBoxController>(kBackgroundFilterName, stack);
  box->fTitle = KPLocalizedString(kBackgroundTitleKey);
  box->fFilter->setValueForKey(CIColor(0, 0, 0, transparent ? 0 : 1), kColorKey);
  return box;
}

void KPFilterBoxController::applyColorDefaults() {
  for (const ColorDefaultRow& row : kColorDefaults) {
    if (!fFilter->attributes().input(row.inputKey)) continue;
    const PropertyList stored = standardDefaults().value(row.defaultsKey);
    if (stored.string()) fFilter->setValueForKey(CIColor::colorWithString(*stored.string()), row.inputKey);
  }
}

void KPFilterBoxController::createFilterControls() {
  const FilterAttributes& attributes = fFilter->attributes();
  for (const InputAttributes& input : attributes.inputs) {
    const ControlKind kind = controlKind(attributes, input);
    for (const ControllerRow& row : kControllers)
      if (row.kind == kind) fParameterControllers.push_back(row.make(fFilter, input.key));
  }
  establishNextKeyViews();
}

// From one controller's edit boxes to the next one's, and from the last back to the first.
void KPFilterBoxController::establishNextKeyViews() {
  KPEditBox *first = nullptr, *previous = nullptr;
  for (const auto& controller : fParameterControllers) {
    KPEditBox* entered = controller->firstEditBox();
    if (!entered) continue;
    if (!first) first = entered;
    if (previous) previous->setNextKeyView(entered);
    previous = controller->lastEditBox();
  }
  if (previous) previous->setNextKeyView(first);
}

void KPFilterBoxController::setEnabled(bool enabled) {
  fEnabled = enabled;
  post(KPFilterStackChangedNotification, *this);
}

void KPFilterBoxController::add(bool optionKeyDown) const {
  post(optionKeyDown ? KPDuplicateFilterNotification : KPAddFilterNotification, *this);
}

void KPFilterBoxController::close() const { post(KPRemoveFilterNotification, *this); }

void KPFilterBoxController::reset() {
  if (fTitle == KPLocalizedString(kBackgroundTitleKey)) {
    fFilter->setValueForKey(CIColor(0, 0, 0, 1), kColorKey);
    return;
  }
  fFilter->setDefaults();
  for (const auto& controller : fParameterControllers) controller->reset();
}

void KPFilterBoxController::removingFilter() {
  for (const auto& controller : fParameterControllers) controller->removingFilter();
}

void KPFilterBoxController::addParametersToDictionary(PropertyListDictionary& dictionary) const {
  dictionary.set(kCIAttributeFilterName, fFilter->name());
  for (const auto& controller : fParameterControllers)
    controller->addValueToDict(dictionary, fParentStack.baseImageExtent());
}

void KPFilterBoxController::setParametersFromDictionary(const PropertyListDictionary& dictionary) {
  for (const auto& controller : fParameterControllers)
    controller->setValueFromDict(dictionary, fParentStack.baseImageExtent());
}

}  // namespace vello
