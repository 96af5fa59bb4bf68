#include "source/core/stack/KPFilterStack.h"

#include <algorithm>

#include "platform/exception.h"
#include "platform/log.h"
#include "platform/run_loop.h"
#include "source/core/stack/chain_text.h"
#include "source/core/stack/stack_rendering.h"
#include "source/parameters/chain_pictures.h"
#include "source/screen/notifications.h"

namespace vello {
namespace {

constexpr size_t kInitialCapacity = 5;

}  // namespace

// Marks the stack for the time a box is made, also when that raises.
struct KPFilterStack::MakingBox {
  explicit MakingBox(KPFilterStack& s) : stack(s) { stack.fMakingBox = true; }
  ~MakingBox() { stack.fMakingBox = false; }
  KPFilterStack& stack;
};

KPFilterStack::KPFilterStack(CIImage baseImage) : fBaseImage(std::move(baseImage)) {
  fFilterArray.reserve(kInitialCapacity);
  NotificationCenter& center = NotificationCenter::defaultCenter();
  // Any box of the thread may send these: those of another session's stack are not ours to touch.
  const auto ours = [this](const Notification& n) -> const KPFilterBoxController* {
    const auto* box = static_cast<const KPFilterBoxController*>(n.object);
    return indexOf(box) < fFilterArray.size() ? box : nullptr;
  };
  fRemoveObserver = center.addObserver(KPRemoveFilterNotification, nullptr,
                                       [this, ours](const Notification& n) { removeFilter(ours(n)); });
  fDuplicateObserver =
      center.addObserver(KPDuplicateFilterNotification, nullptr,
                         [this, ours](const Notification& n) { handleFilterDuplicate(ours(n)); });
}

KPFilterStack::~KPFilterStack() {
  for (const auto& box : fFilterArray) box->removingFilter();
  NotificationCenter::defaultCenter().dequeue(this);
}

size_t KPFilterStack::indexOf(const KPFilterBoxController* box) const {
  const auto place = std::find_if(fFilterArray.begin(), fFilterArray.end(),
                                  [box](const auto& candidate) { return candidate.get() == box; });
  return static_cast<size_t>(place - fFilterArray.begin());
}

std::unique_ptr<KPFilterBoxController> KPFilterStack::makeBox(std::string_view name) {
  const MakingBox making(*this);
  return std::make_unique<KPFilterBoxController>(name, *this);
}

CIImage KPFilterStack::filterImage() {
  fFailures.clear();
  if (fFilterArray.empty()) return fBaseImage;
  CIImage image = fBaseImage;
  for (size_t i = 1; i < fFilterArray.size(); ++i) image = applyBox(i, image);
  return compositeOverBackground(image);
}

CIImage KPFilterStack::applyBox(size_t index, const CIImage& image) {
  const KPFilterBoxController& box = *fFilterArray[index];
  if (box.isMissingRequiredParameter() || !box.enabled()) return image;
  try {
    const CIImage result = outputOfBox(box, image, baseImageExtent());
    if (result.isNil()) throw KPException(kKPFilterStackException, "output of filter was nil");
    return result;
  } catch (const KPException& e) {
    skipAfterFailure(index, e.name(), e.reason());
  } catch (const std::exception& e) {
    skipAfterFailure(index, "std::exception", e.what());
  }
  return image;
}

CIImage KPFilterStack::compositeOverBackground(const CIImage& image) {
  try {
    const CIImage background = fFilterArray.front()->coreFilter()->outputImage();
    return background.isNil() ? image : compositedOver(image, background);
  } catch (const KPException& e) {
    skipAfterFailure(0, e.name(), e.reason());
  } catch (const std::exception& e) {
    skipAfterFailure(0, "std::exception", e.what());
  }
  return image;
}

void KPFilterStack::skipAfterFailure(size_t index, const std::string& name, const std::string& reason) {
  const std::string& filterName = fFilterArray[index]->coreFilter()->name();
  logLine("KPFilterStack::filterImage: filter named %@ caused an exception\n", {filterName});
  logLine("%@ : %@\n", {name, reason});
  fFailures.push_back({index, filterName, reason});
}

void KPFilterStack::addFilter(std::unique_ptr<KPFilterBoxController> box) {
  addFilter(std::move(box), nullptr);
}

void KPFilterStack::addFilter(std::unique_ptr<KPFilterBoxController> box,
                              const KPFilterBoxController* after) {
  const size_t index = std::min(indexOf(after) + 1, fFilterArray.size());
  fFilterArray.insert(fFilterArray.begin() + static_cast<ptrdiff_t>(index), std::move(box));
  postStackChangedNotification(false);
}

KPFilterBoxController& KPFilterStack::addFilterWithName(std::string_view name,
                                                        const KPFilterBoxController* after) {
  auto box = makeBox(name);
  KPFilterBoxController& added = *box;
  addFilter(std::move(box), after);
  return added;
}

void KPFilterStack::moveFilter(const KPFilterBoxController* box, const KPFilterBoxController* afterFilter,
                               bool delayNotification) {
  const size_t from = indexOf(box);
  if (from == fFilterArray.size() || box == afterFilter) return;
  auto moved = std::move(fFilterArray[from]);
  fFilterArray.erase(fFilterArray.begin() + static_cast<ptrdiff_t>(from));
  const size_t to = afterFilter ? std::min(indexOf(afterFilter) + 1, fFilterArray.size()) : 0;
  fFilterArray.insert(fFilterArray.begin() + static_cast<ptrdiff_t>(to), std::move(moved));
  postStackChangedNotification(delayNotification);
}

void KPFilterStack::removeFilter(const KPFilterBoxController* box) {
  const size_t index = indexOf(box);
  if (index == fFilterArray.size()) return;
  fFilterArray[index]->removingFilter();
  fFilterArray.erase(fFilterArray.begin() + static_cast<ptrdiff_t>(index));
  postStackChangedNotification(false);
}

void KPFilterStack::removeLastFilter() {
  if (!fFilterArray.empty()) removeFilter(fFilterArray.back().get());
}

void KPFilterStack::removeAllFilters() {
  while (fFilterArray.size() > 1) removeLastFilter();
}

void KPFilterStack::handleFilterDuplicate(const KPFilterBoxController* source) {
  if (!source) return;
  auto copy = makeBox(source->coreFilter()->name());
  for (const std::string& key : source->coreFilter()->inputKeys())
    copy->coreFilter()->setValueForKey(source->coreFilter()->valueForKey(key), key);
  addFilter(std::move(copy), source);
}

PropertyListArray KPFilterStack::persistentDataArray() const {
  PropertyListArray boxes;
  for (const auto& box : fFilterArray) {
    PropertyListDictionary dictionary;
    box->addParametersToDictionary(dictionary);
    boxes.emplace_back(std::move(dictionary));
  }
  return boxes;
}

void KPFilterStack::replaceStackWithDataArray(const PropertyListArray& boxes) {
  if (boxes.empty() || fFilterArray.empty()) return;
  const ChainPictures pictures;  // what the array's image files may cost together
  removeAllFilters();
  if (const auto* background = boxes.front().dictionary())
    fFilterArray.front()->setParametersFromDictionary(*background);
  KPFilterBoxController* last = fFilterArray.front().get();
  for (size_t i = 1; i < boxes.size(); ++i) {
    const PropertyListDictionary* dictionary = boxes[i].dictionary();
    const PropertyList* name = dictionary ? dictionary->find(kCIAttributeFilterName) : nullptr;
    if (!name || !name->string()) continue;
    last = &addFilterWithName(*name->string(), last);
    last->setParametersFromDictionary(*dictionary);
  }
}

void KPFilterStack::postStackChangedNotification(bool delayed) const {
  NotificationCenter& center = NotificationCenter::defaultCenter();
  const Notification changed{KPFilterStackChangedNotification, this, {}};
  if (delayed)
    center.enqueueWhenIdle(changed, {kDefaultRunLoopMode, kModalPanelRunLoopMode});
  else
    center.post(changed);
}

}  // namespace vello
