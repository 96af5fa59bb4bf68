#include "platform/property_list.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "platform/ascii.h"
#include "platform/property_list_readers.h"

namespace vello {
namespace {

// The members' places, sorted by key; equal keys stay in their order.
std::vector<size_t> placesByKey(const std::vector<PropertyListMember>& members) {
  std::vector<size_t> places(members.size());
  std::iota(places.begin(), places.end(), size_t{0});
  std::stable_sort(places.begin(), places.end(),
                   [&](size_t a, size_t b) { return members[a].key < members[b].key; });
  return places;
}

bool isBinary(std::string_view text) { return text.starts_with("bplist"); }

bool isXml(std::string_view text) {
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) return true;  // UTF-16
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);                    // UTF-8 byte order mark
  text = trimBlanks(text);
  if (text.size() < 2 || text[0] != '<') return false;
  // "<ab" begins old-style data as well as an element; no property list's root is named with a hex digit.
  return text[1] == '?' || text[1] == '!' || (isAsciiLetter(text[1]) && hexDigitValue(text[1]) < 0);
}

}  // namespace

PropertyListDictionary::PropertyListDictionary() = default;
PropertyListDictionary::PropertyListDictionary(const PropertyListDictionary&) = default;
PropertyListDictionary::PropertyListDictionary(PropertyListDictionary&&) noexcept = default;
PropertyListDictionary& PropertyListDictionary::operator=(const PropertyListDictionary&) = default;
PropertyListDictionary& PropertyListDictionary::operator=(PropertyListDictionary&&) noexcept = default;
PropertyListDictionary::~PropertyListDictionary() = default;

PropertyListDictionary PropertyListDictionary::fromMembers(std::vector<PropertyListMember> members) {
  const std::vector<size_t> places = placesByKey(members);
  std::vector<bool> repeated(members.size());
  for (size_t i = 1; i < places.size(); ++i) {
    repeated[places[i]] = members[places[i]].key == members[places[i - 1]].key;
  }
  PropertyListDictionary dictionary;
  dictionary.members_.reserve(members.size());
  for (size_t i = 0; i < members.size(); ++i) {
    if (!repeated[i]) dictionary.members_.push_back(std::move(members[i]));
  }
  return dictionary;
}

const PropertyList* PropertyListDictionary::find(std::string_view key) const {
  for (const PropertyListMember& member : members_) {
    if (member.key == key) return &member.value;
  }
  return nullptr;
}

void PropertyListDictionary::set(std::string_view key, PropertyList value) {
  for (PropertyListMember& member : members_) {
    if (member.key != key) continue;
    member.value = std::move(value);
    return;
  }
  members_.push_back({std::string(key), std::move(value)});
}

void PropertyListDictionary::erase(std::string_view key) {
  std::erase_if(members_, [key](const PropertyListMember& member) { return member.key == key; });
}

size_t PropertyListDictionary::size() const { return members_.size(); }

bool operator==(const PropertyListDictionary& a, const PropertyListDictionary& b) {
  if (a.members_ == b.members_) return true;
  if (a.size() != b.size()) return false;
  const std::vector<size_t> placesA = placesByKey(a.members_), placesB = placesByKey(b.members_);
  return std::equal(placesA.begin(), placesA.end(), placesB.begin(),
                    [&](size_t i, size_t j) { return a.members_[i] == b.members_[j]; });
}

bool PropertyList::isNumber() const { return boolean() || integer() || real(); }

double PropertyList::number() const {
  if (const bool* value = boolean()) return *value ? 1 : 0;
  if (const int64_t* value = integer()) return static_cast<double>(*value);
  if (const double* value = real()) return *value;
  return 0;
}

bool operator==(const PropertyList& a, const PropertyList& b) {
  if (a.real() && b.real()) return *a.real() == *b.real() || (std::isnan(*a.real()) && std::isnan(*b.real()));
  return a.value_ == b.value_;
}

PropertyListResult readPropertyList(std::span<const uint8_t> bytes, const PropertyListLimits& limits) {
  if (bytes.size() > limits.bytes) {
    return {{}, "the property list is longer than " + std::to_string(limits.bytes) + " bytes"};
  }
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (isBinary(text)) return readBinaryPropertyList(bytes, limits);
  return isXml(text) ? readXmlPropertyList(text, limits) : readOldStylePropertyList(text, limits);
}

}  // namespace vello
