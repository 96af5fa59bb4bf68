// Stacks of filters with random values, the same ones on every machine, in words that let each be made again.
#pragma once

#include <gtest/gtest.h>

#include "platform/number_text.h"
#include "tests/engine/filters/built_in.h"
#include "tests/engine/test_pictures.h"

namespace vello::testing {

// What an image input is connected to: the result of a layer below, or, when negative, picture -1 - index.
using ImageRef = int;

struct Layer {
  std::string filter;
  std::vector<std::pair<std::string, Value>> values;
  std::vector<std::pair<std::string, ImageRef>> images;
};
// The result is the last layer's.
using Stack = std::vector<Layer>;

struct NamedPicture {
  const char* name;
  CIImage image;
};

inline CIImage board() {
  const auto filter = CIFilter::filterWithName("CICheckerboardGenerator");
  filter->setValueForKey(13.0, "inputWidth");
  return filter->outputImage();
}

// Odd sizes, off the origin, between the pixels, with and without alpha, without end.
inline const std::vector<NamedPicture>& stackPictures() {
  static const std::vector<NamedPicture> pictures = [] {
    const CIImage opaque = picture(47, 39, false, 3), clear = picture(40, 53, true, 7);
    return std::vector<NamedPicture>{
        {"opaque 47x39", opaque},
        {"transparent 40x53", clear},
        {"opaque 47x39 at (-9, 6)", opaque.imageByApplyingTransform({1, 0, 0, 1, -9, 6})},
        {"transparent 40x53 at (3.25, -4.5)", clear.imageByApplyingTransform({1, 0, 0, 1, 3.25, -4.5})},
        {"opaque 47x39 clamped", opaque.imageByClampingToExtent()},
        {"transparent 40x53 cropped to (4, 7, 29, 31)", clear.imageByCroppingToRect({{4, 7}, {29, 31}})},
        {"transparent 40x53 turned", clear.imageByApplyingTransform({0.8, 0.6, -0.6, 0.8, 20, -6})},
        {"transparent 1x1", picture(1, 1, true, 5)},
        {"checkerboard", board()},
    };
  }();
  return pictures;
}

inline std::string text(const Value& value) {
  std::string found;
  const auto add = [&found](std::initializer_list<double> numbers) {
    for (const double n : numbers) found += (found.empty() ? "" : " ") + numberText(n);
  };
  if (value.isNumber()) add({value.number()});
  if (const CIVector* v = value.vector())
    for (const double c : v->values()) add({c});
  if (const CIColor* c = value.color()) add({c->red(), c->green(), c->blue(), c->alpha()});
  if (const CGAffineTransform* t = value.transform()) add({t->a, t->b, t->c, t->d, t->tx, t->ty});
  return found;
}

inline std::string text(const Stack& stack) {
  std::string found;
  for (size_t k = 0; k < stack.size(); ++k) {
    found += "  " + std::to_string(k) + " " + stack[k].filter;
    for (const auto& [key, value] : stack[k].values) found += "; " + key + " = " + text(value);
    for (const auto& [key, from] : stack[k].images)
      found +=
          "; " + key + " = " +
          (from < 0 ? stackPictures()[static_cast<size_t>(-1 - from)].name : "layer " + std::to_string(from));
    found += "\n";
  }
  return found;
}

inline CIImage imageOf(const Stack& stack) {
  std::vector<CIImage> results;
  for (const Layer& layer : stack) {
    const auto filter = CIFilter::filterWithName(layer.filter);
    filter->setDefaults();
    for (const auto& [key, value] : layer.values) filter->setValueForKey(value, key);
    for (const auto& [key, from] : layer.images)
      filter->setValueForKey(from < 0 ? stackPictures()[static_cast<size_t>(-1 - from)].image
                                      : results[static_cast<size_t>(from)],
                             key);
    results.push_back(filter->outputImage());
  }
  return results.back();
}

// The stack without one layer: who read that layer reads its first image.
inline Stack without(const Stack& stack, int removed) {
  const auto& images = stack[static_cast<size_t>(removed)].images;
  const ImageRef instead = images.empty() ? -1 : images[0].second;
  Stack rest = stack;
  rest.erase(rest.begin() + removed);
  for (Layer& layer : rest)
    for (auto& [key, from] : layer.images) {
      if (from == removed) from = instead;
      if (from > removed) --from;
    }
  return rest;
}

// Takes layers away as long as `fails` still holds.
template <class Fails>
Stack smallest(Stack stack, Fails fails) {
  for (int k = static_cast<int>(stack.size()); k-- > 0 && stack.size() > 1;)
    if (const Stack fewer = without(stack, k); fails(fewer)) stack = fewer;
  return stack;
}

// Whether a filter of the stack has steps, where a difference in the last bit may flip a sample.
inline bool isStepped(const Stack& stack) {
  for (const Layer& layer : stack)
    if (CIFilter::attributesForFilterName(layer.filter)->stepped) return true;
  return false;
}

class StackMaker {
 public:
  explicit StackMaker(uint64_t seed) : noise_{seed * 0x9E3779B97F4A7C15u + 1} {
    for (int k = 0; k < 8; ++k) noise_.next();
  }

  Stack stack(int layers) {
    Stack made;
    for (int k = 0; k < layers; ++k) made.push_back(layer(nextName(made), made));
    return made;
  }

  Layer layer(const std::string& name, const Stack& below) {
    Layer made{name, {}, {}};
    for (const InputAttributes& input : CIFilter::attributesForFilterName(name)->inputs) {
      if (input.className == "CIImage") {
        made.images.emplace_back(input.key, source(below, made.images.size()));
      } else if (noise_.below(5) > 0) {
        if (const Value drawn = value(input); !drawn.isNil()) made.values.emplace_back(input.key, drawn);
      }
    }
    return made;
  }

  CGRect rect() {
    return {{noise_.below(24) - 14.0, noise_.below(24) - 14.0},
            {40.0 + noise_.below(27), 40.0 + noise_.below(27)}};
  }

 private:
  static size_t imageCount(const std::string& name) {
    size_t count = 0;
    for (const InputAttributes& input : CIFilter::attributesForFilterName(name)->inputs)
      count += input.className == "CIImage";
    return count;
  }

  // What a layer without an image of its own has made is laid over what lies below it.
  std::string nextName(const Stack& below) {
    static const std::vector<std::string> names = builtInFilters();
    const bool covers = below.size() > 1 && below.back().images.empty();
    for (;;) {
      const std::string& name = names[static_cast<size_t>(noise_.below(static_cast<int>(names.size())))];
      if (!covers || imageCount(name) > 1) return name;
    }
  }

  ImageRef source(const Stack& below, size_t index) {
    const int last = static_cast<int>(below.size()) - 1, count = static_cast<int>(stackPictures().size());
    if (last >= 0 && index == 0) return last;
    const bool covers = last > 0 && below.back().images.empty();
    if (covers && index == 1) return last - 1;
    if (last >= 0 && noise_.below(2) == 0) return noise_.below(last + 1);
    return -1 - noise_.below(count);
  }

  double between(double low, double high) { return low + (high - low) * noise_.unit(); }

  Value value(const InputAttributes& input) {
    if (input.className == "NSNumber") return number(input);
    if (input.className == "NSAffineTransform") return transform();
    if (input.className == "CIColor") {
      const bool opaque = input.type == "OpaqueColor" || noise_.below(2) == 0;
      return CIColor(noise_.unit(), noise_.unit(), noise_.unit(), opaque ? 1 : noise_.unit());
    }
    if (input.type == "Rectangle")
      return CIVector{between(-8, 20), between(-8, 20), between(8, 50), between(8, 50)};
    if (input.type == "Position" || input.type == "Offset")
      return CIVector{between(-12, 60), between(-12, 60)};
    return input.className == "CIVector" ? vector(input) : Value();
  }

  // Near the default, anywhere on the slider, or at an end of it. Lengths are brought to the pictures' size.
  Value number(const InputAttributes& input) {
    const double initial = input.defaultValue.number(), low = input.sliderMin.value_or(initial - 1),
                 high = input.sliderMax.value_or(initial + 1);
    const double end = noise_.below(2) == 0 ? low : high, way = noise_.unit();
    double drawn = between(low, high);
    switch (noise_.below(8)) {
      case 0:
        drawn = end;
        break;
      case 1:
      case 2:
      case 3:
        drawn = initial + (end - initial) * way * way;
        break;
      default:
        break;
    }
    const bool length = input.type == "Distance" || input.key == "inputRadius";
    // Wide Gaussians are as right as 8 bit can show; a gain of a thousand would show more.
    if (input.key == "inputEV") drawn /= 2;
    return length ? std::max(input.min.value_or(0), drawn * 0.2) : drawn;
  }

  // Around the default. The last component, which weighs alpha, keeps its default: colour is not made from
  // nothing.
  Value vector(const InputAttributes& input) {
    const CIVector* initial = input.defaultValue.vector();
    if (!initial) return {};
    std::vector<double> drawn = initial->values();
    if (input.key == "inputAVector") return CIVector{0, 0, 0, between(0.4, 1)};
    for (size_t k = 0; k + 1 < drawn.size(); ++k) drawn[k] += between(-0.3, 0.3);
    return CIVector(std::move(drawn));
  }

  // Turned, stretched, slanted and moved; now and then almost flat, or only moved.
  Value transform() {
    const double angle = between(-3.2, 3.2), slant = between(-0.4, 0.4);
    double sx = between(0.35, 2), sy = between(0.35, 2);
    if (noise_.below(6) == 0) sy = 0.07;
    CGAffineTransform t{sx * std::cos(angle), sx * std::sin(angle), sy * (slant - std::sin(angle)),
                        sy * std::cos(angle), between(-20, 40),     between(-20, 40)};
    if (noise_.below(4) == 0) t = {1, 0, 0, 1, t.tx, t.ty};
    return t;
  }

  Noise noise_;
};

}  // namespace vello::testing
