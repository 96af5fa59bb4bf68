// Two priorities of renders in one process: the frames of a preview, which somebody waits for, and all others
// (thumbnails, exports), which pause while a frame is computed.
#pragma once

#include <condition_variable>
#include <mutex>

namespace vello {

// Safe from any thread.
class FrameGate {
 public:
  // The one that all renders of this process pass.
  static FrameGate& shared();

  // Held while a frame is computed. Whoever holds it waits for no other render.
  class Frame {
   public:
    explicit Frame(FrameGate& gate);
    ~Frame();
    Frame(const Frame&) = delete;
    Frame& operator=(const Frame&) = delete;

   private:
    FrameGate& gate_;
  };

  // Returns when no frame is computed, at once when there is none.
  void waitForFrames();
  // Threads that are in waitForFrames() because of a frame.
  int waiting();

 private:
  std::mutex mutex_;
  std::condition_variable noFrames_;
  int frames_ = 0, waiting_ = 0;
};

}  // namespace vello
