#include "engine/plan/whole_images.h"

#include <cmath>

#include "platform/pixel_conversion.h"

namespace vello {
namespace {

constexpr double kLargestTable = 1 << 22;  // samples
constexpr double kLargestWhole = 1 << 28;  // samples
constexpr int64_t kReduceBlock = 256;

// The whole of an image, on a lattice coarse enough for `most` samples.
Buffer renderWhole(const NodePtr& image, Lattice lattice, double most, const ProgramOptions& options,
                   std::string& error) {
  if (isInfinite(image->extent)) {
    error = "an image that is read whole is unbounded";
    return {};
  }
  lattice.ox = lattice.oy = 0;
  while (covering(image->extent, lattice).area() > most) lattice.pitch *= 2;
  ProgramOptions inner = options;
  inner.outline = false;
  ++inner.depth;
  Program program;
  error = buildProgram(CIImage(image), lattice, inner, program);
  Buffer out;
  if (error.empty()) error = options.renderWhole(program, covering(image->extent, lattice), out);
  return out;
}

Bitmap eightBit(const EightBitFrame& frame, std::vector<uint8_t> bytes) {
  PixelLayout layout;
  layout.width = frame.width;
  layout.height = frame.height;
  layout.bytesPerRow = int64_t{frame.width} * 4;
  layout.alpha = AlphaInfo::last;
  return {layout, ColorSpace::sRGB(), Data(std::move(bytes))};
}

struct FrameBytes {
  std::vector<uint8_t> bytes;
  EightBitFrame frame{};
};

FrameBytes frameOf(const Buffer& buffer, const ProgramOptions& options) {
  FrameBytes f;
  f.frame.width = static_cast<int>(buffer.rect().width());
  f.frame.height = static_cast<int>(buffer.rect().height());
  f.bytes.resize(static_cast<size_t>(f.frame.width) * static_cast<size_t>(f.frame.height) * 4);
  f.frame.rgba = f.bytes.data();
  PixelLayout layout;
  layout.alpha = AlphaInfo::last;
  layout.width = f.frame.width;
  layout.height = f.frame.height;
  layout.bytesPerRow = layout.width * 4;
  const PixelWriter writer(layout, ColorSpace::sRGB(), options.working);
  for (int64_t row = 0; row < layout.height; ++row) {
    const Run run = buffer.at(buffer.rect().x0, buffer.rect().y1 - 1 - row);
    writer.write({run.r, run.g, run.b, run.a}, f.frame.width, f.frame.rgba + row * layout.bytesPerRow);
  }
  return f;
}

Bitmap foreignFrame(const Node& node, const void* kernel, const ProgramOptions& options, std::string& error) {
  std::vector<FrameBytes> inputs;
  std::vector<EightBitFrame> frames;
  for (const NodePtr& input : node.inputs) {
    inputs.push_back(frameOf(renderWhole(input, {}, kLargestWhole, options, error), options));
    if (!error.empty()) return {};
    frames.push_back(inputs.back().frame);
  }
  FrameBytes out;
  out.frame.width = static_cast<int>(std::ceil(node.extent.size.width));
  out.frame.height = static_cast<int>(std::ceil(node.extent.size.height));
  out.bytes.resize(static_cast<size_t>(out.frame.width) * static_cast<size_t>(out.frame.height) * 4);
  out.frame.rgba = out.bytes.data();
  if (node.ops->frame(kernel, frames.data(), static_cast<int>(frames.size()), out.frame))
    return eightBit(out.frame, std::move(out.bytes));
  error = "a foreign filter failed";
  return {};
}

}  // namespace

std::unique_ptr<std::max_align_t[]> newKernel(const KernelOps& ops, const Values& values,
                                              const Given& given) {
  const size_t unit = sizeof(std::max_align_t);
  auto kernel = std::make_unique<std::max_align_t[]>((static_cast<size_t>(ops.size) + unit - 1) / unit);
  Given own = given;
  own.ops = &ops;
  ops.make(kernel.get(), values, own);
  return kernel;
}

void makeProbe(const Node& node, double pitch, std::unique_ptr<std::max_align_t[]>& kernel) {
  std::vector<CGRect> extents;
  for (const NodePtr& input : node.inputs) extents.push_back(input->extent);
  const std::vector<Table> none(node.inputs.size());
  kernel = newKernel(*node.ops, node.values,
                     {{extents.data(), static_cast<int>(extents.size())},
                      {none.data(), static_cast<int>(none.size())},
                      nullptr,
                      pitch});
}

Table wholeTable(const NodePtr& image, const ProgramOptions& options, std::vector<Px>& samples,
                 std::string& error) {
  const Buffer buffer = renderWhole(image, {}, kLargestTable, options, error);
  const IndexRect& r = buffer.rect();
  for (int64_t j = r.y0; j < r.y1; ++j)
    for (int64_t i = r.x0; i < r.x1; ++i) samples.push_back(buffer.get(i, j));
  return {samples.data(), static_cast<int>(r.width()), static_cast<int>(r.height())};
}

Values wholeReduction(const Node& node, const Lattice& lattice, const ProgramOptions& options,
                      std::string& error) {
  Values found;
  const Buffer buffer = renderWhole(node.inputs[0], lattice, kLargestWhole, options, error);
  if (!error.empty()) return found;
  const KernelOps& ops = *node.ops;
  const size_t units =
      (static_cast<size_t>(ops.stateSize) + sizeof(std::max_align_t) - 1) / sizeof(std::max_align_t);
  const auto total = std::make_unique<std::max_align_t[]>(units),
             part = std::make_unique<std::max_align_t[]>(units);
  ops.zero(total.get());
  const IndexRect& r = buffer.rect();
  for (int64_t j = r.y0; j < r.y1; j += kReduceBlock) {
    for (int64_t i = r.x0; i < r.x1; i += kReduceBlock) {
      ops.zero(part.get());
      for (int64_t row = j; row < std::min(j + kReduceBlock, r.y1); ++row)
        ops.add(part.get(), buffer.at(i, row), static_cast<int>(std::min(kReduceBlock, r.x1 - i)));
      ops.merge(total.get(), part.get());
    }
  }
  ops.finish(total.get(), found);
  return found;
}

Bitmap wholePicture(const Node& node, double scale, const ProgramOptions& options, std::string& error) {
  if (node.extent.size.width * node.extent.size.height * scale * scale > kLargestWhole) {
    error = "a picture that is drawn whole is too large";
    return {};
  }
  std::unique_ptr<std::max_align_t[]> kernel;
  makeProbe(node, 1 / scale, kernel);
  if (node.ops->kind == Kind::frame) return foreignFrame(node, kernel.get(), options, error);
  Bitmap drawn = node.ops->draw(kernel.get(), scale);
  if (drawn.empty()) error = "a picture could not be drawn";
  return drawn;
}

}  // namespace vello
