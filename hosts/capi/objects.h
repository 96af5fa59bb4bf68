// The objects behind the C interface's references. Immutable but for their count; may be used from any
// thread.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "include/vello/vello.h"
#include "platform/color_space.h"
#include "source/core/session/HostImage.h"

namespace vello {

// The first and only base of every type below, so that a reference to any of them is one to this.
class CObject {
 public:
  CObject() = default;
  CObject(const CObject&) = delete;
  CObject& operator=(const CObject&) = delete;
  virtual ~CObject() = default;
  void retain() const;
  void release() const;
  // Keeps it for the life of the process, whatever anybody releases.
  void makeImmortal() { immortal_ = true; }

 private:
  mutable std::atomic<long> references_{1};
  bool immortal_ = false;
};

// Releases at the end of its scope.
template <class Ref>
class Held {
 public:
  explicit Held(Ref object) : object_(object) {}
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  ~Held() {
    if (object_) object_->release();
  }

 private:
  Ref object_;
};

}  // namespace vello

struct __CFString : vello::CObject {
  explicit __CFString(std::string t) : text(std::move(t)) {}
  const std::string text;
};

struct __CFURL : vello::CObject {
  explicit __CFURL(std::string p) : path(std::move(p)) {}
  const std::string path;
};

struct __CFBundle : vello::CObject {
  explicit __CFBundle(std::string p) : path(std::move(p)) {}
  const std::string path;
};

// Retains its values.
struct __CFArray : vello::CObject {
  explicit __CFArray(std::vector<const vello::CObject*> v);
  ~__CFArray() override;
  const std::vector<const vello::CObject*> values;
};

namespace vello {

// Bytes and what keeps them alive.
struct SharedBytes {
  std::shared_ptr<const void> owner;
  const uint8_t* bytes = nullptr;
  size_t length = 0;

  SharedBytes() = default;
  SharedBytes(std::shared_ptr<const void> o, const void* b, size_t n)
      : owner(std::move(o)), bytes(static_cast<const uint8_t*>(b)), length(n) {}
  // Takes the buffer over without copying it.
  explicit SharedBytes(Data data);
};

// A string that lives as long as the process; the same text gives the same string.
CFStringRef internedString(const std::string& text);

}  // namespace vello

struct __CFData : vello::CObject {
  explicit __CFData(vello::SharedBytes c) : content(std::move(c)) {}
  const vello::SharedBytes content;
};

struct CGDataProvider : vello::CObject {
  explicit CGDataProvider(vello::SharedBytes c) : content(std::move(c)) {}
  const vello::SharedBytes content;
};

struct CGColorSpace : vello::CObject {
  explicit CGColorSpace(vello::ColorSpacePtr s) : space(std::move(s)) {}
  const vello::ColorSpacePtr space;  // never null
};

struct CGImage : vello::CObject {
  explicit CGImage(vello::HostImage i) : image(std::move(i)) {}
  const vello::HostImage image;  // never empty
};
