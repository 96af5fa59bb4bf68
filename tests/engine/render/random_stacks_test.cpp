// Random stacks of filters: the everyday renderer against the plain one, and against itself.
#include "tests/engine/random_stacks.h"

namespace vello {
namespace {

using testing::builtInFilters;
using testing::imageOf;
using testing::isStepped;
using testing::rendered;
using testing::rgba8;
using testing::rgbaFloat;
using testing::smallest;
using testing::Stack;
using testing::StackMaker;

// Of two renders of one stack. Where a filter has steps, the last bit may put a sample on the other one; what
// lies above may magnify or repeat that sample, so a small picture may show it a few times.
struct Difference {
  int pixels = 0, different = 0, most = 0;
  bool stepped = false;
  std::string error;
  int allowed() const { return stepped ? std::max(1, pixels / 250) : 0; }
  bool tooMuch() const { return !error.empty() || different > allowed(); }
};

// A rectangle's pixels as floats, however the renderer is told to work.
std::vector<uint8_t> samples(const CIImage& image, const CGRect& rect, const ContextOptions& options) {
  std::string error;
  auto bytes = rendered(image, rect, rgbaFloat(0, 0), options, 1, &error);
  EXPECT_EQ(error, "");
  return bytes;
}

double upperEdge(const CGRect& r) { return r.origin.y + r.size.height; }

// The bytes of `part` in a float render of `whole`.
std::vector<uint8_t> cutOut(const std::vector<uint8_t>& bytes, const CGRect& whole, const CGRect& part) {
  constexpr int size = 16;
  const auto across = static_cast<ptrdiff_t>(whole.size.width) * size,
             wide = static_cast<ptrdiff_t>(part.size.width) * size,
             left = static_cast<ptrdiff_t>(part.origin.x - whole.origin.x) * size;
  const auto top = static_cast<ptrdiff_t>(upperEdge(whole) - upperEdge(part));
  std::vector<uint8_t> cut;
  for (ptrdiff_t row = 0; row < static_cast<ptrdiff_t>(part.size.height); ++row) {
    const auto from = bytes.begin() + (top + row) * across + left;
    cut.insert(cut.end(), from, from + wide);
  }
  return cut;
}

void expectSameBytes(const Stack& stack, const CGRect& rect, const std::string& name) {
  const CIImage image = imageOf(stack);
  const auto whole = samples(image, rect, {.tileSide = 512});
  const auto matters = [&](const std::vector<uint8_t>& bytes, const std::vector<uint8_t>& same,
                           const std::string& what) {
    EXPECT_TRUE(bytes == same) << name << ": other bytes " << what << "\n" << text(stack);
  };
  for (const int side : {9, 31, 64})
    matters(samples(image, rect, {.tileSide = side}), whole, "in tiles of " + std::to_string(side));
  for (const int threads : {1, 2})
    matters(samples(image, rect, {.tileSide = 24, .threads = threads}), whole,
            "from " + std::to_string(threads) + " threads");
  matters(samples(image, rect, {.instructionSet = InstructionSet::baseline}), whole,
          "without wide registers");
  const CGRect part{{rect.origin.x + 7, rect.origin.y + 11}, {19, 13}};
  matters(samples(image, part, {}), cutOut(whole, rect, part), "of a part");
}

// How many pixels differ by more than one step.
Difference difference(const Stack& stack, const CGRect& rect) {
  Difference found;
  const CIImage image = imageOf(stack);
  const auto fast = rendered(image, rect, rgba8(0, 0), {}, 1, &found.error);
  if (!found.error.empty()) return found;
  const auto plain = rendered(image, rect, rgba8(0, 0), {.reference = true}, 1, &found.error);
  if (!found.error.empty()) return found;
  for (size_t i = 0; i < fast.size(); i += 4) {
    int most = 0;
    for (size_t c = i; c < i + 4; ++c) most = std::max(most, std::abs(fast[c] - plain[c]));
    found.different += most > 1;
    found.most = std::max(found.most, most);
  }
  found.pixels = static_cast<int>(fast.size() / 4);
  found.stepped = isStepped(stack);
  return found;
}

Difference expectAlike(const Stack& stack, const CGRect& rect, const std::string& name) {
  const Difference found = difference(stack, rect);
  if (!found.tooMuch()) return found;
  const Stack least = smallest(stack, [&](const Stack& s) { return difference(s, rect).tooMuch(); });
  const Difference d = difference(least, rect);
  ADD_FAILURE() << name << ": " << d.different << " of " << d.pixels << " pixels differ, by up to " << d.most
                << " steps. " << d.error << " Rectangle " << rect.origin.x << " " << rect.origin.y << " "
                << rect.size.width << " " << rect.size.height << "\n"
                << text(least);
  return found;
}

// In all pixels that steps may have changed, one in ten thousand may differ.
class Flips {
 public:
  void add(const Difference& d) {
    if (!d.stepped) return;
    pixels_ += d.pixels;
    different_ += d.different;
  }
  ~Flips() { EXPECT_LE(different_, std::max(1, pixels_ / 10000)) << "of " << pixels_ << " pixels"; }

 private:
  int pixels_ = 0, different_ = 0;
};

class FilterAloneTest : public ::testing::TestWithParam<std::string> {};

TEST_P(FilterAloneTest, LooksAsThePlainRendererSays) {
  StackMaker maker(1);
  Flips flips;
  for (int trial = 0; trial < 16; ++trial)
    flips.add(expectAlike({maker.layer(GetParam(), {})}, maker.rect(), "trial " + std::to_string(trial)));
}

TEST_P(FilterAloneTest, HasTheSameBytesHoweverItIsRendered) {
  StackMaker maker(2);
  for (int trial = 0; trial < 4; ++trial)
    expectSameBytes({maker.layer(GetParam(), {})}, maker.rect(), "trial " + std::to_string(trial));
}

INSTANTIATE_TEST_SUITE_P(Catalogue, FilterAloneTest, ::testing::ValuesIn(builtInFilters()),
                         [](const auto& row) { return row.param; });

constexpr int kStacks = 2000, kParts = 8;

class RandomStacksTest : public ::testing::TestWithParam<int> {};

struct Shown {
  Stack stack;
  CGRect rect;
};

bool isOneColour(const Shown& shown) {
  const auto bytes = rendered(imageOf(shown.stack), shown.rect, rgba8(0, 0), {});
  return bytes.empty() || std::equal(bytes.begin() + 4, bytes.end(), bytes.begin());
}

// The first stack from a seed that shows more than one colour.
Shown stackOf(int seed) {
  StackMaker maker(static_cast<uint64_t>(seed));
  for (;;) {
    const Shown shown{maker.stack(2 + seed / kParts % 7), maker.rect()};
    if (!isOneColour(shown)) return shown;
  }
}

TEST_P(RandomStacksTest, LookAsThePlainRendererSays) {
  Flips flips;
  for (int seed = GetParam(); seed < kStacks; seed += kParts) {
    const Shown shown = stackOf(seed);
    flips.add(expectAlike(shown.stack, shown.rect, "seed " + std::to_string(seed)));
  }
}

TEST_P(RandomStacksTest, HaveTheSameBytesHoweverTheyAreRendered) {
  for (int seed = GetParam(); seed < kStacks; seed += kParts * 3) {
    const Shown shown = stackOf(seed);
    expectSameBytes(shown.stack, shown.rect, "seed " + std::to_string(seed));
  }
}

INSTANTIATE_TEST_SUITE_P(Parts, RandomStacksTest, ::testing::Range(0, kParts));

}  // namespace
}  // namespace vello
