// The named exceptions of the interface. They never cross the C boundary.
#pragma once

#include <exception>
#include <string>

#include "platform/property_list.h"

namespace vello {

class KPException : public std::exception {
 public:
  KPException(std::string name, std::string reason, PropertyListDictionary userInfo = {})
      : name_(std::move(name)), reason_(std::move(reason)), userInfo_(std::move(userInfo)) {}
  const char* what() const noexcept override { return reason_.c_str(); }
  const std::string& name() const { return name_; }
  const std::string& reason() const { return reason_; }
  const PropertyListDictionary& userInfo() const { return userInfo_; }

 private:
  std::string name_, reason_;
  PropertyListDictionary userInfo_;
};

inline constexpr const char* NSInternalInconsistencyException = "NSInternalInconsistencyException";
inline constexpr const char* NSInvalidArgumentException = "NSInvalidArgumentException";
inline constexpr const char* NSUndefinedKeyException = "NSUndefinedKeyException";

}  // namespace vello
