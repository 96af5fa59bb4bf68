#include "engine/render/preview_renderer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <vector>

#include "engine/render/frame_costs.h"
#include "engine/render/render_cache.h"
#include "engine/render/render_progress.h"

namespace vello {
namespace {

// Budgets after which a frame is abandoned for a newer one; and where there is none cheaper, or the last one
// was abandoned: so that somebody who never rests sees something as well.
constexpr double kPatience = 2, kLongPatience = 20;
constexpr double kPartsAfterSeconds = 0.1;  // a settled frame is handed over in parts when it takes longer
constexpr double kLeastDone = 0.25;         // of an abandoned frame, when its whole cost is guessed

double steadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

ContextOptions forFrames(ContextOptions options) {
  options.frame = true;
  if (!options.cache) options.cache = std::make_shared<RenderCache>();
  return options;
}

struct Asked {
  PreviewRequest request;
  double at = 0;
};

// Copies a rectangle of pixels.
Bitmap partOf(const PixelLayout& layout, const ColorSpacePtr& space, const uint8_t* pixels,
              const IndexRect& part) {
  PixelLayout own = layout;
  own.width = part.width();
  own.height = part.height();
  own.bytesPerRow = own.width * own.bytesPerPixel();
  std::vector<uint8_t> bytes;
  bytes.reserve(static_cast<size_t>(own.bytesPerRow * own.height));
  for (int64_t row = part.y0; row < part.y1; ++row) {
    const uint8_t* first = pixels + row * layout.bytesPerRow + part.x0 * layout.bytesPerPixel();
    bytes.insert(bytes.end(), first, first + own.bytesPerRow);
  }
  return {own, space, Data(std::move(bytes))};
}

// Of a bitmap whose upper left corner is that of `rect`.
CGRect placeOf(const IndexRect& part, const CGRect& rect, double pitch) {
  const double top = rect.origin.y + rect.size.height;
  return {{rect.origin.x + static_cast<double>(part.x0) * pitch, top - static_cast<double>(part.y1) * pitch},
          {static_cast<double>(part.width()) * pitch, static_cast<double>(part.height()) * pitch}};
}

}  // namespace

// What the thread of a renderer and the one that asks share.
class PreviewRenderer::Worker {
 public:
  Worker(PreviewOptions options, Deliver deliver)
      : layout_(options.layout),
        space_(options.context.outputColorSpace ? options.context.outputColorSpace : options.space),
        now_(options.clock ? std::move(options.clock) : steadySeconds),
        deliver_(std::move(deliver)),
        context_(forFrames(std::move(options.context))) {}

  void start(PreviewRequest request) {
    const double at = now_();
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
    waiting_ = Asked{std::move(request), at};
    overtaken_ = true;
    changed_.notify_all();
  }

  void cancel(bool forGood) {
    const std::lock_guard lock(mutex_);
    waiting_.reset();
    overtaken_ = false;
    cancelled_ = true;
    stopped_ = forGood;
    changed_.notify_all();
  }

  void finish() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !waiting_ && !running_; });
  }

  void run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return stopped_ || waiting_; });
      if (stopped_) return;
      const Asked asked = std::move(*waiting_);
      waiting_.reset();
      overtaken_ = false;
      cancelled_ = false;
      running_ = true;
      lock.unlock();
      render(asked);
      lock.lock();
      running_ = false;
      changed_.notify_all();
    }
  }

 private:
  struct Running;

  void render(const Asked& asked);
  void refine(const Running& settled);
  void handOver(const Running& frame, const std::string& error);
  std::string compute(Running& frame);
  std::string prepare(Running& frame);
  std::string draw(Running& frame);
  bool giveUp(Running& frame) const;
  void deliverParts(Running& frame);
  void learn(const Running& frame, const RenderStatistics& statistics);

  const PixelLayout layout_;
  const ColorSpacePtr space_;
  const std::function<double()> now_;
  const Deliver deliver_;
  const CIContext context_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Asked> waiting_;
  bool running_ = false, stopped_ = false;
  std::atomic<bool> overtaken_{false}, cancelled_{false};

  // Of the renderer's own thread.
  FrameCosts costs_;
  bool lastGivenUp_ = false;
};

struct PreviewRenderer::Worker::Running {
  const Asked& asked;
  const double started;
  RenderRequest request;
  Digest shape;
  size_t scale = 0;  // of kFrameScales
  double patientUntil = 0;
  PixelLayout layout;
  std::shared_ptr<uint8_t[]> pixels;
  std::vector<IndexRect> parts;  // finished, not handed over
  std::atomic<double> done{0};   // share
  std::atomic<bool> givenUp{false};

  Running(const Asked& a, double now)
      : asked(a), started(now), request{a.request.image, a.request.rect, a.request.pitch} {}
  bool dragging() const { return asked.request.quality == PreviewRequest::Quality::dragging; }
  bool thorough() const { return request.quality == Quality::thorough; }
  double samples() const { return static_cast<double>(layout.width) * static_cast<double>(layout.height); }
};

void PreviewRenderer::Worker::render(const Asked& asked) {
  Running frame(asked, now_());
  const std::string error = compute(frame);
  lastGivenUp_ = frame.givenUp;
  if (!frame.givenUp && !cancelled_) handOver(frame, error);
  if (error.empty() && !frame.dragging()) refine(frame);
}

// The same once more, unless somebody wants something else. Without it there is a frame already.
void PreviewRenderer::Worker::refine(const Running& settled) {
  Running frame(settled.asked, now_());
  frame.layout = settled.layout;
  frame.request.quality = Quality::thorough;
  frame.patientUntil = -INFINITY;
  try {
    if (giveUp(frame) || context_.affordableQuality(frame.request) != Quality::thorough) return;
    if (draw(frame).empty() && !giveUp(frame)) handOver(frame, {});
  } catch (const std::bad_alloc&) {
  }
}

void PreviewRenderer::Worker::handOver(const Running& frame, const std::string& error) {
  const PreviewRequest& wanted = frame.asked.request;
  PreviewFrame finished{wanted.token, wanted.rect,      frame.request.pitch,     {},
                        true,         frame.thorough(), now_() - frame.asked.at, error};
  if (error.empty()) finished.bitmap = {frame.layout, space_, frame.pixels, frame.pixels.get()};
  deliver_(finished);
}

std::string PreviewRenderer::Worker::compute(Running& frame) {
  try {
    std::string error = prepare(frame);
    return error.empty() ? draw(frame) : error;
  } catch (const std::bad_alloc&) {
    return kNoMemoryForRender;
  }
}

// Says how large the frame is, and how long it may take.
std::string PreviewRenderer::Worker::prepare(Running& frame) {
  const PreviewRequest& wanted = frame.asked.request;
  if (wanted.image.isNil()) return "there is no picture to render";
  std::string error;
  std::optional<PixelLayout> layout = context_.layoutFor(frame.request, layout_, &error);
  if (!layout) return error;
  frame.layout = *layout;
  frame.shape = costs_.shapeOf(wanted.image.node());
  frame.request.quality = Quality::settled;
  if (frame.dragging()) {
    frame.scale = costs_.finestWithin(wanted.budget, frame.shape, frame.samples());
    frame.request.pitch *= kFrameScales[frame.scale];
    frame.request.quality = Quality::draft;
    frame.layout = *context_.layoutFor(frame.request, layout_, &error);
  }
  const bool coarsest = frame.scale + 1 == kFrameScales.size();
  frame.patientUntil = frame.started + wanted.budget * (coarsest || lastGivenUp_ ? kLongPatience : kPatience);
  return error;
}

std::string PreviewRenderer::Worker::draw(Running& frame) {
  const auto bytes = static_cast<size_t>(frame.layout.bytesPerRow * frame.layout.height);
  frame.pixels = std::make_unique_for_overwrite<uint8_t[]>(bytes);
  frame.request.abandoned = [&] { return giveUp(frame); };
  frame.request.progress = [&](double share) {
    frame.done = share;
    return true;
  };
  const std::thread::id own = std::this_thread::get_id();
  if (!frame.dragging())
    frame.request.finished = [&, own](const IndexRect& part) {
      frame.parts.push_back(part);
      if (std::this_thread::get_id() == own && now_() > frame.started + kPartsAfterSeconds)
        deliverParts(frame);
    };
  RenderStatistics statistics;
  std::string error = context_.render(frame.request, frame.layout, space_, frame.pixels.get(), &statistics);
  if (!frame.thorough() && (error.empty() || frame.givenUp)) learn(frame, statistics);
  return error;
}

bool PreviewRenderer::Worker::giveUp(Running& frame) const {
  if (!frame.givenUp && (cancelled_ || (overtaken_ && now_() > frame.patientUntil))) frame.givenUp = true;
  return frame.givenUp;
}

void PreviewRenderer::Worker::deliverParts(Running& frame) {
  for (const IndexRect& part : frame.parts) {
    if (giveUp(frame)) return;
    deliver_({frame.asked.request.token,
              placeOf(part, frame.asked.request.rect, frame.request.pitch),
              frame.request.pitch,
              partOf(frame.layout, space_, frame.pixels.get(), part),
              false,
              frame.thorough(),
              now_() - frame.asked.at,
              {}});
  }
  frame.parts.clear();
}

void PreviewRenderer::Worker::learn(const Running& frame, const RenderStatistics& statistics) {
  double seconds = now_() - frame.started;
  if (frame.givenUp) {
    seconds /= std::max<double>(kLeastDone, frame.done);
  } else if (statistics.seconds > 0) {
    // What is kept for the frames after this one does not make those dearer.
    seconds *= 1 - std::min(1.0, statistics.keepingSeconds / statistics.seconds);
  }
  costs_.learn(frame.shape, frame.scale, frame.samples(), seconds);
}

PreviewRenderer::PreviewRenderer(PreviewOptions options, Deliver deliver)
    : worker_(std::make_shared<Worker>(std::move(options), std::move(deliver))),
      thread_([worker = worker_] { worker->run(); }) {}

PreviewRenderer::~PreviewRenderer() {
  worker_->cancel(true);
  // A renderer that is destroyed by what it delivers cannot wait for itself.
  if (std::this_thread::get_id() == thread_.get_id()) {
    thread_.detach();
  } else {
    thread_.join();
  }
}

void PreviewRenderer::start(PreviewRequest request) { worker_->start(std::move(request)); }
void PreviewRenderer::cancel() { worker_->cancel(false); }
void PreviewRenderer::finish() { worker_->finish(); }

}  // namespace vello
