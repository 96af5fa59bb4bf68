// Two-way bindings: a control or a canvas item shows a property of a model and writes back what the user
// does.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "platform/connection.h"
#include "source/screen/KPValueTransformer.h"

namespace vello {

// A value of some object that can be read, written, checked and watched. A point is a vector of two
// components, a rectangle one of four (x, y, width, height).
struct KPProperty {
  std::function<Value()> value;
  std::function<void(const Value&)> setValue;
  // Called whenever the value may have changed, also to an equal one.
  std::function<Connection(std::function<void()> changed)> observe;
  // What is to be set in place of the proposed value; nothing refuses it. May be empty: all is taken.
  std::function<std::optional<Value>(const Value& proposed)> validate;
};

struct KPBindingOptions {
  bool validatesImmediately = false;                      // asks the property's validate before it is set
  std::shared_ptr<const KPValueTransformer> transformer;  // may be null
};

// One end of a binding; the owner of the shown value holds it.
class KPBinding {
 public:
  using Show = std::function<void(const Value&)>;

  KPBinding() = default;
  ~KPBinding() { unbind(); }
  KPBinding(const KPBinding&) = delete;
  KPBinding& operator=(const KPBinding&) = delete;

  // Shows the current value at once and every later one, transformed. Replaces a former binding. What the
  // property's functions use must live until unbind() or the end of this object.
  void bind(KPProperty property, KPBindingOptions options, Show show);
  void unbind();
  bool isBound() const { return state_ != nullptr; }
  // The user set `shown`: transforms it back, validates it and sets it. False when validation refuses; then
  // nothing is set. Requires isBound(). The write may unbind this object.
  bool write(const Value& shown) const;
  // Shows the property's value once more. Does nothing when not bound.
  void refresh() const;

 private:
  struct State {
    KPProperty property;
    KPBindingOptions options;
    Show show;
    Connection observation;
  };
  static void showValue(const State& state);
  std::shared_ptr<State> state_;
};

}  // namespace vello
