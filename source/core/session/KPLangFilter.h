// Replaces words by others: a playful text filter, fed from a resource.
#pragma once

#include <string>
#include <string_view>

#include "platform/property_list.h"

namespace vello {

class KPLangFilter {
 public:
  // Loads the words from the resource "ShizzleLang.strings"; without it every word stays.
  KPLangFilter();
  explicit KPLangFilter(PropertyListDictionary words) : fWords(std::move(words)) {}
  // Words are what single blanks separate, so runs of blanks survive. The language type is not used.
  std::string convertString(std::string_view text, int languageType) const;

 private:
  PropertyListDictionary fWords;
};

}  // namespace vello
