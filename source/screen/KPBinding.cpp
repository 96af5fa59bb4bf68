#include "source/screen/KPBinding.h"

#include <cassert>
#include <utility>

namespace vello {

void KPBinding::bind(KPProperty property, KPBindingOptions options, Show show) {
  unbind();
  state_ = std::make_shared<State>(State{std::move(property), std::move(options), std::move(show), {}});
  state_->observation = state_->property.observe([weak = std::weak_ptr<State>(state_)] {
    if (const auto state = weak.lock()) showValue(*state);
  });
  refresh();
}

void KPBinding::unbind() {
  if (const auto state = std::exchange(state_, nullptr)) state->observation.close();
}

void KPBinding::showValue(const State& state) {
  const Value value = state.property.value();
  const auto& transformer = state.options.transformer;
  state.show(transformer ? transformer->transformedValue(value) : value);
}

bool KPBinding::write(const Value& shown) const {
  assert(isBound());
  const std::shared_ptr<State> state = state_;  // outlives an unbind() that the write causes
  const auto& transformer = state->options.transformer;
  std::optional<Value> value = transformer ? transformer->reverseTransformedValue(shown) : shown;
  if (state->options.validatesImmediately && state->property.validate)
    value = state->property.validate(*value);
  if (value) state->property.setValue(*value);
  return value.has_value();
}

void KPBinding::refresh() const {
  if (const auto state = state_) showValue(*state);
}

}  // namespace vello
