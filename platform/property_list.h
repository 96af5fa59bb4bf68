// Property lists: the values a filter chain and the preferences are made of, and their text and binary forms.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/data.h"

namespace vello {

class PropertyList;
struct PropertyListMember;
using PropertyListArray = std::vector<PropertyList>;

// Keys in the order they were first set; a key set again keeps its place.
class PropertyListDictionary {
 public:
  const PropertyList* find(std::string_view key) const;  // nullptr when the key is missing
  void set(std::string_view key, PropertyList value);
  void erase(std::string_view key);
  const std::vector<PropertyListMember>& members() const { return members_; }
  size_t size() const;
  bool empty() const { return size() == 0; }

  // Of a key that occurs more than once, the first member counts. Takes n log n steps, where n calls of set()
  // take n * n.
  static PropertyListDictionary fromMembers(std::vector<PropertyListMember> members);
  // The order of the keys does not matter.
  friend bool operator==(const PropertyListDictionary& a, const PropertyListDictionary& b);

  PropertyListDictionary();
  PropertyListDictionary(const PropertyListDictionary&);
  PropertyListDictionary(PropertyListDictionary&&) noexcept;
  PropertyListDictionary& operator=(const PropertyListDictionary&);
  PropertyListDictionary& operator=(PropertyListDictionary&&) noexcept;
  ~PropertyListDictionary();

 private:
  std::vector<PropertyListMember> members_;
};

// Seconds since 2001-01-01 00:00:00 UTC.
struct PropertyListDate {
  double seconds = 0;
  friend bool operator==(const PropertyListDate&, const PropertyListDate&) = default;
};

// One value; default-made it is nil, which no property list can hold and writing refuses.
class PropertyList {
 public:
  PropertyList() = default;
  PropertyList(bool v) : value_(v) {}
  PropertyList(int v) : value_(int64_t{v}) {}
  PropertyList(int64_t v) : value_(v) {}
  PropertyList(double v) : value_(v) {}
  PropertyList(const char* v) : value_(std::string(v)) {}
  PropertyList(std::string v) : value_(std::move(v)) {}
  PropertyList(Data v) : value_(std::move(v)) {}
  PropertyList(PropertyListDate v) : value_(v) {}
  PropertyList(PropertyListArray v) : value_(std::move(v)) {}
  PropertyList(PropertyListDictionary v) : value_(std::move(v)) {}

  bool isNil() const { return std::holds_alternative<std::monostate>(value_); }
  bool isNumber() const;  // boolean, integer or real
  // nullptr when the value is of another kind.
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const int64_t* integer() const { return std::get_if<int64_t>(&value_); }
  const double* real() const { return std::get_if<double>(&value_); }
  const std::string* string() const { return std::get_if<std::string>(&value_); }
  const Data* data() const { return std::get_if<Data>(&value_); }
  const PropertyListDate* date() const { return std::get_if<PropertyListDate>(&value_); }
  const PropertyListArray* array() const { return std::get_if<PropertyListArray>(&value_); }
  const PropertyListDictionary* dictionary() const { return std::get_if<PropertyListDictionary>(&value_); }
  // The number as a double; 0 for everything that is no number.
  double number() const;

  // Values of different kinds differ (1 and 1.0); a real that is not a number equals itself.
  friend bool operator==(const PropertyList& a, const PropertyList& b);

 private:
  std::variant<std::monostate, bool, int64_t, double, std::string, Data, PropertyListDate, PropertyListArray,
               PropertyListDictionary>
      value_;
};

struct PropertyListMember {
  std::string key;
  PropertyList value;
  friend bool operator==(const PropertyListMember&, const PropertyListMember&) = default;
};

inline constexpr int kPropertyListDepth = 64;

struct PropertyListLimits {
  size_t bytes = size_t{16} << 20;
  int depth = kPropertyListDepth;   // containers within one another
  size_t values = size_t{4} << 20;  // scalars, containers and keys, all together
};

struct PropertyListResult {
  PropertyList value;
  std::string error;  // empty on success; else one sentence with the place
  bool ok() const { return error.empty(); }
};

// Reads XML, binary or old-style text, whichever the bytes hold. Never throws, never recurses past the depth
// limit, uses memory in proportion to the input (a binary list may name one object often: its expanded size
// is limited too). Strict: what is not wholly of the form is refused with its line or byte. Two things are
// allowed: of a key that stands twice in a dictionary the first counts, and a UTF-8 byte order mark.
// Old-style text also reads the form of a string table, members without the braces around them.
PropertyListResult readPropertyList(std::span<const uint8_t> bytes, const PropertyListLimits& limits = {});

struct PropertyListText {
  std::string text;
  std::string error;  // empty on success; else one sentence with the place, as in "[2].inputText"
  bool ok() const { return error.empty(); }
};

// The standard XML form: header, tabs, keys in the order they were set; reals in the shortest digits that
// read back to the same double; "nan", "+infinity", "-infinity"; dates to the whole second. Refused, as no
// reader could take them: nil values, text that is not UTF-8 or holds control characters, more containers
// within one another than kPropertyListDepth, dates outside the years 0000 to 9999.
PropertyListText writePropertyListXML(const PropertyList& value);

}  // namespace vello
