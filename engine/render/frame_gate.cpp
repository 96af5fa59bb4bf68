#include "engine/render/frame_gate.h"

namespace vello {

FrameGate& FrameGate::shared() {
  // Never destroyed: threads of a host may still render while the process ends.
  static FrameGate* const gate = new FrameGate;
  return *gate;
}

FrameGate::Frame::Frame(FrameGate& gate) : gate_(gate) {
  const std::lock_guard lock(gate_.mutex_);
  ++gate_.frames_;
}

FrameGate::Frame::~Frame() {
  {
    const std::lock_guard lock(gate_.mutex_);
    --gate_.frames_;
  }
  gate_.noFrames_.notify_all();
}

void FrameGate::waitForFrames() {
  std::unique_lock lock(mutex_);
  if (frames_ == 0) return;
  ++waiting_;
  noFrames_.wait(lock, [this] { return frames_ == 0; });
  --waiting_;
}

int FrameGate::waiting() {
  const std::lock_guard lock(mutex_);
  return waiting_;
}

}  // namespace vello
