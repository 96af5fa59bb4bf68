#include "platform/thread_dictionary.h"

#include <functional>
#include <map>
#include <string>
#include <utility>

namespace vello {
namespace {

using Dictionary = std::map<std::string, std::any, std::less<>>;

Dictionary& threadDictionary() {
  thread_local Dictionary dictionary;
  return dictionary;
}

}  // namespace

std::any threadDictionaryValue(std::string_view key) {
  const Dictionary& dictionary = threadDictionary();
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? std::any() : found->second;
}

void setThreadDictionaryValue(std::string_view key, std::any value) {
  // What was there goes last: its destructor may use the dictionary.
  std::any former;
  Dictionary& dictionary = threadDictionary();
  if (value.has_value()) {
    former = std::exchange(dictionary[std::string(key)], std::move(value));
  } else if (const auto found = dictionary.find(key); found != dictionary.end()) {
    former = std::move(found->second);
    dictionary.erase(found);
  }
}

}  // namespace vello
