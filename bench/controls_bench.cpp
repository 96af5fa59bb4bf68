// What an event of a drag on the canvas costs on models without a screen: from the mouse's place in the
// window through tracker, handle, binding and validation to the filter, and the notification of its change.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "platform/notification_center.h"
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

std::shared_ptr<CIFilter> filterWithDefaults(const char* name) {
  auto filter = CIFilter::filterWithName(name);
  filter->setDefaults();
  return filter;
}

// One event per iteration, along a circle, so that every one moves the handle.
void dragInCircles(benchmark::State& state, KPGeometryParameterView& view, CGPoint grip, uint32_t modifiers) {
  Canvas canvas;
  canvas.addSubview(view);
  int64_t changes = 0;
  const Connection observer = NotificationCenter::defaultCenter().addObserver(
      KPFilterStackChangedNotification, nullptr, [&](const Notification&) { ++changes; });
  const auto tracker = view.tracker(grip);
  tracker->setView(canvas);
  const CGPoint start = canvas.convertPointToView(grip, nullptr);
  tracker->mouseDown({KPEventType::LeftMouseDown, start, modifiers});
  int64_t i = 0;
  while (state.KeepRunning()) {
    const double angle = 0.01 * static_cast<double>(++i);
    tracker->mouseDrag({KPEventType::LeftMouseDragged,
                        {start.x + 90 * std::cos(angle), start.y + 90 * std::sin(angle)},
                        modifiers});
  }
  if (changes != i) state.SkipWithError("an event did not change the filter once");
  view.removeFromSuperview();
}

constexpr CGRect kImageBounds{{0, 0}, {1200, 800}};
constexpr CGAffineTransform kHalfSize{0.5, 0, 0, 0.5, 20, 30};

void ResizeRectangle(benchmark::State& state) {
  const auto controller =
      KPRectParameterController::controllerForFilter(filterWithDefaults("CICrop"), "inputRectangle");
  controller->setImageBounds(kImageBounds);
  controller->setRectValue({{200, 200}, {400, 300}});
  auto& view = static_cast<KPRectParameterView&>(*controller->geometryParameterView());
  view.setTransform(kHalfSize);
  dragInCircles(state, view, view.destinationRectValue().BottomRight(), state.range(0) ? kShiftKeyMask : 0);
  controller->removingFilter();
}
BENCHMARK(ResizeRectangle)->ArgName("keepRatio")->Arg(0)->Arg(1);

void MovePosition(benchmark::State& state) {
  const auto controller = KPVector2DParameterController::controllerForFilter(
      filterWithDefaults("CIBumpDistortion"), "inputCenter");
  controller->setImageBounds(kImageBounds);
  controller->setPositionValue({500, 400});
  KPGeometryParameterView& view = *controller->geometryParameterView();
  view.setTransform(kHalfSize);
  dragInCircles(state, view, view.parameterLocation(), 0);
  controller->removingFilter();
}
BENCHMARK(MovePosition);

}  // namespace
}  // namespace vello
