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

struct PropertyListLimits {
  size_t bytes = size_t{16} << 20;
  int depth = 64;
};

struct PropertyListResult {
  PropertyList value;
  std::string error;  // empty on success; else one sentence with the place
  bool ok() const { return error.empty(); }
};

// Reads XML, binary or old-style text, whichever the bytes hold. Never throws, never recurses past the depth
// limit, uses memory in proportion to the input (a binary list may name one object often: its expanded size
// is limited too).
PropertyListResult readPropertyList(std::span<const uint8_t> bytes, const PropertyListLimits& limits = {});

struct PropertyListText {
  std::string text;
  std::string error;  // empty on success: nil values and characters XML cannot hold are refused
  bool ok() const { return error.empty(); }
};

// The standard XML form: header, tabs, keys in the order they were set; reals in the shortest digits that
// read back to the same double; "nan", "+infinity", "-infinity".
PropertyListText writePropertyListXML(const PropertyList& value);

}  // namespace vello
