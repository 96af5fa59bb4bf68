#include "source/screen/controls.h"

#include <algorithm>
#include <cmath>

#include "platform/log.h"
#include "platform/number_text.h"
#include "source/screen/number_format.h"

namespace vello {
namespace {

constexpr const char* kBadRange = "*** Vello : slider range %@ to %@ refused";
constexpr const char* kNoNumber = "*** Vello : an edit box refused \"%@\", which is no number";
constexpr const char* kBadNumber = "*** Vello : a control refused the number %@";
const KPFont kLabelFont{"LucidaGrande", 11};

constexpr size_t kLongestLogged = 100;  // bytes

bool acceptsNumber(double value, double limit = std::numeric_limits<double>::max()) {
  if (std::fabs(value) <= limit) return true;
  logLine(kBadNumber, {numberText(value)});
  return false;
}

}  // namespace

void KPSlider::setRange(double minValue, double maxValue) {
  if (!std::isfinite(minValue) || !std::isfinite(maxValue) || minValue > maxValue)
    return logLine(kBadRange, {numberText(minValue), numberText(maxValue)});
  fMinValue = minValue;
  fMaxValue = maxValue;
  changed();
}

double KPSlider::clamped(double value) const {
  return value >= fMinValue ? std::min(value, fMaxValue) : fMinValue;  // no number: the lower end
}

double KPSlider::doubleValue() const { return clamped(value().number()); }

void KPSlider::userMovedTo(double value) {
  if (acceptsNumber(value)) userSetValue(clamped(value));
}

void KPEditBox::setPositiveFormat(std::string format) {
  fPositiveFormat = std::move(format);
  changed();
}

void KPEditBox::setNegativeFormat(std::string format) {
  fNegativeFormat = std::move(format);
  changed();
}

std::string KPEditBox::stringValue() const {
  return value().isNumber() ? formattedNumber(value().number(), fPositiveFormat, fNegativeFormat) : "";
}

void KPEditBox::userTyped(std::string_view text) {
  if (text == stringValue()) return;
  if (const auto number = typedNumber(text)) return userEntered(*number);
  logLine(kNoNumber, {std::string(text.substr(0, kLongestLogged))});
  changed();
}

// Whoever takes the number takes it in single precision.
void KPEditBox::userEntered(double value) {
  if (acceptsNumber(value, std::numeric_limits<float>::max())) return userSetValue(value);
  changed();
}

void KPCheckbox::setTitle(std::string title) {
  fTitle = std::move(title);
  changed();
}

void KPColorWell::userPicked(const CIColor& color) {
  for (const double component : {color.red(), color.green(), color.blue(), color.alpha()})
    if (!acceptsNumber(component)) return;
  userSetValue(color);
}

void KPImageWell::userDroppedImage(CIImage image) {
  if (!image.isNil()) userSetValue(std::move(image));
}

void KPImageWell::userDroppedFiles(const std::vector<std::string>& paths) {
  if (isEnabled() && !paths.empty() && fFileAction) fFileAction(paths.front());
}

void KPButton::userPressed() {
  if (isEnabled()) performAction();
}

void KPPopUpButton::setTitles(std::vector<std::string> titles) {
  fTitles = std::move(titles);
  setValue(0);
}

bool KPPopUpButton::selectTitle(std::string_view title) {
  const auto found = std::find(fTitles.begin(), fTitles.end(), title);
  if (found == fTitles.end()) return false;
  setValue(static_cast<int>(found - fTitles.begin()));
  return true;
}

void KPPopUpButton::userChose(int index) {
  if (index >= 0 && index < static_cast<int>(fTitles.size())) userSetValue(index);
}

void KPLabel::setText(std::string text) {
  fDisplayLabel.clear();
  setValue(std::move(text));
}

void KPLabel::setWidth(double width) {
  fWidth = width;
  if (!fDisplayLabel.empty()) fit();
}

void KPLabel::setDisplayLabel(const std::string& label) {
  fDisplayLabel = label;
  fit();
}

void KPLabel::fit() {
  if (textSize(fDisplayLabel, kLabelFont).width <= fWidth) return setValue(fDisplayLabel);
  setToolTip(fDisplayLabel);
  const size_t blank = fDisplayLabel.rfind(' ');
  setValue(blank == std::string::npos ? fDisplayLabel : fDisplayLabel.substr(blank + 1));
}

}  // namespace vello
