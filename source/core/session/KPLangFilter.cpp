#include "source/core/session/KPLangFilter.h"

#include <fstream>
#include <iterator>

#include "platform/resources.h"

namespace vello {
namespace {

PropertyListDictionary loadWords() {
  const auto path = pathForResource("ShizzleLang.strings");
  if (!path) return {};
  std::ifstream file(*path, std::ios::binary);
  const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  const PropertyListResult read = readPropertyList(bytes);
  const PropertyListDictionary* words = read.value.dictionary();
  return words ? *words : PropertyListDictionary();
}

}  // namespace

KPLangFilter::KPLangFilter() : fWords(loadWords()) {}

std::string KPLangFilter::convertString(std::string_view text, int) const {
  std::string result;
  for (size_t start = 0; start <= text.size();) {
    const size_t end = std::min(text.find(' ', start), text.size());
    const std::string_view word = text.substr(start, end - start);
    const PropertyList* other = fWords.find(word);
    if (start > 0) result += ' ';
    result += other && other->string() ? *other->string() : std::string(word);
    start = end + 1;
  }
  return result;
}

}  // namespace vello
