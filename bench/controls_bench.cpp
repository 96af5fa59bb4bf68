// What an event of a drag on the canvas costs on models without a screen: from the mouse's place in the
// window through tracker, handle, binding and validation to the filter, and the notification of its change.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "platform/notification_center.h"
#include "source/geometry/KPPositionParameterView.h"
#include "source/geometry/KPRectParameterView.h"
#include "source/parameters/KPRectParameterController.h"
#include "source/parameters/KPVector2DParameterController.h"
#include "source/screen/KPWindow.h"
#include "source/screen/notifications.h"

namespace vello {
namespace {

class Canvas : public KPTrackerCanvas {
 public:
  Canvas() : KPTrackerCanvas({{}, {2000, 2000}}) {
    window_.contentView().addSubview(content_);
    content_.addSubview(*this);
  }
  bool isSlow() const override { return false; }
  const KPView& scrollContentView() const override { return content_; }
  void scrollPoint(CGPoint point) override { content_.setBoundsOrigin(point); }

 private:
  KPWindow window_{{{100, 100}, {664, 500}}};
  KPView content_{{{10, 10}, {400, 300}}};
};

class Owner : public KPParameterViewOwner {
 public:
  void scrollToVisibleInStack() override {}
};

std::shared_ptr<CIFilter> filterWithDefaults(const char* name) {
  auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  return filter;
}

// A property that rounds what the user drags to whole pixels, like the controllers' own.
KPProperty wholeProperty(CIFilter& filter, const char* key, std::function<void(const CIVector&)> set) {
  return {[&filter, key] { return filter.valueForKey(key); },
          [set = std::move(set)](const Value& value) { set(*value.vector()); },
          [&filter, key](std::function<void()> changed) { return filter.observe(key, std::move(changed)); },
          [](const Value& proposed) -> std::optional<Value> {
            std::vector<double> values = proposed.vector()->values();
            for (double& value : values) value = std::round(value);
            return CIVector(std::move(values));
          }};
}

// One event per iteration, along a circle, so that every one moves the handle.
void dragInCircles(benchmark::State& state, KPGeometryParameterView& view, CGPoint grip) {
  Canvas canvas;
  canvas.addSubview(view);
  view.setTransform({0.5, 0, 0, 0.5, 20, 30});
  int64_t changes = 0;
  const Connection observer = NotificationCenter::defaultCenter().addObserver(
      KPFilterStackChangedNotification, nullptr, [&](const Notification&) { ++changes; });
  const auto tracker = view.tracker(grip);
  tracker->setView(canvas);
  const CGPoint start = canvas.convertPointToView(grip, nullptr);
  tracker->mouseDown({KPEventType::LeftMouseDown, start});
  int64_t i = 0;
  while (state.KeepRunning()) {
    const double angle = 0.01 * static_cast<double>(++i);
    tracker->mouseDrag(
        {KPEventType::LeftMouseDragged, {start.x + 90 * std::cos(angle), start.y + 90 * std::sin(angle)}});
  }
  if (changes != i) state.SkipWithError("an event did not change the filter once");
  view.removeFromSuperview();
}

void ResizeRectangle(benchmark::State& state) {
  const auto filter = filterWithDefaults("CICrop");
  const auto controller = KPRectParameterController::controllerForFilter(filter, "inputRectangle");
  controller->setRectValue({{100, 100}, {400, 200}});
  Owner owner;
  KPRectParameterView view("Crop Rectangle", state.range(0) != 0, owner);
  view.setConstrainingRect({{0, 0}, {1200, 800}});
  view.bind(wholeProperty(*filter, "inputRectangle", [&](const CIVector& v) {
    controller->setRectValue({{v.X(), v.Y()}, {v.Z(), v.W()}});
  }));
  view.setTransform({0.5, 0, 0, 0.5, 20, 30});
  dragInCircles(state, view, view.destinationRectValue().BottomRight());
  view.unbind();
  controller->removingFilter();
}
BENCHMARK(ResizeRectangle)->ArgName("keepRatio")->Arg(0)->Arg(1);

void MovePosition(benchmark::State& state) {
  const auto filter = filterWithDefaults("CIBumpDistortion");
  const auto controller = KPVector2DParameterController::controllerForFilter(filter, "inputCenter");
  Owner owner;
  KPPositionParameterView view("Bump Distortion Center", owner);
  view.bind(wholeProperty(*filter, "inputCenter", [&](const CIVector& v) {
    controller->setPositionValue({v.X(), v.Y()});
  }));
  view.setTransform({0.5, 0, 0, 0.5, 20, 30});
  dragInCircles(state, view, view.parameterLocation());
  view.unbind();
  controller->removingFilter();
}
BENCHMARK(MovePosition);

}  // namespace
}  // namespace vello
