// What the tests of parameter controllers share: a filter with one input of every kind, a stand-in for the
// canvas, and a record of what was posted.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/catalogue/registry.h"
#include "platform/notification_center.h"
#include "source/parameters/parameter_view_controller.h"
#include "source/screen/notifications.h"
#include "tests/source/geometry/canvas_fixture.h"

namespace vello {

inline CIImage noPicture(const Values&) { return CIImage::emptyImage(); }

inline constexpr InputDef kControlInputs[] = {
    image("inputImage", "Image"),
    image("inputMaskImage", "Mask"),
    image("inputTexture", "Texture"),
    scalar("inputScalar", "Scalar", {.initial = 0.5}),
    integer("inputInteger", "Integer", {.initial = 5}),
    boolean("inputBoolean", "Boolean", {.initial = 1}),
    position("inputPosition", "Position", 150, 150),
    position3("inputPosition3", "Position 3", 400, 600, 150),
    offset("inputOffset", "Offset", 0, -10),
    rectangle("inputRectangle", "Rectangle", 0, 0, 640, 80),
    vector4("inputVector", "Vector", 1, 0, 0, 0),
    color("inputColor", "Color", 1, 0.5, 0.25, 1),
    transform(),
};
inline constexpr FilterDef kControlFilter{"TestEveryControl", "Every Control", "Test", kControlInputs,
                                          Maker(&noPicture)};

// With its defaults.
inline std::shared_ptr<CIFilter> controlFilter() {
  registerFilter(kControlFilter);
  auto filter = CIFilter::filterWithName(kControlFilter.name);
  filter->setDefaults();
  return filter;
}

// Answers what controllers announce, as the canvas does.
class Canvas {
 public:
  explicit Canvas(const CGRect& imageBounds) {
    auto& center = NotificationCenter::defaultCenter();
    added_ = center.addObserver(
        KPPositionControlAddedNotification, nullptr, [this, imageBounds](const Notification& n) {
          controls.push_back(n.object);
          auto* controller = static_cast<const KPParameterViewControllerProtocol*>(n.object);
          const_cast<KPParameterViewControllerProtocol*>(controller)->setImageBounds(imageBounds);
        });
    removed_ = center.addObserver(KPPositionControlRemovedNotification, nullptr,
                                  [this](const Notification& n) { std::erase(controls, n.object); });
  }
  std::vector<const void*> controls;

 private:
  Connection added_, removed_;
};

// The update delays of the change notifications that were posted.
class Changes {
 public:
  Changes() {
    connection_ = NotificationCenter::defaultCenter().addObserver(
        KPFilterStackChangedNotification, nullptr, [this](const Notification& n) {
          const PropertyList* delay = n.userInfo.find(KPUpdateDelayKey);
          delays_.push_back(delay && delay->real() ? *delay->real() : -1);
        });
  }
  // Those since the last call.
  std::vector<double> take() { return std::exchange(delays_, {}); }

 private:
  std::vector<double> delays_;
  Connection connection_;
};

inline const double kSlow = 0.3333333432674408, kFast = 0.0833333358168602;

}  // namespace vello
