#include "hosts/cli/chain_maker.h"

#include <cmath>
#include <filesystem>
#include <numbers>

#include "engine/catalogue/filter.h"
#include "hosts/cli/near_names.h"
#include "hosts/cli/value_text.h"
#include "platform/image_file.h"
#include "source/core/session/KPImageFilterWindowController.h"
#include "source/core/stack/control_kind.h"
#include "source/parameters/KPImageParameterController.h"
#include "source/parameters/KPTransformParameterController.h"

namespace vello::cli {
namespace {

// Parts between colons, escapes resolved.
std::vector<std::string> splitAtColons(const std::string& text) {
  std::vector<std::string> parts(1);
  for (size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == ':' || text[i + 1] == '\\');
    if (text[i] == ':')
      parts.emplace_back();
    else
      parts.back() += text[escape ? ++i : i];
  }
  return parts;
}

// Values depend on the picture's rectangle alone.
CIImage imageOfSize(const CGSize& size) {
  const auto generator = CIFilter::filterWithName("CIConstantColorGenerator");
  generator->setDefaults();
  return generator->outputImage().imageByCroppingToRect({{0, 0}, size});
}

std::string setPicture(KPFilterBoxController& box, const std::string& key, const std::string& text) {
  if (text.empty() || text.front() != '@') return "\"" + text + "\" is not a picture @file";
  const std::string path = std::filesystem::absolute(text.substr(1)).lexically_normal().string();
  std::string problem;
  if (!imageFileInfo(path, &problem)) return problem;
  for (const auto& controller : box.parameterControllers()) {
    auto* images = dynamic_cast<KPImageParameterController*>(controller.get());
    if (images && images->key() == key)
      return images->setImageParameterWithPath(path) ? "" : path + ": the picture cannot be read";
  }
  return "a chain cannot hold this picture";
}

// A chain holds a transform as its control's numbers: turned, then scaled, then moved, then sheared along x
// by the skew. A transform is their product in one way.
std::string setTransform(KPFilterBoxController& box, const std::string& key, const CGAffineTransform& t) {
  const double height = std::hypot(t.b, t.d), sine = t.b / height, cosine = t.d / height;
  const double width = t.a * cosine - t.c * sine, shear = (t.a * sine + t.c * cosine) / height;
  if (!(height > 0) || !std::isfinite(height) || width == 0 || !std::isfinite(width) || !std::isfinite(shear))
    return "this transform leaves nothing of a picture";
  constexpr double degrees = 180 / std::numbers::pi;
  const double turn = std::atan2(sine, cosine) * degrees;
  for (const auto& controller : box.parameterControllers()) {
    auto* control = dynamic_cast<KPTransformParameterController*>(controller.get());
    if (!control || control->key() != key) continue;
    control->setPositionValue({t.tx - shear * t.ty, t.ty});
    control->setXScale(static_cast<float>(width));
    control->setYScale(static_cast<float>(height));
    control->setRotation(static_cast<float>(turn > 0 ? 360 - turn : -turn));
    control->setSkew(static_cast<float>(shear * degrees));
    return "";
  }
  return "a chain cannot hold this transform";
}

std::string setValue(KPFilterBoxController& box, const std::string& key, const std::string& text) {
  CIFilter& filter = *box.coreFilter();
  const InputAttributes* input = filter.attributes().input(key);
  if (!input) return unknownInput(filter.attributes(), key);
  const std::string place = filter.name() + ", " + key + ": ";
  if (controlKind(filter.attributes(), *input) == ControlKind::none)
    return place + (input->className == "CIImage" ? "the filter below in the chain supplies this picture"
                                                  : "a chain cannot hold this input");
  if (input->className == "CIImage") {
    const std::string problem = setPicture(box, key, text);
    return problem.empty() ? "" : place + problem;
  }
  const ParsedValue parsed = parseValue(*input, text);
  if (!parsed.ok()) return place + parsed.error;
  if (const CGAffineTransform* transform = parsed.value.transform()) {
    const std::string problem = setTransform(box, key, *transform);
    return problem.empty() ? "" : place + problem;
  }
  filter.setValueForKey(parsed.value, key);
  return "";
}

std::string addFilter(KPImageFilterWindowController& session, const FilterSpec& spec) {
  if (!CIFilter::attributesForFilterName(spec.name)) return unknownFilter(spec.name);
  KPFilterBoxController& box =
      session.filterStack().addFilterWithName(spec.name, session.filters().back().get());
  for (const auto& [key, text] : spec.values)
    if (std::string problem = setValue(box, key, text); !problem.empty()) return problem;
  return "";
}

}  // namespace

FilterSpecResult parseFilterSpec(const std::string& text) {
  const std::vector<std::string> parts = splitAtColons(text);
  FilterSpecResult result;
  result.spec.name = parts.front();
  for (size_t i = 1; i < parts.size(); ++i) {
    const size_t equals = parts[i].find('=');
    if (equals == std::string::npos)
      return {{},
              "\"" + parts[i] + "\" in \"" + text + "\" is not key=value; a colon in a value is written \\:"};
    result.spec.values.emplace_back(parts[i].substr(0, equals), parts[i].substr(equals + 1));
  }
  return result;
}

ChainTextOrError makeChain(const CGSize& size, const std::vector<FilterSpec>& filters) {
  KPImageFilterWindowController session(imageOfSize(size), 0, ColorSpace::sRGB(), false);
  for (const FilterSpec& spec : filters)
    if (std::string problem = addFilter(session, spec); !problem.empty()) return {"", problem};
  const auto text = session.filterChainAsString();
  return text ? ChainTextOrError{*text, ""} : ChainTextOrError{"", "the chain cannot be written as text"};
}

}  // namespace vello::cli
