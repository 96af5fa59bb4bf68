#include "source/parameters/number_transformers.h"

#include <gtest/gtest.h>

#include <numbers>

#include "platform/exception.h"
#include "source/parameters/KPColorValueTransformer.h"

namespace vello {
namespace {

constexpr float kPi = std::numbers::pi_v<float>;

const KPTimeValueTransformer kTime;
const KPAngleValueTransformer kAngle;
const KPRotationValueTransformer kTurn(0, 2 * kPi, false), kWholeTurn(0, 2 * kPi, true);
const KPRotationValueTransformer kHalfTurns(-kPi, kPi, false);

TEST(NumberTransformers, ShowWhatAFilterHasAndReadWhatIsTyped) {
  const struct {
    const char* name;
    const KPValueTransformer& transformer;
    double model, shown;
  } rows[] = {
      {"time", kTime, 0.25, 25},
      {"an angle", kAngle, kPi / 6, 30},
      {"no range", kAngle, -3 * kPi, -540},
      {"from the maximum backwards", kTurn, kPi * 3 / 2, 90},
      {"full turn", kTurn, 2 * kPi, 0},
      {"about zero", kHalfTurns, 0, 180},
      {"beyond the middle", kHalfTurns, -kPi / 2, 270},
  };
  for (const auto& row : rows) {
    const Value shown = row.transformer.transformedValue(row.model);
    ASSERT_TRUE(shown.single()) << row.name;
    EXPECT_NEAR(*shown.single(), row.shown, 1e-4) << row.name;
    const Value model = row.transformer.reverseTransformedValue(row.shown);
    ASSERT_TRUE(model.single()) << row.name;
    EXPECT_NEAR(*model.single(), row.model, 1e-5) << row.name;
  }
}

TEST(NumberTransformers, AFullTurnEndsAtTheMaximum) {
  EXPECT_EQ(kTurn.transformedValue(0.0f), Value(360.0f));
  EXPECT_EQ(kTurn.reverseTransformedValue(360.0), Value(2 * kPi));
  EXPECT_EQ(kHalfTurns.reverseTransformedValue(359.99), Value(kPi));
  EXPECT_EQ(kHalfTurns.reverseTransformedValue(0.0), Value(kPi));
  EXPECT_EQ(kWholeTurn.transformedValue(2 * kPi - 0.2f), Value(11.0f)) << "11.46 in whole degrees";
}

TEST(NumberTransformers, NilStaysNilAndWhatIsNoNumberRaises) {
  for (const KPValueTransformer* transformer :
       std::initializer_list<const KPValueTransformer*>{&kTime, &kAngle, &kTurn, &kWholeTurn}) {
    EXPECT_TRUE(transformer->transformedValue({}).isNil());
    EXPECT_TRUE(transformer->reverseTransformedValue({}).isNil());
    EXPECT_TRUE(transformer->transformedValue("0.5 s").single());
    try {
      transformer->reverseTransformedValue(CIVector{1, 2});
      ADD_FAILURE() << "nothing raised";
    } catch (const KPException& e) {
      EXPECT_EQ(e.name(), "NSInternalInconsistencyException");
      EXPECT_EQ(e.reason(), "Value (CIVector) does not respond to -floatValue.");
    }
  }
}

TEST(KPColorValueTransformer, OnlyColoursAreShown) {
  const KPColorValueTransformer transformer;
  EXPECT_EQ(transformer.transformedValue(CIColor(2, 0.5, -1, 0.25)), Value(CIColor(2, 0.5, -1, 0.25)));
  EXPECT_EQ(transformer.reverseTransformedValue(CIColor(2, 0.5, -1, 0.25)), Value(CIColor(2, 0.5, -1, 0.25)));
  EXPECT_TRUE(transformer.transformedValue({}).isNil());
  EXPECT_TRUE(transformer.reverseTransformedValue(3.0).isNil());
}

}  // namespace
}  // namespace vello
