// The control models.
#pragma once

#include <limits>
#include <vector>

#include "source/screen/KPControl.h"
#include "source/screen/KPScreen.h"

namespace vello {

// A number on a track or a dial. The value may lie outside the range; the knob then stands at its end.
class KPSlider : public KPControl {
 public:
  double minValue() const { return fMinValue; }
  double maxValue() const { return fMaxValue; }
  // A range with ends that are no finite numbers or in the wrong order is refused with a log line.
  void setRange(double minValue, double maxValue);
  // Where the knob stands.
  double doubleValue() const;
  // The user moved the knob; a value outside the range becomes its end, one that is no number is refused.
  void userMovedTo(double value);

 private:
  double clamped(double value) const;
  double fMinValue = 0, fMaxValue = 1;
};

// A line of text the user can edit that stands for a number.
class KPEditBox : public KPControl {
 public:
  // Number patterns like "#,##0.00".
  const std::string& positiveFormat() const { return fPositiveFormat; }
  const std::string& negativeFormat() const { return fNegativeFormat; }
  void setPositiveFormat(std::string format);
  void setNegativeFormat(std::string format);
  // The number as the formats show it; empty while there is none.
  std::string stringValue() const;
  // The user ended the editing with this text. The text that was shown enters nothing: digits it does not
  // show are kept. What is no number is refused like one that is not finite.
  void userTyped(std::string_view text);
  // The user entered a number; one that is not finite in single precision is refused with a log line and the
  // former one shown.
  void userEntered(double value);

 private:
  std::string fPositiveFormat, fNegativeFormat;
};

class KPCheckbox : public KPControl {
 public:
  const std::string& title() const { return fTitle; }
  void setTitle(std::string title);
  bool isOn() const { return value().number() != 0; }
  void userToggled() { userSetValue(!isOn()); }

 private:
  std::string fTitle;
};

class KPColorWell : public KPControl {
 public:
  // Clear black while the value is no colour.
  CIColor color() const { return value().color() ? *value().color() : CIColor(0, 0, 0, 0); }
  // A colour with a component that is no finite number is refused with a log line.
  void userPicked(const CIColor& color);
};

// Shows a picture and takes dropped ones.
class KPImageWell : public KPControl {
 public:
  // A nil image while the value is none.
  CIImage image() const { return value().image() ? *value().image() : CIImage(); }
  void setImage(CIImage image) { setValue(std::move(image)); }
  // The user dropped pixels; then the action is performed. A nil image is ignored.
  void userDroppedImage(CIImage image);
  // The user dropped files: only the first counts. Goes to the file action, not the action.
  void userDroppedFiles(const std::vector<std::string>& paths);
  void setFileAction(std::function<void(const std::string& path)> action) { fFileAction = std::move(action); }

 private:
  std::function<void(const std::string&)> fFileAction;
};

class KPButton : public KPControl {
 public:
  void userPressed();
};

class KPPopUpButton : public KPControl {
 public:
  const std::vector<std::string>& titles() const { return fTitles; }
  // Selects the first one.
  void setTitles(std::vector<std::string> titles);
  // -1 while there are none.
  int selectedIndex() const { return fTitles.empty() ? -1 : static_cast<int>(value().number()); }
  // Empty while there are none.
  std::string selectedTitle() const { return fTitles.empty() ? "" : fTitles[selectedIndex()]; }
  // False, and nothing changes, when no title reads so.
  bool selectTitle(std::string_view title);
  // An index that no title has is ignored.
  void userChose(int index);

 private:
  std::vector<std::string> fTitles;
};

// A text that the user cannot edit.
class KPLabel : public KPControl {
 public:
  std::string text() const { return value().string() ? *value().string() : ""; }
  void setText(std::string text);
  // In points; what the widget has room for. Unlimited until it reports one.
  void setWidth(double width);
  // Shows the label, or, where it is too long, its last word with the whole label as the tool tip. The tool
  // tip of a label that fits stays as it was.
  void setDisplayLabel(const std::string& label);

 private:
  void fit();
  std::string fDisplayLabel;
  double fWidth = std::numeric_limits<double>::infinity();
};

}  // namespace vello
