#include "source/screen/controls.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "tests/source/log_capture.h"
#include "tests/source/screen/scripted_screen.h"

namespace vello {
namespace {

// Something with one value, which takes whole numbers and no negative ones.
struct Model {
  Value value = 5.0;
  ObserverList<> observers;
  int writes = 0;

  void set(const Value& newValue) {
    value = newValue;
    ++writes;
    observers.notify();
  }
  KPProperty property() {
    return {[this] { return value; }, [this](const Value& v) { set(v); },
            [this](std::function<void()> changed) { return observers.add(std::move(changed)); },
            [](const Value& proposed) -> std::optional<Value> {
              if (proposed.number() < 0) return std::nullopt;
              return std::round(proposed.number());
            }};
  }
};

class Halves : public KPValueTransformer {
 public:
  Value transformedValue(const Value& value) const override { return value.number() / 2; }
  Value reverseTransformedValue(const Value& value) const override { return value.number() * 2; }
};

TEST(KPControl, ABoundControlShowsTheModelAndWritesTheUsersValue) {
  Model model;
  KPEditBox box;
  box.bind(model.property(), {true, std::make_shared<Halves>()});
  EXPECT_EQ(box.value(), Value(2.5));
  model.set(8.0);
  EXPECT_EQ(box.value(), Value(4.0));

  box.userEntered(3.3);
  EXPECT_EQ(model.value, Value(7.0));
  EXPECT_EQ(box.value(), Value(3.5)) << "shows what validation made of it";
  box.userEntered(-1);
  EXPECT_EQ(model.value, Value(7.0));
  EXPECT_EQ(box.value(), Value(3.5)) << "refused: shows the model's value again";
  EXPECT_EQ(model.writes, 2);

  box.setValue(100.0);
  EXPECT_EQ(model.value, Value(7.0)) << "not the user's doing";
  box.setEnabled(false);
  box.userEntered(1);
  EXPECT_EQ(model.writes, 2);
}

TEST(KPControl, ValidatesOnlyWhereAskedTo) {
  Model model;
  KPSlider slider;
  slider.setRange(-10, 10);
  slider.bind(model.property());
  slider.userMovedTo(-2.5);
  EXPECT_EQ(model.value, Value(-2.5));
}

TEST(KPControl, UnboundItKeepsTheUsersValueAndActs) {
  Model model;
  KPCheckbox box;
  int actions = 0;
  box.setAction([&] { ++actions; });
  box.bind(model.property());
  box.unbind();
  EXPECT_TRUE(box.isOn());
  box.userToggled();
  EXPECT_FALSE(box.isOn());
  EXPECT_EQ(actions, 1);
  EXPECT_EQ(model.writes, 0);
  EXPECT_TRUE(model.observers.empty());
}

TEST(KPControl, MayBeUnboundByItsOwnWrite) {
  Model model;
  auto slider = std::make_unique<KPSlider>();
  slider->bind(model.property());
  const Connection unbinds = model.observers.add([&] { slider->unbind(); });
  slider->userMovedTo(1);
  EXPECT_EQ(model.value, Value(1.0));
  slider->userMovedTo(0.5);
  EXPECT_EQ(model.writes, 1);
}

TEST(KPControl, NumbersThatAreNoneAreRefused) {
  const LogCapture log;
  KPSlider slider;
  slider.setRange(2, 4);
  slider.setRange(4, 2);
  slider.setRange(0, INFINITY);
  slider.userMovedTo(3);
  slider.userMovedTo(NAN);
  EXPECT_EQ(slider.value(), Value(3.0));
  slider.userMovedTo(9);
  EXPECT_EQ(slider.value(), Value(4.0));
  slider.setValue(NAN);
  EXPECT_EQ(slider.doubleValue(), 2);
  KPEditBox box;
  box.setValue(7.0);
  box.userEntered(-INFINITY);
  EXPECT_EQ(box.value(), Value(7.0));
  KPColorWell well;
  well.userPicked({0.5, NAN, 0, 1});
  EXPECT_EQ(well.color(), CIColor(0, 0, 0, 0));
  EXPECT_EQ(log.lines, (std::vector<std::string>{"*** Vello : slider range 4 to 2 refused",
                                                 "*** Vello : slider range 0 to +infinity refused",
                                                 "*** Vello : a control refused the number nan",
                                                 "*** Vello : a control refused the number -infinity",
                                                 "*** Vello : a control refused the number nan"}));
}

TEST(KPEditBox, TakesTextAsItShowsIt) {
  const LogCapture log;
  KPEditBox box;
  EXPECT_EQ(box.stringValue(), "");
  box.setPositiveFormat("#,##0.00");
  box.setValue(1234.5678);
  EXPECT_EQ(box.stringValue(), "1,234.57");
  box.userTyped("1,234.57");
  EXPECT_EQ(box.value(), Value(1234.5678)) << "nothing was entered";
  box.userTyped("1.234,5");
  EXPECT_EQ(box.value(), Value(1234.5));
  for (const char* text : {"", "12 px", "1e39", "nan"}) box.userTyped(text);
  EXPECT_EQ(box.value(), Value(1234.5));
  EXPECT_EQ(log.lines,
            (std::vector<std::string>{"*** Vello : an edit box refused \"\", which is no number",
                                      "*** Vello : an edit box refused \"12 px\", which is no number",
                                      "*** Vello : a control refused the number 1e+39",
                                      "*** Vello : a control refused the number nan"}));
}

TEST(KPPopUpButton, SelectsByTitleAndIgnoresWhatIsNotThere) {
  KPPopUpButton popUp;
  EXPECT_EQ(popUp.selectedTitle(), "");
  popUp.setTitles({"JPEG", "TIFF", "PNG"});
  EXPECT_EQ(popUp.selectedTitle(), "JPEG");
  EXPECT_TRUE(popUp.selectTitle("PNG"));
  EXPECT_FALSE(popUp.selectTitle("GIF"));
  popUp.userChose(3);
  popUp.userChose(-1);
  EXPECT_EQ(popUp.selectedIndex(), 2);
}

TEST(KPLabel, ALongLabelShowsItsLastWord) {
  ScriptedScreen screen;  // 5.5 points per character
  KPLabel label;
  label.setDisplayLabel("Long Name:");
  EXPECT_EQ(label.text(), "Long Name:");
  label.setWidth(54);
  EXPECT_EQ(label.text(), "Name:");
  EXPECT_EQ(label.toolTip(), "Long Name:");
  label.setWidth(55);
  EXPECT_EQ(label.text(), "Long Name:");
  EXPECT_EQ(label.toolTip(), "Long Name:");
}

TEST(KPImageWell, TakesTheFirstOfDroppedFiles) {
  KPImageWell well;
  std::vector<std::string> paths;
  well.setFileAction([&](const std::string& path) { paths.push_back(path); });
  well.userDroppedFiles({"a.png", "b.png"});
  well.userDroppedFiles({});
  well.userDroppedImage(CIImage());
  EXPECT_EQ(paths, std::vector<std::string>{"a.png"});
  EXPECT_TRUE(well.value().isNil());
}

}  // namespace
}  // namespace vello
