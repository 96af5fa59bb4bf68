// The model of one session: filter boxes applied one after another to a source image, the first box being
// the background colour under everything. Lives on the session's thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/connection.h"
#include "platform/notification_center.h"
#include "source/core/stack/KPFilterBoxController.h"

namespace vello {

inline constexpr const char* kKPFilterStackException = "KPFilterStackException";

class KPFilterStack {
 public:
  using FilterArray = std::vector<std::unique_ptr<KPFilterBoxController>>;

  // A filter that the latest filterImage() left out.
  struct Failure {
    size_t index = 0;  // of its box
    std::string filterName, reason;
  };

  explicit KPFilterStack(CIImage baseImage);
  ~KPFilterStack();
  KPFilterStack(const KPFilterStack&) = delete;
  KPFilterStack& operator=(const KPFilterStack&) = delete;

  const FilterArray& filterArray() const { return fFilterArray; }
  CGRect baseImageExtent() const { return fBaseImage.extent(); }

  // The recipe of all enabled boxes over the background, unbounded: draw it clipped to the base extent. Sets
  // the input images of the boxes' filters. A filter that fails is logged, listed in failures() and skipped;
  // nothing is thrown.
  CIImage filterImage();
  const std::vector<Failure>& failures() const { return fFailures; }

  // Appends; for the background box.
  void addFilter(std::unique_ptr<KPFilterBoxController> box);
  // At the end when `after` is null or not in the stack.
  void addFilter(std::unique_ptr<KPFilterBoxController> box, const KPFilterBoxController* after);
  // Raises kKPFilterBoxInitializationException when there is no such filter.
  KPFilterBoxController& addFilterWithName(std::string_view name, const KPFilterBoxController* after);
  // A null `afterFilter` means index 0: in front of the background box, which is then an ordinary one. With
  // `delayNotification` the change is announced when the run loop is idle, many moves as one.
  void moveFilter(const KPFilterBoxController* box, const KPFilterBoxController* afterFilter,
                  bool delayNotification);
  // The box is gone afterwards.
  void removeFilter(const KPFilterBoxController* box);
  // Takes the background box too when it is the last: deliberately unlike removeAllFilters.
  void removeLastFilter();

  // One dictionary a box, the background box first.
  PropertyListArray persistentDataArray() const;
  // An empty array changes nothing. An unknown filter raises; what was read before it stays.
  void replaceStackWithDataArray(const PropertyListArray& boxes);

  // True while one of this stack's boxes is being made: what parameter controllers announce then is meant
  // for this session.
  bool isMakingBox() const { return fMakingBox; }

 private:
  struct MakingBox;
  std::unique_ptr<KPFilterBoxController> makeBox(std::string_view name);
  size_t indexOf(const KPFilterBoxController* box) const;  // the count when it is not in the stack
  void handleFilterDuplicate(const KPFilterBoxController* source);
  void removeAllFilters();
  void postStackChangedNotification(bool delayed) const;

  CIImage applyBox(size_t index, const CIImage& image);
  CIImage compositeOverBackground(const CIImage& image);
  void skipAfterFailure(size_t index, const std::string& name, const std::string& reason);

  FilterArray fFilterArray;
  CIImage fBaseImage;
  std::vector<Failure> fFailures;
  bool fMakingBox = false;
  Connection fRemoveObserver, fDuplicateObserver;
};

}  // namespace vello
