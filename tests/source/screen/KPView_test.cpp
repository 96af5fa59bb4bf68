#include "source/screen/KPView.h"

#include <gtest/gtest.h>

#include <memory>

#include "source/screen/KPEvent.h"
#include "source/screen/KPWindow.h"
#include "tests/source/geometry/geometry_printing.h"

namespace vello {
namespace {

class FlippedView : public KPView {
 public:
  using KPView::KPView;
  bool isFlipped() const override { return true; }
};

// A window at (1000, 2000) with a flipped, scrolled list that holds a box.
class KPViewTest : public testing::Test {
 protected:
  KPViewTest() {
    window_.contentView().addSubview(list_);
    list_.setBoundsOrigin({0, 30});
    list_.addSubview(box_);
  }
  KPWindow window_{rect(1000, 2000, 400, 300)};
  FlippedView list_{rect(50, 20, 100, 200)};
  KPView box_{rect(10, 40, 60, 50)};
};

TEST_F(KPViewTest, ConvertsThroughFlippedAndScrolledViews) {
  struct Row {
    const char* name;
    CGPoint inBox, inList, inWindow;
  };
  // The box's lower edge is the larger y of the list; the list's top edge shows its y = 30.
  const Row rows[] = {{"lower left", {0, 0}, {10, 90}, {60, 160}},
                      {"upper right", {60, 50}, {70, 40}, {120, 210}},
                      {"outside", {-10, 100}, {0, -10}, {50, 260}}};
  for (const auto& row : rows) {
    EXPECT_EQ(box_.convertPointToView(row.inBox, &list_), row.inList) << row.name;
    EXPECT_EQ(box_.convertPointFromView(row.inList, &list_), row.inBox) << row.name;
    EXPECT_EQ(box_.convertPointToView(row.inBox, nullptr), row.inWindow) << row.name;
    EXPECT_EQ(list_.convertPointToView(row.inList, &box_), row.inBox) << row.name;
    EXPECT_EQ((KPEvent{KPEventType::MouseMoved, row.inWindow}.viewPoint(box_)), row.inBox) << row.name;
    EXPECT_EQ(box_.convertPointToScreen(row.inBox), (CGPoint{1000 + row.inWindow.x, 2000 + row.inWindow.y}));
  }
  KPView sibling(rect(200, 100, 10, 10));
  window_.contentView().addSubview(sibling);
  EXPECT_EQ(box_.convertRectToView(box_.bounds(), &sibling), rect(-140, 60, 60, 50));
  EXPECT_EQ(sibling.convertRectFromView(box_.bounds(), &box_), rect(-140, 60, 60, 50));
}

TEST_F(KPViewTest, VisibleIsWhatNoSuperviewClips) {
  EXPECT_EQ(box_.visibleRect(), box_.bounds());
  list_.setBoundsOrigin({0, 60});
  EXPECT_EQ(box_.visibleRect(), rect(0, 0, 60, 30));
  list_.setBoundsOrigin({0, 500});
  EXPECT_EQ(box_.visibleRect(), CGRect{});
}

TEST_F(KPViewTest, TheFrontmostShownViewIsHit) {
  KPView front(rect(20, 50, 10, 10));
  list_.addSubview(front);
  KPView& content = window_.contentView();
  EXPECT_EQ(content.hitTest({75, 195}), &front);
  front.setHidden(true);
  EXPECT_EQ(content.hitTest({75, 195}), &box_);
  EXPECT_EQ(content.hitTest({60, 100}), &list_);
  EXPECT_EQ(content.hitTest({399, 299}), &content);
  EXPECT_EQ(content.hitTest({400, 299}), nullptr);
}

TEST_F(KPViewTest, AViewThatGoesLeavesTheTree) {
  auto parent = std::make_unique<KPView>(rect(0, 0, 10, 10));
  KPView child(rect(0, 0, 5, 5));
  parent->addSubview(child);
  box_.addSubview(*parent);
  EXPECT_EQ(child.window(), &window_);
  list_.addSubview(child);
  EXPECT_TRUE(parent->subviews().empty());
  parent->addSubview(child);
  parent.reset();
  EXPECT_EQ(child.superview(), nullptr);
  EXPECT_TRUE(box_.subviews().empty());
  EXPECT_EQ(child.window(), nullptr);
}

}  // namespace
}  // namespace vello
