#include "engine/plan/program.h"

#include <cmath>
#include <set>

#include "engine/plan/regions.h"
#include "engine/plan/sample_request.h"
#include "engine/plan/source_chain.h"
#include "engine/plan/whole_images.h"

namespace vello {
namespace {

// Reaches beyond this many samples are computed on a coarser grid and expanded.
constexpr double kLongestProfile = 2048;
constexpr double kLongestWindow = 128;
constexpr int kMostHalvings = 30;       // of a kernel's own lattice, and of texels
constexpr int kMostEdgeHalvings = 100;  // of a lattice that is interpolated

using Request = SampleRequest;

// Finer samples than the image's own are asked for only by a render that is finer itself.
int limitedHalvings(const Lattice& l, int halvings) {
  while (halvings < 0 && std::ldexp(l.pitch, halvings) < std::min(1.0, l.pitch)) ++halvings;
  return halvings;
}

double linearScale(const CGAffineTransform& t) { return std::sqrt(std::abs(t.a * t.d - t.b * t.c)); }

// A bitmap whose texels, or squares of them, are the units of the means that samples are.
struct TexelMeans {
  SourceChain chain;
  double side;         // of a square
  double x, y, width;  // where sample 0 begins and how far it reaches, in squares
};

std::optional<TexelMeans> texelMeansOf(const Request& request) {
  const Lattice& l = request.lattice;
  if (l.pitch <= 1 || request.node->type == Node::Type::kernel) return std::nullopt;
  auto chain = sourceChain(request.node);
  if (!chain || chain->source->type != Node::Type::source) return std::nullopt;
  const CGAffineTransform& t = chain->toTexel;
  if (t.a != 1 || t.b != 0 || t.c != 0 || t.d != 1) return std::nullopt;
  // Means of four and more a side may be at hand.
  const double side = l.pitch < 4 ? 1 : std::exp2(std::floor(std::log2(std::min(l.pitch, 1e9))));
  const TexelMeans found{*chain, side, (l.ox + t.tx) / side, (l.oy + t.ty) / side, l.pitch / side};
  const bool themselves = found.width == 1 && isWhole(found.x) && isWhole(found.y);
  return themselves ? std::nullopt : std::optional(found);
}

class Builder {
 public:
  Builder(const ProgramOptions& options, Program& program) : options_(options), program_(program) {}

  std::string build(const Request& root) {
    std::vector<Request> open{root};
    while (!open.empty() && error_.empty()) {
      const Request request = open.back();
      if (done_.count(request.key())) {
        ++program_.shared;
        open.pop_back();
        continue;
      }
      const size_t before = open.size();
      for (const Request& need : needs(request))
        if (!done_.count(need.key())) open.push_back(need);
      if (open.size() != before) continue;
      open.pop_back();
      done_[request.key()] = emit(request);
    }
    if (error_.empty()) program_.root = done_[root.key()];
    return error_;
  }

 private:
  int halvings(const Request& request) const;
  std::vector<Request> needs(const Request& request) const;
  Lattice edgeLattice(const Request& request) const;
  Lattice kernelLattice(const Request& request) const;
  int emit(const Request& request);
  int push(Step step);
  std::shared_ptr<const KeptSamples> keptOf(const Request& request) const {
    return options_.kept ? options_.kept(request.node->digest, request.lattice) : nullptr;
  }
  int pushLine(Step step);
  int stepOf(const NodePtr& node, const Lattice& lattice) const;
  GridEdge edge(const NodePtr& input, const Lattice& own, const Lattice& child,
                const CGAffineTransform& toInput);
  GridEdge stepEdge(int step, const Lattice& child, const CGAffineTransform& toInput) const;
  const TexelSource* sourceOf(const NodePtr& node, CGAffineTransform& toTexel, CGRect& valid, double pitch);
  int emitKernel(const Request& request, Step step);
  int axisStep(const Node& node, int input, const Lattice& lattice, const IndexRect& bounds, AxisStage x,
               AxisStage y);
  int separated(const Request& request, Step kernel);
  int repeated(const Request& request, const Step& kernel);
  bool showsCells(const Request& request) const;
  void makeKernel(const Node& node, const Lattice& lattice, Step& step);
  int averaged(const Request& request);
  int texelMeans(const Request& request, const TexelMeans& means);
  int expanded(const Request& request, int coarse);

  const ProgramOptions& options_;
  Program& program_;
  std::map<SampleKey, int> done_;
  std::string error_;
};

bool readsWhole(const Node& node, size_t image) {
  return (node.ops->tableMask >> image & 1) != 0 ||
         isKernel(*passUnbounded(node.inputs[image]), Kind::reduce);
}

// How many times coarser than the output the lattice is that a kernel of long reach computes on.
int Builder::halvings(const Request& request) const {
  const Node& node = *request.node;
  const Kind kind = node.ops->kind;
  const bool window = kind == Kind::area || kind == Kind::extreme;
  if (kind != Kind::separable && kind != Kind::line && !window) return 0;
  Step probe;
  makeProbe(node, request.lattice.pitch, probe.kernel);
  double reach = node.ops->reach(probe.kernel.get());
  if (kind == Kind::extreme) reach = std::max(reach, node.ops->chord(probe.kernel.get(), 0));
  reach /= request.lattice.pitch;
  const double most = window ? kLongestWindow : kLongestProfile;
  return reach > most ? std::min(kMostHalvings, static_cast<int>(std::ceil(std::log2(reach / most)))) : 0;
}

Lattice Builder::kernelLattice(const Request& request) const {
  Lattice l = request.lattice;
  const int coarser = halvings(request);
  l.pitch = std::ldexp(l.pitch, coarser);
  // What is that smooth shows nothing of finer samples.
  if (coarser > 0) l.quality = Quality::draft;
  return l;
}

// Cells smaller than the samples cannot be seen.
bool Builder::showsCells(const Request& request) const {
  Step probe;
  makeProbe(*request.node, request.lattice.pitch, probe.kernel);
  return request.node->ops->cell(probe.kernel.get()) >= request.lattice.pitch;
}

// Of a step whose samples are interpolated.
Lattice Builder::edgeLattice(const Request& request) const {
  const Node& node = *request.node;
  double shrink = 1;  // input units an output unit
  if (node.type == Node::Type::affine) shrink = linearScale(CGAffineTransformInvert(node.transform));
  if (node.type == Node::Type::kernel && node.ops->magnification)
    shrink = 1 / std::max(1.0f, node.ops->magnification(node.values));
  const double exponent = std::floor(std::log2(shrink) + 1e-6);
  const int k = static_cast<int>(std::clamp(exponent, -4.0, static_cast<double>(kMostEdgeHalvings)));
  // What is interpolated lies on image space's own grid, wherever the render's rectangle begins.
  const Lattice& own = request.lattice;
  return {0, 0, std::ldexp(own.pitch, limitedHalvings(own, k)), own.quality, own.halved};
}

std::vector<Request> Builder::needs(const Request& request) const {
  const Node& node = *request.node;
  if (keptOf(request)) return {};
  if (texelMeansOf(request)) return {};
  if (finerBy(request) > 0) return {finer(request)};
  const auto same = [&](const NodePtr& n) { return Request{n, request.lattice}; };
  switch (node.type) {
    case Node::Type::empty:
    case Node::Type::source:
      return {};
    case Node::Type::unbounded:
    case Node::Type::crop:
    case Node::Type::clamp:
      return sourceChain(request.node) ? std::vector<Request>{} : std::vector{same(node.inputs[0])};
    case Node::Type::affine:
      if (sourceChain(request.node)) return {};
      return {{node.inputs[0], edgeLattice(request)}};
    case Node::Type::kernel:
      break;
  }
  std::vector<Request> list;
  const Kind kind = node.ops->kind;
  if (kind == Kind::raster || kind == Kind::frame || kind == Kind::reduce) return list;
  const Lattice own = kernelLattice(request);
  for (size_t i = 0; i < node.inputs.size(); ++i) {
    if (readsWhole(node, i)) continue;
    const bool moved =
        kind == Kind::warp || (kind == Kind::taps && i > 0) || (kind == Kind::cells && showsCells(request));
    if (moved && sourceChain(node.inputs[i])) continue;
    list.push_back({node.inputs[i], moved || kind == Kind::zoom ? edgeLattice(request) : own});
  }
  return list;
}

int Builder::push(Step step) {
  program_.steps.push_back(std::move(step));
  return static_cast<int>(program_.steps.size()) - 1;
}

int Builder::stepOf(const NodePtr& node, const Lattice& lattice) const {
  const auto found = done_.find(Request{node, lattice}.key());
  return found == done_.end() ? -1 : found->second;
}

const TexelSource* Builder::sourceOf(const NodePtr& node, CGAffineTransform& toTexel, CGRect& valid,
                                     double pitch) {
  Bitmap bitmap = node->bitmap;
  if (node->type == Node::Type::kernel) {
    const double scale = isKernel(*node, Kind::raster) ? 1 / pitch : 1;
    bitmap = wholePicture(*node, scale, options_, error_);
    const CGPoint o = node->extent.origin;
    toTexel = CGAffineTransformConcat(toTexel, {scale, 0, 0, scale, -o.x * scale, -o.y * scale});
    valid = {{0, 0}, {static_cast<double>(bitmap.width()), static_cast<double>(bitmap.height())}};
    if (bitmap.empty()) return nullptr;
  }
  if (options_.outline) return nullptr;
  auto& source = program_.sources[bitmap.serial()];
  const bool drawn = node->type == Node::Type::kernel;  // anew for every program
  auto pyramid = !source && !drawn && options_.pyramid ? options_.pyramid(bitmap) : nullptr;
  if (!source)
    source = std::make_unique<TexelSource>(bitmap, options_.working, options_.set, std::move(pyramid));
  return source.get();
}

GridEdge Builder::edge(const NodePtr& input, const Lattice& own, const Lattice& child,
                       const CGAffineTransform& toInput) {
  GridEdge e;
  if (auto chain = sourceChain(input)) {
    CGAffineTransform toTexel = CGAffineTransformConcat(toInput, chain->toTexel);
    e.source = sourceOf(chain->source, toTexel, chain->valid, own.pitch);
    const double footprint = std::min(own.pitch, child.pitch) * linearScale(toTexel);
    if (footprint >= 2) e.level = std::min(kMostHalvings, static_cast<int>(std::floor(std::log2(footprint))));
    const double side = std::ldexp(1.0, e.level);
    e.toGrid = CGAffineTransformConcat(toTexel, {1 / side, 0, 0, 1 / side, -0.5, -0.5});
    e.valid = covering(chain->valid, {0, 0, side});
    e.clamp = chain->clamp;
    const CGAffineTransform& t = e.toGrid;
    e.exact = e.level == 0 && t.a == 1 && t.b == 0 && t.c == 0 && t.d == 1 && own.pitch == 1 &&
              isWhole(own.ox + 0.5 + t.tx) && isWhole(own.oy + 0.5 + t.ty);
    return e;
  }
  return stepEdge(stepOf(input, child), child, toInput);
}

GridEdge Builder::stepEdge(int step, const Lattice& child, const CGAffineTransform& toInput) const {
  GridEdge e;
  e.step = step;
  e.valid = program_.steps[static_cast<size_t>(e.step)].bounds;
  const double p = 1 / child.pitch;
  e.toGrid = CGAffineTransformConcat(toInput, {p, 0, 0, p, -child.ox * p - 0.5, -child.oy * p - 0.5});
  return e;
}

int Builder::emit(const Request& request) {
  const Node& node = *request.node;
  program_.kept.push_back(request.node);
  if (node.type == Node::Type::unbounded && !sourceChain(request.node))
    return stepOf(node.inputs[0], request.lattice);
  Step step;
  step.node = &node;
  step.lattice = request.lattice;
  step.bounds = covering(node.extent, request.lattice);
  const bool drawn = isKernel(node, Kind::raster) || isKernel(node, Kind::frame);
  if (node.type == Node::Type::empty) return push(std::move(step));
  if (auto kept = keptOf(request)) {
    step.op = Step::Op::stored;
    step.straight = kept->straight;
    step.stored = std::move(kept);
    return push(std::move(step));
  }
  if (const auto means = texelMeansOf(request)) return texelMeans(request, *means);
  if (finerBy(request) > 0) return averaged(request);
  if (drawn || (node.type != Node::Type::kernel && sourceChain(request.node))) {
    step.op = Step::Op::sample;
    step.edges = {edge(request.node, request.lattice, request.lattice, {})};
    step.inputs = {-1};
    return error_.empty() ? push(std::move(step)) : -1;
  }
  switch (node.type) {
    case Node::Type::affine:
      step.op = Step::Op::sample;
      step.edges = {edge(node.inputs[0], request.lattice, edgeLattice(request),
                         CGAffineTransformInvert(node.transform))};
      break;
    case Node::Type::crop:
      step.op = Step::Op::crop;
      break;
    case Node::Type::clamp:
      step.op = Step::Op::clamp;
      step.clampRect = insideOf(node.rect, request.lattice);
      break;
    default:
      return emitKernel(request, std::move(step));
  }
  if (step.op == Step::Op::sample) {
    step.inputs = {step.edges[0].step};
  } else {
    step.inputs = {stepOf(node.inputs[0], request.lattice)};
    step.straight = step.op == Step::Op::crop && program_.steps[static_cast<size_t>(step.inputs[0])].straight;
  }
  return push(std::move(step));
}

void Builder::makeKernel(const Node& node, const Lattice& lattice, Step& step) {
  std::vector<CGRect> extents;
  std::vector<Table> tables(node.inputs.size());
  const Values* reduced = nullptr;
  for (size_t i = 0; i < node.inputs.size() && error_.empty(); ++i) {
    const NodePtr& input = passUnbounded(node.inputs[i]);
    extents.push_back(input->extent);
    if (isKernel(*input, Kind::reduce)) {
      program_.found.push_back(std::make_unique<Values>(wholeReduction(*input, lattice, options_, error_)));
      reduced = program_.found.back().get();
    } else if (readsWhole(node, i)) {
      program_.tables.emplace_back();
      tables[i] = wholeTable(input, options_, program_.tables.back(), error_);
    }
  }
  if (!error_.empty()) return;
  Values values = node.values;
  values.setWorkingMatrix(options_.workingMatrix);
  const Given given{{extents.data(), static_cast<int>(extents.size())},
                    {tables.data(), static_cast<int>(tables.size())},
                    reduced,
                    lattice.pitch};
  step.kernel = newKernel(*node.ops, values, given);
  step.anchor = node.ops->anchor(step.kernel.get());
}

int Builder::emitKernel(const Request& request, Step step) {
  const Node& node = *request.node;
  const KernelOps& ops = *node.ops;
  step.op = Step::Op::kernel;
  step.ops = &ops;
  step.straight = ops.straight;
  step.lattice = kernelLattice(request);
  step.bounds = covering(node.extent, step.lattice);
  if (ops.kind == Kind::reduce) error_ = "a reduction has no picture of its own";
  if (error_.empty()) makeKernel(node, step.lattice, step);
  if (!error_.empty()) return -1;
  if (ops.kind == Kind::separable || ops.kind == Kind::resample) return separated(request, std::move(step));
  if (ops.kind == Kind::cells) return repeated(request, step);
  for (size_t i = 0; i < node.inputs.size(); ++i) {
    if (readsWhole(node, i)) {
      step.inputs.push_back(-1);
    } else if (ops.kind == Kind::warp || (ops.kind == Kind::taps && i > 0)) {
      step.edges.push_back(edge(node.inputs[i], step.lattice, edgeLattice(request), {}));
      step.inputs.push_back(step.edges.back().step);
    } else if (ops.kind == Kind::zoom) {
      // Light is added, so light is interpolated, of bitmaps as well.
      const Lattice child = edgeLattice(request);
      step.edges.push_back(stepEdge(stepOf(node.inputs[i], child), child, {}));
      step.inputs.push_back(step.edges.back().step);
    } else {
      step.inputs.push_back(stepOf(node.inputs[i], step.lattice));
    }
  }
  const void* k = step.kernel.get();
  const double pitch = step.lattice.pitch;
  if (ops.kind == Kind::line) return expanded(request, pushLine(std::move(step)));
  if (ops.kind == Kind::area) step.reach = step.rise = static_cast<int64_t>(std::ceil(ops.reach(k) / pitch));
  if (ops.kind == Kind::taps) step.bound = ops.bound(node.values);
  if (ops.kind == Kind::extreme) {
    step.op = Step::Op::axis;
    step.chords = chordsOf(&ops, k, pitch);
  }
  return expanded(request, push(std::move(step)));
}

void setLine(Step& step, std::vector<LineTap> line) {
  step.line = std::move(line);
  for (const LineTap& tap : step.line) {
    step.reach = std::max<int64_t>(step.reach, std::abs(tap.di));
    step.rise = std::max<int64_t>(step.rise, std::abs(tap.dj));
  }
}

// The steps of a sum along a line.
int Builder::pushLine(Step step) {
  LineSum sum = lineSum(step.ops, step.kernel.get(), step.lattice.pitch, options_.direct);
  const int input = step.inputs[0];
  const IndexRect in = program_.steps[static_cast<size_t>(input)].bounds;
  step.inputs.clear();
  for (auto& line : sum.parts) {
    Step part;
    part.op = step.op;
    part.node = step.node;
    part.lattice = step.lattice;
    part.ops = step.ops;
    part.inputs = {input};
    setLine(part, std::move(line));
    part.bounds = grown(in, part.reach, part.rise);
    step.inputs.push_back(push(std::move(part)));
  }
  step.inputs.push_back(input);
  setLine(step, std::move(sum.whole));
  return push(std::move(step));
}

int Builder::axisStep(const Node& node, int input, const Lattice& lattice, const IndexRect& bounds,
                      AxisStage x, AxisStage y) {
  Step step;
  step.op = Step::Op::axis;
  step.node = &node;
  step.lattice = lattice;
  step.bounds = bounds;
  step.inputs = {input};
  step.axisX = std::move(x);
  step.axisY = std::move(y);
  return push(std::move(step));
}

// Where the outputs of a stage along both axes may differ from transparent.
IndexRect reached(const AxisStage& stage, const IndexRect& in) {
  const IndexRange across = stage.outputFor({in.x0, in.x1}), along = stage.outputFor({in.y0, in.y1});
  return in.empty() ? IndexRect{} : IndexRect{across.begin, along.begin, across.end, along.end};
}

// The steps of a kernel that works along both axes.
int Builder::separated(const Request& request, Step kernel) {
  const Node& node = *request.node;
  const KernelOps& ops = *node.ops;
  const void* k = kernel.kernel.get();
  Lattice l = kernel.lattice;
  int last = stepOf(node.inputs[0], l);
  if (ops.kind == Kind::resample) {
    const Vec2 s = ops.scale(k);
    last = axisStep(node, last, l, kernel.bounds,
                    AxisStage::resample(&ops, k, s.x, l.ox, l.pitch, l.ox, l.pitch),
                    AxisStage::resample(&ops, k, s.y, l.oy, l.pitch, l.oy, l.pitch));
    program_.kernels.push_back(std::move(kernel.kernel));
  } else {
    for (const AxisStage& stage : separableStages(&ops, k, l.pitch, options_.direct)) {
      const bool finer = stage.type() == AxisStage::Type::expand;
      if (stage.type() == AxisStage::Type::reduce) l.pitch *= stage.factor();
      if (finer) l.pitch /= stage.factor();
      const bool ends = l == kernel.lattice;
      const IndexRect& in = program_.steps[static_cast<size_t>(last)].bounds;
      last = axisStep(node, last, l, ends ? kernel.bounds : reached(stage, in), stage, stage);
    }
  }
  return expanded(request, last);
}

// A sample for every cell; then every cell is filled with it.
int Builder::repeated(const Request& request, const Step& kernel) {
  const Node& node = *request.node;
  if (!showsCells(request)) return stepOf(node.inputs[0], request.lattice);
  const double side = node.ops->cell(kernel.kernel.get());
  const CGPoint& c = kernel.anchor;
  Step middles;
  middles.op = Step::Op::sample;
  middles.node = &node;
  middles.lattice = {c.x - std::floor(c.x / side) * side, c.y - std::floor(c.y / side) * side, side};
  middles.bounds = covering(node.extent, middles.lattice);
  // Few texels are read, so they are those of full size, however coarse the output.
  const Lattice pixels{0, 0, std::min(1.0, request.lattice.pitch)};
  middles.edges = {edge(node.inputs[0], pixels, edgeLattice(request), {})};
  middles.edges[0].exact = false;
  middles.inputs = {middles.edges[0].step};
  const Lattice &in = middles.lattice, &out = request.lattice;
  const auto x = AxisStage::repeat(out.ox, out.pitch, in.ox, side),
             y = AxisStage::repeat(out.oy, out.pitch, in.oy, side);
  const int sampled = push(std::move(middles));
  return axisStep(node, sampled, request.lattice, kernel.bounds, x, y);
}

// The mean of what was computed on finer samples.
int Builder::averaged(const Request& request) {
  const int factor = 1 << finerBy(request);
  const AxisStage mean =
      AxisStage::reduce(factor, std::vector<double>(static_cast<size_t>(factor), 1.0 / factor), 0);
  return axisStep(*request.node, stepOf(request.node, finer(request).lattice), request.lattice,
                  covering(request.node->extent, request.lattice), mean, mean);
}

int Builder::texelMeans(const Request& request, const TexelMeans& means) {
  const Lattice& l = request.lattice;
  const CGAffineTransform& t = means.chain.toTexel;
  Step texels;
  texels.op = Step::Op::sample;
  texels.node = request.node.get();
  texels.lattice = {-t.tx, -t.ty, means.side, l.quality, l.halved};
  texels.bounds = covering(request.node->extent, texels.lattice);
  texels.edges = {edge(request.node, texels.lattice, texels.lattice, {})};
  texels.inputs = {-1};
  return axisStep(*request.node, push(std::move(texels)), l, covering(request.node->extent, l),
                  AxisStage::area(means.width, means.x), AxisStage::area(means.width, means.y));
}

// Brings what was computed on a coarser lattice back to the one asked for.
int Builder::expanded(const Request& request, int coarse) {
  const double pitch = program_.steps[static_cast<size_t>(coarse)].lattice.pitch;
  if (pitch == request.lattice.pitch) return coarse;
  const KernelOps& ops = *request.node->ops;
  const AxisStage stage =
      AxisStage::expand(static_cast<int>(std::lround(pitch / request.lattice.pitch)), ops.smooth != nullptr);
  return axisStep(*request.node, coarse, request.lattice, covering(request.node->extent, request.lattice),
                  stage, stage);
}

}  // namespace

std::vector<bool> stepsRead(const Program& program) {
  std::vector<bool> read(program.steps.size());
  read[static_cast<size_t>(program.root)] = true;
  for (size_t k = static_cast<size_t>(program.root) + 1; k-- > 0;)
    for (const int input : program.steps[k].inputs)
      if (read[k] && input >= 0) read[static_cast<size_t>(input)] = true;
  return read;
}

const TexelSource* movedTexels(const Program& program) {
  const Step* step = &program.steps[static_cast<size_t>(program.root)];
  while (step->op == Step::Op::crop) step = &program.steps[static_cast<size_t>(step->inputs[0])];
  const bool moved = step->op == Step::Op::sample || (step->ops && step->ops->kind == Kind::warp);
  return moved && step->edges[0].encoded() ? step->edges[0].source : nullptr;
}

bool movesTexels(const NodePtr& recipe) {
  NodePtr node = passUnbounded(recipe);
  while (node->type == Node::Type::crop) node = passUnbounded(node->inputs[0]);
  return sourceChain(isKernel(*node, Kind::warp) ? node->inputs[0] : node).has_value();
}

bool isFinerThanAsked(const CIImage& image, const Lattice& lattice) {
  return !image.isNil() && finerBy({image.node(), lattice}) > 0;
}

Quality affordableQuality(const CIImage& image, const Lattice& lattice, ProgramOptions options) {
  constexpr std::pair<Quality, double> most[] = {
      {Quality::settled, 40}, {Quality::thorough, 120}, {Quality::lean, 2000}};
  // A full-size render has the samples it is defined by.
  if (image.isNil() || lattice.pitch <= 1) return Quality::draft;
  Request root{image.node(), lattice};
  options.kept = nullptr;
  options.direct = false;
  options.outline = true;
  for (const auto& [quality, work] : most) {
    if (quality < lattice.quality) continue;
    root.lattice.quality = quality;
    Program program;
    const bool built = Builder(options, program).build(root).empty();
    if (!built || workPerSample(program, false) <= work) return quality;
  }
  return Quality::draft;
}

std::string buildProgram(const CIImage& image, const Lattice& lattice, const ProgramOptions& options,
                         Program& program) {
  if (image.isNil()) return "there is no image to render";
  constexpr int kDeepestPrograms = 16;
  if (options.depth > kDeepestPrograms) return "pictures that are read whole are nested too deeply";
  return Builder(options, program).build({image.node(), lattice});
}

}  // namespace vello
