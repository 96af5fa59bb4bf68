#include "engine/plan/explanation.h"

#include <cmath>
#include <cstdio>
#include <vector>

#include "engine/catalogue/definition.h"
#include "engine/filters/families.h"

namespace vello {
namespace {

std::string text(int64_t v) { return std::to_string(v); }

std::string sizeOf(const IndexRect& r) {
  const bool endless = r.width() >= kIndexLimit || r.height() >= kIndexLimit;
  return endless ? "endless" : text(r.width()) + " x " + text(r.height());
}

const char* kindName(Kind kind) {
  static const char* const names[] = {"point", "blend",     "generate", "warp",   "taps",
                                      "zoom",  "separable", "line",     "area",   "extreme",
                                      "cells", "resample",  "reduce",   "raster", "frame"};
  static_assert(std::size(names) == static_cast<size_t>(Kind::frame) + 1);
  return names[static_cast<int>(kind)];
}

// The filter whose kernel it is; one that belongs to a composition has no name of its own.
std::string filterName(const Node& node) {
  if (!node.ops) return "picture";
  for (const FilterFamily& family : filterFamilies())
    for (const FilterDef& row : family.filters)
      if (row.maker.ops == node.ops) return row.name;
  return std::string("a ") + kindName(node.ops->kind) + " kernel";
}

std::string axisName(const AxisStage& stage) {
  const std::string count = text(stage.count()), factor = text(stage.factor());
  switch (stage.type()) {
    case AxisStage::Type::convolve:
      return "sum of " + count + " x " + count;
    case AxisStage::Type::reduce:
      return "reduced by " + factor;
    case AxisStage::Type::area:
      return "means of " + count + " x " + count;
    case AxisStage::Type::expand:
      return "expanded by " + factor;
    case AxisStage::Type::resample:
      return "resampled, " + count + " terms";
    case AxisStage::Type::repeat:
      return "filled cells";
  }
  return {};
}

std::string windowName(const Chords& chords) {
  return "windows of " + text(2 * chords.halves[0] + 1) + " x " + text(2 * chords.height() + 1);
}

std::string nameOf(const Step& step) {
  const Node& node = *step.node;
  switch (step.op) {
    case Step::Op::empty:
      return "nothing";
    case Step::Op::sample:
      return step.copiesTexels() ? "texels" : step.followsRows() ? "scaled texels" : "interpolated samples";
    case Step::Op::stored:
      return step.stored ? "samples of an earlier render" : "kept samples";
    case Step::Op::crop:
      return "crop";
    case Step::Op::clamp:
      return "repeated edges";
    case Step::Op::axis:
      return filterName(node) + ", " + (step.axisX ? axisName(*step.axisX) : windowName(*step.chords));
    case Step::Op::kernel:
      return filterName(node);
  }
  return {};
}

std::string inputsOf(const Step& step) {
  std::string list;
  for (size_t n = 0; n < step.inputs.size(); ++n)
    if (step.inputs[n] >= 0) list += (list.empty() ? " of " : ", ") + text(step.inputs[n]);
  for (const GridEdge& edge : step.edges)
    if (edge.source)
      list += " from a picture of " + text(edge.source->width(0)) + " x " + text(edge.source->height(0)) +
              (edge.level > 0 ? " at 1/" + text(int64_t{1} << edge.level) : "");
  return list;
}

std::string shortNumber(double v) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.3g", v);
  std::string result = buffer;
  // A host's locale may write a comma.
  if (const auto at = result.find(','); at != std::string::npos) result[at] = '.';
  return result;
}

std::string megabytes(double bytes) { return text(static_cast<int64_t>(std::ceil(bytes / 1e6))) + " MB"; }

std::string headerOf(const Part& part, bool last) {
  const std::string what =
      last ? "rendering " : "step " + text(part.step) + " is computed first, as it is read from afar: ";
  const std::string tiles = " in tiles of " + text(part.tiling.width) + " x " + text(part.tiling.height);
  if (last) return what + sizeOf(part.rect) + tiles + "\n";
  const double bytes = SampleStore::bytesFor(part.rect);
  return what + sizeOf(part.rect) + tiles + "; " + megabytes(bytes) + " are kept, " +
         megabytes(bytes - part.bytesInMemory) + " of them in a temporary file\n";
}

std::string lineOf(const Program& program, size_t k, double pitch, const Passes& passes) {
  const Step& step = program.steps[k];
  std::string line =
      text(static_cast<int64_t>(k)) + "  " + nameOf(step) + inputsOf(step) + ": " + sizeOf(step.bounds);
  if (step.lattice.pitch != pitch) line += ", pitch " + shortNumber(step.lattice.pitch);
  if (step.straight) line += ", straight colour";
  return line + (passes.keptBy[k] >= 0 ? ", keeps rows\n" : "\n");
}

}  // namespace

std::string explanation(Program& program, std::vector<Part>& parts) {
  const double pitch = program.steps[static_cast<size_t>(program.root)].lattice.pitch;
  std::string list;
  std::vector<bool> told(program.steps.size());
  size_t passes = 0;
  int fused = 0;
  double samples = 0;
  for (Part& part : parts) {
    if (part.rect.empty()) continue;
    const PartScope scope(program, part);
    list += headerOf(part, &part == &parts.back());
    const std::vector<bool> read = stepsRead(program);
    for (size_t k = 0; k < program.steps.size(); ++k) {
      if (!read[k] || told[k]) continue;
      list += lineOf(program, k, pitch, part.passes);
      told[k] = true;
    }
    passes += part.passes.list.size();
    fused += part.passes.fused;
    samples += part.tiling.samples * part.rect.area();
  }
  list += text(static_cast<int64_t>(program.steps.size())) + " steps: " + text(fused) +
          " computed in passing, " + text(program.shared) + " used more than once; " +
          text(static_cast<int64_t>(passes)) + " passes; " + shortNumber(samples / parts.back().rect.area()) +
          " samples computed for each of the result\n";
  return list;
}

}  // namespace vello
