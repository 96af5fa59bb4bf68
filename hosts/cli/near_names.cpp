#include "hosts/cli/near_names.h"

#include <algorithm>
#include <set>
#include <utility>

#include "engine/catalogue/filter.h"

namespace vello::cli {
namespace {

constexpr size_t kMostSuggestions = 5;
constexpr int kFar = 1000;
// Longer than every name; keeps the table of distances small whatever is typed.
constexpr size_t kLongestCompared = 100;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowerCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), lower);
  return result;
}

std::string withoutPrefix(std::string_view text, std::string_view prefix) {
  return std::string(text.substr(0, prefix.size()) == prefix ? text.substr(prefix.size()) : text);
}

// What people leave out of names: "CI", "input", "CICategory".
std::string core(std::string_view name) {
  std::string text = lowerCase(name);
  for (const char* prefix : {"cicategory", "ci", "input"}) text = withoutPrefix(text, prefix);
  text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
  return text;
}

int distanceOfNames(std::string_view typed, std::string_view known) {
  const std::string a = core(typed), b = core(known);
  const int allowed = std::max<int>(1, static_cast<int>(std::max(a.size(), b.size())) / 3);
  const int distance = editDistance(a, b);
  if (distance <= allowed) return distance;
  const bool part = a.size() >= 3 && b.find(a) != std::string::npos;
  return part ? distance : kFar;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

std::string withSuggestions(const std::string& text, const std::vector<std::string>& near) {
  return near.empty() ? text : text + "; near: " + joined(near);
}

}  // namespace

int editDistance(std::string_view a, std::string_view b) {
  a = a.substr(0, kLongestCompared);
  b = b.substr(0, kLongestCompared);
  std::vector<std::vector<int>> d(a.size() + 1, std::vector<int>(b.size() + 1));
  for (size_t i = 0; i <= a.size(); ++i) d[i][0] = static_cast<int>(i);
  for (size_t j = 0; j <= b.size(); ++j) d[0][j] = static_cast<int>(j);
  for (size_t i = 1; i <= a.size(); ++i)
    for (size_t j = 1; j <= b.size(); ++j) {
      const int replaced = d[i - 1][j - 1] + (lower(a[i - 1]) != lower(b[j - 1]));
      d[i][j] = std::min({d[i - 1][j] + 1, d[i][j - 1] + 1, replaced});
      const bool swapped =
          i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1]);
      if (swapped) d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
    }
  return d[a.size()][b.size()];
}

std::vector<std::string> nearNames(std::string_view name, const std::vector<std::string>& known) {
  std::vector<std::pair<int, std::string>> found;
  for (const std::string& candidate : known)
    if (const int distance = distanceOfNames(name, candidate); distance < kFar)
      found.emplace_back(distance, candidate);
  std::sort(found.begin(), found.end());
  if (found.size() > kMostSuggestions) found.resize(kMostSuggestions);
  std::vector<std::string> names;
  names.reserve(found.size());
  for (const auto& [distance, candidate] : found) names.push_back(candidate);
  return names;
}

std::string unknownFilter(std::string_view name) {
  return withSuggestions("there is no filter \"" + std::string(name) + "\"",
                         nearNames(name, CIFilter::filterNamesInCategory("")));
}

std::string unknownInput(const FilterAttributes& filter, std::string_view key) {
  std::vector<std::string> keys;
  for (const InputAttributes& input : filter.inputs) keys.push_back(input.key);
  const std::string text = filter.name + " has no input \"" + std::string(key) + "\"";
  const std::vector<std::string> near = nearNames(key, keys);
  if (!near.empty()) return withSuggestions(text, near);
  return text + (keys.empty() ? "; it has none" : "; it has " + joined(keys));
}

std::string unknownCategory(std::string_view category) {
  std::set<std::string> categories;
  for (const std::string& name : CIFilter::filterNamesInCategory(""))
    for (const std::string& own : CIFilter::attributesForFilterName(name)->categories) categories.insert(own);
  const std::vector<std::string> all(categories.begin(), categories.end());
  const std::vector<std::string> near = nearNames(category, all);
  const std::string text = "there is no category \"" + std::string(category) + "\"";
  return near.empty() ? text + "; there are " + joined(all) : withSuggestions(text, near);
}

}  // namespace vello::cli
