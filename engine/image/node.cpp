#include "engine/image/node.h"

#include <cmath>

#include "engine/filters/color_matrix.h"
#include "engine/image/extent.h"

namespace vello {
namespace {

void addValue(DigestBuilder& d, const Value& value) {
  if (value.isNumber()) d.add(uint64_t{1}).add(value.number());
  if (const std::string* text = value.string()) d.add(uint64_t{2}).add(std::string_view(*text));
  if (const Data* data = value.data())
    d.add(uint64_t{3}).add(std::string_view(reinterpret_cast<const char*>(data->data()), data->size()));
  if (const CIVector* v = value.vector()) {
    d.add(uint64_t{4}).add(static_cast<uint64_t>(v->count()));
    for (double c : v->values()) d.add(c);
  }
  if (const CIColor* c = value.color())
    d.add(uint64_t{5}).add(c->red()).add(c->green()).add(c->blue()).add(c->alpha());
  if (const CGAffineTransform* t = value.transform())
    d.add(uint64_t{6}).add(t->a).add(t->b).add(t->c).add(t->d).add(t->tx).add(t->ty);
}

void addRect(DigestBuilder& d, const CGRect& r) {
  d.add(r.origin.x).add(r.origin.y).add(r.size.width).add(r.size.height);
}

CIImage finished(std::shared_ptr<Node> node) {
  DigestBuilder d;
  d.add(static_cast<uint64_t>(node->type)).add(node->bitmap.serial());
  const CGAffineTransform& t = node->transform;
  d.add(t.a).add(t.b).add(t.c).add(t.d).add(t.tx).add(t.ty);
  addRect(d, node->rect);
  // A kernel's table lives as long as the process, so its address is its identity.
  d.add(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(node->ops)));
  for (const NamedValue& item : node->values.items()) {
    if (item.value.image()) continue;
    d.add(std::string_view(item.key));
    addValue(d, item.value);
  }
  for (const NodePtr& input : node->inputs) d.add(input->digest);
  node->digest = d.digest();
  return CIImage(std::move(node));
}

std::shared_ptr<Node> newNode(Node::Type type, const CIImage& input) {
  auto node = std::make_shared<Node>();
  node->type = type;
  node->inputs = {input.node()};
  return node;
}

bool holds(const CGRect& outer, const CGRect& inner) { return intersection(outer, inner) == inner; }

bool isFinite(const CGAffineTransform& t) {
  return std::isfinite(t.a) && std::isfinite(t.b) && std::isfinite(t.c) && std::isfinite(t.d) &&
         std::isfinite(t.tx) && std::isfinite(t.ty);
}

CGRect moved(const CGRect& r, const CGAffineTransform& t) {
  if (isInfinite(r)) return r;
  const CGRect m = CGRectApplyAffineTransform(r, t);
  const double limit = -kInfiniteExtent.origin.x;
  const bool fits = std::abs(m.origin.x) < limit && std::abs(m.origin.y) < limit && m.size.width < limit &&
                    m.size.height < limit;
  return fits ? m : kInfiniteExtent;
}

}  // namespace

Node::~Node() {
  // Nodes that only this one holds are collected here instead of being destroyed inside one another.
  std::vector<NodePtr> waiting = std::move(inputs);
  while (!waiting.empty()) {
    NodePtr node = std::move(waiting.back());
    waiting.pop_back();
    if (!node || node.use_count() != 1) continue;
    for (NodePtr& input : const_cast<Node&>(*node).inputs) waiting.push_back(std::move(input));
    const_cast<Node&>(*node).inputs.clear();
  }
}

CIImage affine(const CIImage& input, const CGAffineTransform& transform) {
  if (input.isNil() || transform == CGAffineTransform{}) return input;
  const bool singular = transform.a * transform.d == transform.b * transform.c;
  if (!isFinite(transform) || singular || isEmpty(input.extent())) return CIImage::emptyImage();
  const Node& inner = *input.node();
  if (inner.type == Node::Type::affine)
    return affine(CIImage(inner.inputs[0]), CGAffineTransformConcat(inner.transform, transform));
  auto node = newNode(Node::Type::affine, input);
  node->transform = transform;
  node->extent = moved(input.extent(), transform);
  return finished(std::move(node));
}

CIImage crop(const CIImage& input, const CGRect& rect) {
  if (input.isNil()) return input;
  const CGRect inside = intersection(input.extent(), rect);
  if (isEmpty(inside)) return CIImage::emptyImage();
  if (inside == input.extent()) return input;
  const Node& inner = *input.node();
  if (inner.type == Node::Type::crop) return crop(CIImage(inner.inputs[0]), intersection(inner.rect, rect));
  if (inner.type == Node::Type::unbounded && holds(rect, CIImage(inner.inputs[0]).extent()))
    return CIImage(inner.inputs[0]);
  auto node = newNode(Node::Type::crop, input);
  node->rect = rect;
  node->extent = inside;
  return finished(std::move(node));
}

CIImage clampEdges(const CIImage& input, const CGRect& rect) {
  if (input.isNil() || isInfinite(rect)) return input;
  if (isEmpty(rect)) return CIImage::emptyImage();
  auto node = newNode(Node::Type::clamp, input);
  node->rect = rect;
  node->extent = kInfiniteExtent;
  return finished(std::move(node));
}

CIImage unbounded(const CIImage& input) {
  if (input.isNil() || isInfinite(input.extent())) return input;
  auto node = newNode(Node::Type::unbounded, input);
  node->extent = kInfiniteExtent;
  return finished(std::move(node));
}

namespace {

bool isClear(const CIImage& image) {
  const Node* node = image.node().get();
  while (node->type == Node::Type::unbounded) node = node->inputs[0].get();
  return node->type == Node::Type::empty;
}

// The one of `images` that a blend over transparent images hands through, or nil.
CIImage passedImage(const KernelOps* ops, const std::vector<CIImage>& images, const CGRect& extent) {
  if (!ops->passes) return {};
  bool clear[4] = {};
  for (size_t i = 0; i < images.size(); ++i) clear[i] = isClear(images[i]);
  const int index = ops->passes({clear, static_cast<int>(images.size())});
  if (index < 0) return {};
  if (isInfinite(extent)) return unbounded(images[index]);
  return images[index].extent() == extent ? images[index] : CIImage();
}

}  // namespace

CIImage applyKernel(const KernelOps* ops, const Values& values, std::vector<CIImage> images) {
  auto node = std::make_shared<Node>();
  node->type = Node::Type::kernel;
  node->ops = ops;
  std::vector<CGRect> extents;
  for (const CIImage& image : images) {
    if (image.isNil()) return {};
    extents.push_back(image.extent());
    node->inputs.push_back(image.node());
  }
  if (ops->identity && !images.empty() && ops->identity(values)) return images[0];
  if (ops->matrix)
    if (CIImage joined = joinedMatrices(ops, values, images[0]); !joined.isNil()) return joined;
  node->extent = ops->extent(values, {extents.data(), static_cast<int>(extents.size())});
  if (ops->clear && ops->clear(values))
    return isInfinite(node->extent) ? unbounded(CIImage::emptyImage()) : CIImage::emptyImage();
  if (CIImage passed = passedImage(ops, images, node->extent); !passed.isNil()) return passed;
  for (const NamedValue& item : values.items())
    if (!item.value.image()) node->values.set(item.key, item.value);
  if (isEmpty(node->extent) && ops->kind != Kind::reduce) return CIImage::emptyImage();
  return finished(std::move(node));
}

CIImage CIImage::imageWithBitmap(const Bitmap& bitmap) {
  if (bitmap.empty()) return {};
  auto node = std::make_shared<Node>();
  node->type = Node::Type::source;
  node->bitmap = bitmap;
  node->extent = {{0, 0}, {static_cast<double>(bitmap.width()), static_cast<double>(bitmap.height())}};
  return finished(std::move(node));
}

CIImage CIImage::emptyImage() {
  static const CIImage empty = finished(std::make_shared<Node>());
  return empty;
}

CGRect CIImage::extent() const { return node_ ? node_->extent : CGRect{}; }

CIImage CIImage::imageByApplyingTransform(const CGAffineTransform& transform) const {
  return affine(*this, transform);
}

CIImage CIImage::imageByCroppingToRect(const CGRect& rect) const { return crop(*this, rect); }

CIImage CIImage::imageByClampingToExtent() const { return clampEdges(*this, extent()); }

const Bitmap* CIImage::sourceBitmap() const {
  const Node* node = node_.get();
  while (node && node->type == Node::Type::unbounded) node = node->inputs[0].get();
  return node && node->type == Node::Type::source ? &node->bitmap : nullptr;
}

bool operator==(const CIImage& a, const CIImage& b) {
  if (a.isNil() || b.isNil()) return a.isNil() == b.isNil();
  return a.node_ == b.node_ || a.node_->digest == b.node_->digest;
}

}  // namespace vello
