#include "source/core/stack/chain_check.h"

#include <algorithm>
#include <set>

#include "engine/catalogue/filter.h"
#include "platform/image_file.h"
#include "source/core/stack/chain_text.h"
#include "source/core/stack/chain_value_check.h"
#include "source/core/stack/control_kind.h"
#include "source/parameters/chain_limits.h"

namespace vello {
namespace {

constexpr size_t kMostProblems = 100;
constexpr const char* kBackgroundFilterName = "CIConstantColorGenerator";
// What the background box was called where the platform had no such filter of its own.
constexpr const char* kFormerBackgroundFilterName = "TSCIConstantColorGenerator";

class Checker {
 public:
  void checkBox(int index, const PropertyList& element);
  std::vector<ChainProblem> finish();

 private:
  void report(ChainSeverity severity, std::string key, std::string message);
  const FilterAttributes* filterOfBox(const PropertyListDictionary& element);
  void checkValue(const FilterAttributes& filter, const PropertyListMember& member);
  void checkImageFile(const std::string& key, const PropertyList& value);

  std::vector<ChainProblem> problems_;
  size_t unreported_ = 0;
  int box_ = 0;
  std::string filterName_;
  std::set<std::string> imageFiles_;  // at most as many as a chain may have
  int64_t imagePixels_ = 0;
};

void Checker::report(ChainSeverity severity, std::string key, std::string message) {
  if (problems_.size() < kMostProblems)
    problems_.push_back({box_, shortened(filterName_), std::move(key), std::move(message), severity});
  else
    ++unreported_;
}

std::vector<ChainProblem> Checker::finish() {
  if (unreported_ > 0)
    problems_.push_back({-1, "", "", std::to_string(unreported_) + " more problems", ChainSeverity::error});
  return std::move(problems_);
}

// nullptr, reported, when the box's filter cannot be told.
const FilterAttributes* Checker::filterOfBox(const PropertyListDictionary& element) {
  const PropertyList* name = element.find(kCIAttributeFilterName);
  filterName_ = name && name->string() ? *name->string() : "";
  if (box_ == 0) {
    if (!filterName_.empty() && filterName_ != kBackgroundFilterName &&
        filterName_ != kFormerBackgroundFilterName)
      report(ChainSeverity::warning, "",
             "the first element only sets the background colour; its filter is not applied");
    return CIFilter::attributesForFilterName(kBackgroundFilterName);
  }
  if (filterName_.empty()) {
    report(ChainSeverity::error, kCIAttributeFilterName, "the filter's name is missing or no text");
    return nullptr;
  }
  const FilterAttributes* filter = CIFilter::attributesForFilterName(filterName_);
  if (!filter) report(ChainSeverity::error, "", "there is no such filter");
  return filter;
}

void Checker::checkBox(int index, const PropertyList& element) {
  box_ = index;
  filterName_.clear();
  const PropertyListDictionary* values = element.dictionary();
  if (!values) return report(ChainSeverity::error, "", "the element is not a dictionary");
  const FilterAttributes* filter = filterOfBox(*values);
  if (!filter) return;
  for (const PropertyListMember& member : values->members())
    if (member.key != kCIAttributeFilterName) checkValue(*filter, member);
  for (const InputAttributes& input : filter->inputs)
    if (controlKind(*filter, input) != ControlKind::none && !values->find(input.key))
      report(ChainSeverity::warning, input.key, "the value is missing: the filter's default is used");
}

void Checker::checkValue(const FilterAttributes& filter, const PropertyListMember& member) {
  const InputAttributes* input = filter.input(member.key);
  if (!input) return report(ChainSeverity::error, shortened(member.key), "the filter has no such input");
  const ControlKind kind = controlKind(filter, *input);
  if (kind == ControlKind::none)
    return report(ChainSeverity::error, member.key, "a chain cannot set this input");
  if (const auto problem = problemOfValue(kind, *input, member.value))
    return report(problem->severity, member.key, problem->message);
  if (kind == ControlKind::image && !member.value.dictionary()->empty())
    checkImageFile(member.key, member.value);
}

void Checker::checkImageFile(const std::string& key, const PropertyList& value) {
  const std::string& path = *value.dictionary()->find("path")->string();
  if (!imageFiles_.insert(path).second) return;
  std::string error;
  const auto info = imageFileInfo(path, &error);
  if (!info) return report(ChainSeverity::error, key, error);
  // Each side is bounded first, so that the product fits whatever the header claims.
  const int64_t pixels =
      std::min(info->width, kMaxChainImagePixels) * std::min(info->height, kMaxChainImagePixels);
  imagePixels_ += std::min(pixels, kMaxChainImagePixels + 1);
  if (imagePixels_ > kMaxChainImagePixels)
    report(ChainSeverity::error, key,
           "the chain's image files together have more than " + std::to_string(kMaxChainImagePixels) +
               " pixels");
}

}  // namespace

std::vector<ChainProblem> checkChain(std::string_view text) {
  const ChainTextResult read = readChainText(text);
  if (!read.ok()) return {{-1, "", "", read.error, ChainSeverity::error}};
  Checker checker;
  int index = 0;
  for (const PropertyList& element : read.boxes()) checker.checkBox(index++, element);
  return checker.finish();
}

std::string describe(const ChainProblem& problem) {
  std::string text;
  if (problem.box >= 0) text += "box " + std::to_string(problem.box);
  for (const std::string& part : {problem.filter, problem.key})
    if (!part.empty()) text += (text.empty() ? "" : ", ") + part;
  return text.empty() ? problem.message : text + ": " + problem.message;
}

bool hasErrors(const std::vector<ChainProblem>& problems) {
  return std::any_of(problems.begin(), problems.end(),
                     [](const ChainProblem& p) { return p.severity == ChainSeverity::error; });
}

}  // namespace vello
