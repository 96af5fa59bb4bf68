// Short ways to property lists, and rows of them that must be read or refused.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "platform/property_list.h"

namespace vello::testing {

inline PropertyListResult read(std::string_view text) {
  return readPropertyList({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

inline PropertyListDictionary dictionary(std::vector<PropertyListMember> members) {
  return PropertyListDictionary::fromMembers(std::move(members));
}

struct ReadRow {
  std::string text;
  PropertyList value;
};

inline void expectRead(const std::vector<ReadRow>& rows) {
  for (const ReadRow& row : rows) {
    const PropertyListResult result = read(row.text);
    EXPECT_TRUE(result.ok() && result.value == row.value) << row.text << ": " << result.error;
  }
}

struct RefusedRow {
  std::string text;
  const char* error;
};

inline void expectRefused(const std::vector<RefusedRow>& rows) {
  for (const RefusedRow& row : rows) {
    const PropertyListResult result = read(row.text);
    EXPECT_THAT(result.error, ::testing::HasSubstr(row.error)) << row.text.substr(0, 200);
    EXPECT_TRUE(result.value.isNil());
  }
}

}  // namespace vello::testing
