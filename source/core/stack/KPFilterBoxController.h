// One entry of the filter stack: a filter, whether it is applied, and a controller for every input that can
// be edited. Owned by the stack, lives on the session's thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/catalogue/filter.h"
#include "platform/property_list.h"

namespace vello {

class KPCoreImageParameterController;
class KPFilterStack;

inline constexpr const char* kKPFilterBoxInitializationException =
    "KPFilterBoxController Initialization Exception";

class KPFilterBoxController {
 public:
  // Raises kKPFilterBoxInitializationException when there is no such filter. The stack outlives the box.
  KPFilterBoxController(std::string_view filterName, const KPFilterStack& stack);
  ~KPFilterBoxController();
  KPFilterBoxController(const KPFilterBoxController&) = delete;
  KPFilterBoxController& operator=(const KPFilterBoxController&) = delete;
  // The first box of every stack: a constant colour, black with alpha 0 or 1.
  static std::unique_ptr<KPFilterBoxController> backgroundColorFilter(bool transparent,
                                                                      const KPFilterStack& stack);

  const std::shared_ptr<CIFilter>& coreFilter() const { return fFilter; }
  const std::string& title() const { return fTitle; }
  const std::vector<std::unique_ptr<KPCoreImageParameterController>>& parameterControllers() const {
    return fParameterControllers;
  }
  bool enabled() const { return fEnabled; }
  void setEnabled(bool enabled);
  bool isGenerator() const { return fIsGenerator; }
  bool isTileEffect() const { return fIsTileEffect; }
  bool hasBackground() const { return fHasBackground; }
  // Never true; the stack asks all the same.
  bool isMissingRequiredParameter() const { return false; }

  // What the add and close buttons ask of the stack. close() ends with the box gone.
  void add(bool optionKeyDown) const;
  void close() const;
  // Back to the filter's defaults; the background box becomes opaque black, though it starts transparent:
  // deliberate.
  void reset();
  // The stack lets go of the box: nothing is announced any more.
  void removingFilter();

  void addParametersToDictionary(PropertyListDictionary& dictionary) const;
  // The filter's name in the dictionary is not looked at.
  void setParametersFromDictionary(const PropertyListDictionary& dictionary);

 private:
  void applyColorDefaults();
  void createFilterControls();
  void establishNextKeyViews();

  const KPFilterStack& fParentStack;
  std::shared_ptr<CIFilter> fFilter;
  std::string fTitle;
  bool fIsGenerator = true, fIsTileEffect = false, fHasBackground = false, fEnabled = true;
  std::vector<std::unique_ptr<KPCoreImageParameterController>> fParameterControllers;  // order of inputKeys
};

}  // namespace vello
