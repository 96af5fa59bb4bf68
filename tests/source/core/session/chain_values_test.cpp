// What a chain's values become does not depend on a screen, and what a user set comes back from a chain.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "source/core/session/KPImageFilterWindowController.h"
#include "source/geometry/KPRectParameterView.h"
#include "source/parameters/KPCheckboxParameterController.h"
#include "source/parameters/KPColorParameterController.h"
#include "source/parameters/KPImageParameterController.h"
#include "source/parameters/KPOffsetParameterController.h"
#include "source/parameters/KPRectParameterController.h"
#include "source/parameters/KPSliderParameterController.h"
#include "source/parameters/KPTransformParameterController.h"
#include "source/parameters/KPVector3DParameterController.h"
#include "source/parameters/KPVector4DParameterController.h"
#include "tests/source/core/session_support.h"
#include "tests/source/parameters/controller_fixture.h"
#include "tests/source/screen/scripted_screen.h"

namespace vello::test {
namespace {

const CGSize kSizes[] = {{1, 1}, {600, 300}, {30000, 30000}};

// Of which no pixel is made.
CIImage imageOfSize(CGSize size) {
  const auto plain = CIFilter::filterWithName("CIConstantColorGenerator");
  return plain->outputImage().imageByCroppingToRect({{}, size});
}

struct ValuesSession : KPImageFilterWindowController {
  explicit ValuesSession(CGSize size)
      : KPImageFilterWindowController(imageOfSize(size), 0, ColorSpace::sRGB(), false) {}
  template <class C>
  C& control(std::string_view key) {
    return test::control<C>(*filters().back(), key);
  }
};

std::vector<float> singles(const CIVector& vector) {
  return {vector.values().begin(), vector.values().end()};
}

// `exactly`: vectors too; else those to single precision, and a single may come back as a double.
void expectSameValues(const ValuesSession& session, const ValuesSession& expected, bool exactly) {
  ASSERT_EQ(session.filters().size(), expected.filters().size());
  for (size_t i = 0; i < session.filters().size(); ++i) {
    const CIFilter& filter = *session.filters()[i]->coreFilter();
    const CIFilter& model = *expected.filters()[i]->coreFilter();
    for (const std::string& key : model.inputKeys()) {
      SCOPED_TRACE(model.name() + " " + key);
      const Value &value = filter.valueForKey(key), &wanted = model.valueForKey(key);
      if (exactly || !(wanted.isNumber() || wanted.vector())) {
        EXPECT_EQ(value, wanted);
      } else if (wanted.isNumber()) {
        EXPECT_EQ(value.number(), wanted.number());
      } else {
        EXPECT_THAT(singles(*value.vector()),
                    testing::Pointwise(testing::FloatEq(), singles(*wanted.vector())));
      }
    }
  }
}

// Every handle on a canvas, in a window of two sizes, zoomed.
void showInAWindow(const ValuesSession& session) {
  KPView canvas({{}, {5000, 5000}});
  KPWindow window({{100, 100}, {300, 200}});
  window.contentView().addSubview(canvas);
  for (const double zoom : {0.25, 3.0}) {
    window.setFrame({{100, 100}, {400 * zoom, 300 * zoom}});
    for (const auto& box : session.filters())
      for (const auto& controller : box->parameterControllers()) {
        auto* owner = dynamic_cast<KPParameterViewControllerProtocol*>(controller.get());
        KPGeometryParameterView* view = owner ? owner->geometryParameterView() : nullptr;
        if (!view) continue;
        canvas.addSubview(*view);
        view->setTransform({zoom, 0, 0, zoom, 5, 7});
        view->enableDraw();
      }
  }
}

// As a user would, something into every kind of control.
void setEveryControl(ValuesSession& session) {
  session.control<KPSliderParameterController>("inputScalar").slider().userMovedTo(0.337);
  session.control<KPSliderParameterController>("inputInteger").editBox().userTyped("7,25");
  session.control<KPCheckboxParameterController>("inputBoolean").checkbox().userToggled();
  session.control<KPVector2DParameterController>("inputPosition").editBoxX().userTyped("133");
  session.control<KPVector3DParameterController>("inputPosition3").editBoxZ().userTyped("-17");
  session.control<KPOffsetParameterController>("inputOffset").editBoxY().userTyped("-2.5");
  session.control<KPRectParameterController>("inputRectangle").editBoxW().userTyped("77");
  session.control<KPVector4DParameterController>("inputVector").editBoxW().userTyped("0.123456");
  session.control<KPColorParameterController>("inputColor").colorWell().userPicked({0.1, 1.0 / 3, 2, 1});
  session.control<KPColorParameterController>("inputColor").opacitySlider().userMovedTo(0.7);
  auto& transform = session.control<KPTransformParameterController>("inputTransform");
  transform.scaleEditBoxX().userTyped("1.337");
  transform.rotateEditBox().userTyped("0.123");
  transform.skewSlider().userMovedTo(-12.3456);
  auto& mask = session.control<KPImageParameterController>("inputMaskImage");
  dynamic_cast<KPRectParameterView&>(*mask.geometryParameterView())
      .setDestinationRectValue(KPRectTemplate(0.1f, 0.2f, 0.33f, 0.77f));
}

TEST(ChainValues, AScreenChangesNone) {
  controlFilter();  // registers it
  for (const CGSize size : kSizes) {
    SCOPED_TRACE(size.width);
    ValuesSession plain(size), made(size);
    for (const std::string& name : CIFilter::filterNamesInCategory(""))
      made.filterStack().addFilterWithName(name, made.filters().back().get());
    made.filterStack().addFilterWithName("TestEveryControl", made.filters().back().get());
    setEveryControl(made);
    const auto text = made.filterChainAsString();
    ASSERT_TRUE(plain.applyFilterChain(text));
    const ScriptedScreen screen;
    ValuesSession shown(size);
    ASSERT_TRUE(shown.applyFilterChain(text));
    expectSameValues(shown, plain, true);
    showInAWindow(shown);
    expectSameValues(shown, plain, true);
    EXPECT_EQ(shown.filterChainAsString(), plain.filterChainAsString());
  }
}

TEST(ChainValues, WhatAUserSetsComesBack) {
  controlFilter();
  for (const CGSize size : kSizes) {
    SCOPED_TRACE(size.width);
    ValuesSession session(size), restored(size);
    ASSERT_TRUE(session.applyFilterChain(chain(box("TestEveryControl"))));
    session.filters().back()->reset();
    setEveryControl(session);
    ASSERT_TRUE(restored.applyFilterChain(session.filterChainAsString()));
    expectSameValues(restored, session, false);
  }
}

TEST(ChainValues, ARotationFromAChainIsKeptAsItIs) {
  controlFilter();
  ValuesSession session({600, 300});
  const std::string turned = "<dict><key>r</key><real>0.10000000149011612</real></dict>";
  ASSERT_TRUE(session.applyFilterChain(chain(box("TestEveryControl", entry("inputTransform", turned)))));
  EXPECT_NE(session.filterChainAsString()->find("<real>0.10000000149011612</real>"), std::string::npos);
}

TEST(ChainValues, ResettingABoxKeepsItsPictures) {
  controlFilter();
  ValuesSession session({600, 300});
  ASSERT_TRUE(session.applyFilterChain(chain(box("TestEveryControl"))));
  auto& mask = session.control<KPImageParameterController>("inputMaskImage");
  auto& texture = session.control<KPImageParameterController>("inputTexture");
  const CGRect whole = texture.rectValue();
  dynamic_cast<KPRectParameterView&>(*mask.geometryParameterView()).setDestinationRectValue({1, 2, 30, 40});
  session.filters().back()->reset();
  EXPECT_EQ(mask.rectValue(), (CGRect{{285, 130}, {30, 40}})) << "centred as it is: it fits";
  EXPECT_EQ(texture.rectValue(), whole);
}

}  // namespace
}  // namespace vello::test
