// The renderer of a window: frames of a picture that its user changes all the time, computed beside the
// thread that asks for them.
//
// One frame is computed, one waits, and the newest takes the place of the one that waits. A frame that is
// overtaken is still finished, as a mouse moves faster than any frame is computed, unless it takes out of
// proportion. Frames are handed over in the order they were asked for.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "engine/render/context.h"

namespace vello {

struct PreviewRequest {
  // While the user drags, frames are made of coarser samples where finer ones would come too late.
  enum class Quality { dragging, settled };
  CIImage image;
  CGRect rect;       // in image units
  double pitch = 1;  // image units per sample of a settled frame
  Quality quality = Quality::settled;
  double budget = 0.011;  // seconds a frame may take while the user drags; at rest, twice that is patience
  uint64_t token = 0;     // handed back with the frame
};

struct PreviewFrame {
  uint64_t token = 0;
  CGRect rect;        // of the picture, in image units
  double pitch = 1;   // of the bitmap: 1, 2 or 4 times what was asked for
  Bitmap bitmap;      // empty when `error` is set
  bool whole = true;  // else a part of a settled frame that takes long; the whole one follows, or a newer one
  // A settled frame that would look more like the finished picture with more time than somebody waits for is
  // followed by one that takes it, unless there is a newer one to make.
  bool thorough = false;
  double seconds = 0;  // since it was asked for
  std::string error;
};

struct PreviewOptions {
  // `frame` is set, and a cache made where there is none.
  ContextOptions context;
  // Of the frames; sizes do not count.
  PixelLayout layout;
  ColorSpacePtr space = ColorSpace::sRGB();
  // Seconds, steady, from any thread.
  std::function<double()> clock = nullptr;
};

// Belongs to one thread, which starts frames and destroys it.
class PreviewRenderer {
 public:
  // Called on the renderer's own thread, one frame after the other: hand it to the window's run loop. It may
  // start the next frame, and must neither throw nor wait for the thread that owns the renderer.
  using Deliver = std::function<void(const PreviewFrame&)>;

  PreviewRenderer(PreviewOptions options, Deliver deliver);
  // Abandons what is computed and forgets what waits; nothing is delivered any more when it returns.
  ~PreviewRenderer();
  PreviewRenderer(const PreviewRenderer&) = delete;
  PreviewRenderer& operator=(const PreviewRenderer&) = delete;

  // Returns at once.
  void start(PreviewRequest request);
  // Abandons what is computed and forgets what waits.
  void cancel();
  // Returns when nothing is computed and nothing waits.
  void finish();

 private:
  class Worker;
  const std::shared_ptr<Worker> worker_;
  std::thread thread_;
};

}  // namespace vello
