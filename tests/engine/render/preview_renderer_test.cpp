#include "engine/render/preview_renderer.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <mutex>

#include "engine/filters/kinds.h"
#include "engine/image/node.h"
#include "engine/render/frame_gate.h"
#include "tests/engine/filtered.h"
#include "tests/engine/test_pictures.h"

namespace vello {
namespace {

using Quality = PreviewRequest::Quality;
using testing::picture;
using testing::rendered;
using testing::rgba8;

constexpr CGRect kAll{{0, 0}, {64, 64}};
constexpr double kSamples = 64 * 64, kBudget = 0.011;

// A clock that is turned by hand, and by every sample that is computed.
std::atomic<int64_t> nanoseconds{0};
std::atomic<int64_t> perSample{0};
double now() { return static_cast<double>(nanoseconds) * 1e-9; }
void turn(double seconds) { nanoseconds += static_cast<int64_t>(seconds * 1e9); }

struct Costly {
  static constexpr bool kStraight = true;
  explicit Costly(const Values&) {}
  Px operator()(Px p) const {
    nanoseconds += perSample;
    return p;
  }
};

// Holds the frame that meets it until it is opened.
struct Door {
  std::promise<void> reached, opened;
  std::shared_future<void> open{opened.get_future()};
  std::atomic<bool> used{false};
};
std::atomic<Door*> door{nullptr};

struct Held {
  static constexpr bool kStraight = true;
  explicit Held(const Values&) : own(door) {}
  Px operator()(Px p) const {
    if (own && !own->used.exchange(true)) {
      own->reached.set_value();
      own->open.wait();
    }
    return p;
  }
  Door* own;
};

template <class Kernel>
CIImage through(const CIImage& image) {
  return applyKernel(point<Kernel>(), {}, {image});
}

CIImage exposed(const CIImage& image, double ev) {
  return testing::filtered(image, "CIExposureAdjust", {{"inputEV", ev}});
}

// Another recipe for every token.
CIImage slow(uint64_t token) {
  return through<Costly>(exposed(picture(64, 64), 0.01 * static_cast<double>(token)));
}

PreviewOptions options(int tileSide = 0) {
  PreviewOptions o;
  o.context.threads = 1;
  o.context.tileSide = tileSide;
  o.clock = now;
  return o;
}

PreviewRequest request(const CIImage& image, uint64_t token, Quality quality = Quality::dragging) {
  return {image, kAll, 1, quality, kBudget, token};
}

class PreviewRendererTest : public ::testing::Test {
 protected:
  void SetUp() override {
    nanoseconds = 0;
    perSample = 0;
    door = nullptr;
  }
  PreviewRenderer::Deliver collect() {
    return [this](const PreviewFrame& frame) { frames_.push_back(frame); };
  }
  std::vector<uint64_t> tokens() const {
    std::vector<uint64_t> list;
    for (const PreviewFrame& frame : frames_) list.push_back(frame.token);
    return list;
  }
  // Renders frames one after the other; the pitch of the last one.
  double dragged(PreviewRenderer& renderer, int count, double costOfSample) {
    perSample = static_cast<int64_t>(costOfSample * 1e9);
    for (int k = 0; k < count; ++k) {
      ++token_;
      renderer.start(request(slow(token_), token_));
      renderer.finish();
    }
    return frames_.back().pitch;
  }

  std::vector<PreviewFrame> frames_;
  uint64_t token_ = 0;
};

TEST_F(PreviewRendererTest, AFrameIsThePictureAContextRenders) {
  PreviewRenderer renderer(options(), collect());
  renderer.start({exposed(picture(64, 64), 0.7), {{8, 4}, {40, 50}}, 1.6, Quality::settled, kBudget, 7});
  renderer.finish();
  ASSERT_EQ(tokens(), std::vector<uint64_t>{7});
  const PreviewFrame& frame = frames_[0];
  EXPECT_TRUE(frame.whole);
  EXPECT_EQ(frame.pitch, 1.6);
  const auto expected = rendered(exposed(picture(64, 64), 0.7), {{8, 4}, {40, 50}}, rgba8(25, 32), {}, 1.6);
  ASSERT_EQ(frame.bitmap.width() * frame.bitmap.height() * 4, static_cast<int64_t>(expected.size()));
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), frame.bitmap.row(0)));
}

TEST_F(PreviewRendererTest, AtRestMoreThoroughFramesFollowUnlessThereAreNewerOnes) {
  const CGRect all{{0, 0}, {512, 512}};
  constexpr double kPitch = 8;
  const CIImage image = testing::filtered(picture(512, 512), "CIUnsharpMask", {{"inputRadius", 30.0}});
  PreviewRenderer* asked = nullptr;
  PreviewRenderer renderer(options(), [&](const PreviewFrame& frame) {
    frames_.push_back(frame);
    if (frame.token == 1) asked->start({image, all, kPitch, Quality::settled, kBudget, 2});
  });
  asked = &renderer;
  renderer.start({image, all, kPitch, Quality::settled, kBudget, 1});
  renderer.finish();
  ASSERT_EQ(tokens(), (std::vector<uint64_t>{1, 2, 2}));
  EXPECT_FALSE(frames_[1].thorough);
  EXPECT_TRUE(frames_[1].whole);
  EXPECT_TRUE(frames_[2].thorough);
  const auto expected = rendered(image, all, rgba8(64, 64), {}, kPitch);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), frames_[2].bitmap.row(0)));
  EXPECT_FALSE(std::equal(expected.begin(), expected.end(), frames_[1].bitmap.row(0)));
}

TEST_F(PreviewRendererTest, WhatCannotBeRenderedIsSaid) {
  PreviewRenderer renderer(options(), collect());
  const PreviewRequest bad[] = {request({}, 1),
                                {picture(9, 9), {}, 1},
                                {picture(9, 9), kAll, -1},
                                {picture(9, 9), {{0, 0}, {1e30, 1e30}}, 1}};
  for (const PreviewRequest& each : bad) {
    renderer.start(each);
    renderer.finish();
    EXPECT_FALSE(frames_.back().error.empty());
    EXPECT_TRUE(frames_.back().bitmap.empty());
  }
  EXPECT_EQ(frames_.size(), std::size(bad));
}

// One frame is computed while others are asked for; the clock is turned meanwhile.
struct Overtaken {
  const char* name;
  Quality quality;
  double budgets;
  std::vector<uint64_t> delivered;
};

class OvertakenTest : public PreviewRendererTest, public ::testing::WithParamInterface<Overtaken> {};

TEST_P(OvertakenTest, DeliversTheNewestAndWhatWasNearlyDone) {
  PreviewRenderer renderer(options(), collect());
  Door first;
  door = &first;
  renderer.start(request(through<Held>(slow(1)), 1, GetParam().quality));
  first.reached.get_future().wait();
  for (const uint64_t token : {2, 3, 4}) renderer.start(request(slow(token), token));
  turn(GetParam().budgets * kBudget);
  first.opened.set_value();
  renderer.finish();
  EXPECT_EQ(tokens(), GetParam().delivered);
}

INSTANTIATE_TEST_SUITE_P(Rows, OvertakenTest,
                         ::testing::Values(Overtaken{"soon", Quality::dragging, 1.9, {1, 4}},
                                           Overtaken{"late", Quality::dragging, 2.1, {4}},
                                           Overtaken{"soonAtRest", Quality::settled, 1.9, {1, 4}},
                                           Overtaken{"lateAtRest", Quality::settled, 2.1, {4}}),
                         [](const auto& row) { return row.param.name; });

TEST_F(PreviewRendererTest, NotEveryFrameOfAHurriedUserIsAbandoned) {
  PreviewRenderer renderer(options(), collect());
  Door doors[3];
  door = &doors[0];
  renderer.start(request(through<Held>(slow(1)), 1, Quality::settled));
  for (uint64_t k = 0; k < 3; ++k) {
    doors[k].reached.get_future().wait();
    turn(3 * kBudget);
    door = k < 2 ? &doors[k + 1] : nullptr;
    renderer.start(request(through<Held>(slow(k + 2)), k + 2, Quality::settled));
    doors[k].opened.set_value();
  }
  renderer.finish();
  EXPECT_THAT(tokens(), ::testing::Contains(2));
  EXPECT_EQ(tokens().back(), 4u);
}

TEST_F(PreviewRendererTest, DraggedFramesAreAsFineAsTheBudgetAllows) {
  struct Row {
    double share;  // of the budget, for a frame at rest
    double pitch;
  };
  for (const Row row : {Row{0.9, 1}, {1.5, 2}, {3.9, 2}, {8, 4}, {40, 4}}) {
    PreviewRenderer renderer(options(), collect());
    EXPECT_EQ(dragged(renderer, 5, row.share * kBudget / kSamples), row.pitch) << row.share;
    // The machine has become faster, or has kept what it needs.
    EXPECT_EQ(dragged(renderer, 40, 0.1 * kBudget / kSamples), 1) << row.share;
    EXPECT_EQ(dragged(renderer, 5, row.share * kBudget / kSamples), row.pitch) << row.share;
    renderer.start(request(slow(1), 1, Quality::settled));
    renderer.finish();
    EXPECT_EQ(frames_.back().pitch, 1);
  }
}

TEST_F(PreviewRendererTest, DraggedFramesDoNotGoToAndFro) {
  PreviewRenderer renderer(options(), collect());
  EXPECT_EQ(dragged(renderer, 5, 1.5 * kBudget / kSamples), 2);
  EXPECT_EQ(dragged(renderer, 40, 0.9 * kBudget / kSamples), 2);
  EXPECT_EQ(dragged(renderer, 40, 0.7 * kBudget / kSamples), 1);
  EXPECT_EQ(dragged(renderer, 40, 0.9 * kBudget / kSamples), 1);
}

TEST_F(PreviewRendererTest, SlowFramesAtRestComeInPartsFromTheMiddle) {
  perSample = 100'000;
  PreviewRenderer renderer(options(16), collect());
  const CIImage image = slow(1);
  renderer.start(request(image, 1, Quality::settled));
  renderer.finish();
  const auto expected = rendered(image, kAll, rgba8(64, 64), {});
  ASSERT_EQ(frames_.size(), 17u);
  std::vector<bool> seen(64 * 64);
  double before = 0;
  for (size_t k = 0; k < 16; ++k) {
    const PreviewFrame& part = frames_[k];
    EXPECT_FALSE(part.whole);
    const auto left = static_cast<int64_t>(part.rect.origin.x);
    const auto top = static_cast<int64_t>(64 - part.rect.origin.y - part.rect.size.height);
    const double away = std::hypot(left + 8.0 - 32, top + 8.0 - 32);
    EXPECT_GE(away, before - 1e-9);
    before = away;
    for (int64_t y = 0; y < part.bitmap.height(); ++y) {
      const uint8_t* row = &expected[static_cast<size_t>(((top + y) * 64 + left) * 4)];
      EXPECT_TRUE(std::equal(row, row + part.bitmap.width() * 4, part.bitmap.row(y)));
      for (int64_t x = 0; x < part.bitmap.width(); ++x)
        seen[static_cast<size_t>((top + y) * 64 + left + x)] = true;
    }
  }
  EXPECT_EQ(std::count(seen.begin(), seen.end(), true), 64 * 64);
  EXPECT_TRUE(frames_.back().whole);
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), frames_.back().bitmap.row(0)));
}

TEST_F(PreviewRendererTest, WhatIsCancelledIsNotDelivered) {
  PreviewRenderer renderer(options(), collect());
  Door held;
  door = &held;
  renderer.start(request(through<Held>(slow(1)), 1));
  held.reached.get_future().wait();
  renderer.start(request(slow(2), 2));
  renderer.cancel();
  held.opened.set_value();
  renderer.finish();
  EXPECT_TRUE(frames_.empty());
  renderer.start(request(slow(3), 3));
  renderer.finish();
  EXPECT_EQ(tokens(), std::vector<uint64_t>{3});
}

TEST_F(PreviewRendererTest, CanBeDestroyedAtAnyTime) {
  std::atomic<int> delivered{0};
  for (int k = 0; k < 60; ++k) {
    auto renderer = std::make_unique<PreviewRenderer>(options(), [&](const PreviewFrame&) { ++delivered; });
    for (uint64_t frame = 0; frame < static_cast<uint64_t>(k % 4); ++frame)
      renderer->start(request(slow(frame), frame, Quality::settled));
    while (k % 3 == 2 && k % 4 > 0 && delivered == 0) std::this_thread::yield();
    renderer.reset();
    const int before = delivered.exchange(0);
    EXPECT_LE(before, 3);
    EXPECT_EQ(delivered, 0);
  }
}

TEST_F(PreviewRendererTest, MayBeDestroyedByWhatItDelivers) {
  std::promise<void> destroyed;
  std::unique_ptr<PreviewRenderer> renderer;
  renderer = std::make_unique<PreviewRenderer>(options(), [&](const PreviewFrame&) {
    renderer->start(request(slow(2), 2));
    renderer.reset();
    destroyed.set_value();
  });
  renderer->start(request(slow(1), 1));
  destroyed.get_future().wait();
}

TEST_F(PreviewRendererTest, OtherRendersPauseWhileAFrameIsComputed) {
  std::atomic<bool> frameDone{false}, otherDone{false}, early{false};
  std::thread other;
  {
    const FrameGate::Frame frame(FrameGate::shared());
    other = std::thread([&] {
      RenderRequest background{slow(1), kAll, 1};
      background.progress = [&](double) {
        if (!frameDone) early = true;
        return true;
      };
      std::string error;
      CIContext(options().context).createBitmap(background, rgba8(0, 0), ColorSpace::sRGB(), &error);
      otherDone = true;
    });
    while (!otherDone && FrameGate::shared().waiting() == 0) std::this_thread::yield();
    PreviewRenderer renderer(options(), collect());
    renderer.start(request(slow(2), 2));
    renderer.finish();
    frameDone = true;
  }
  other.join();
  EXPECT_FALSE(early);
  EXPECT_EQ(tokens(), std::vector<uint64_t>{2});
}

}  // namespace
}  // namespace vello
