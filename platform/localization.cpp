#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>

#include "platform/ascii.h"
#include "platform/file_bytes.h"
#include "platform/log.h"
#include "platform/property_list.h"
#include "platform/resources.h"

namespace vello {
namespace {

constexpr std::string_view kLanguages[] = {"en", "de", "fr", "es", "ja"};
constexpr std::string_view kFallback = "en";
constexpr std::string_view kBrokenTable = "*** Vello : string table %@";

using Table = std::map<std::string, std::string, std::less<>>;

std::string_view environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string_view environmentLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const std::string_view value = environment(name); !value.empty()) return value;
  }
  return {};
}

// "de_AT.UTF-8@euro" is "de"; empty when there is no table for it.
std::string_view supportedLanguage(std::string_view locale) {
  const std::string_view code = locale.substr(0, locale.find_first_of("_-.@"));
  const auto found = std::find_if(std::begin(kLanguages), std::end(kLanguages),
                                  [&](std::string_view known) { return equalIgnoringCase(known, code); });
  return found == std::end(kLanguages) ? std::string_view() : *found;
}

bool isNeutral(std::string_view locale) {
  return locale.empty() || locale == "C" || locale == "POSIX" || locale.starts_with("C.");
}

Table readTable(std::string_view language) {
  const auto path = pathForResource(std::string(language) + ".lproj/Localizable.strings");
  if (!path) return {};
  std::string error;
  const auto bytes = readFile(*path, PropertyListLimits().bytes, &error);
  const PropertyListResult list = bytes ? readPropertyList(*bytes) : PropertyListResult{{}, error};
  if (!list.value.dictionary()) {
    logLine(kBrokenTable, {*path + ": " + (list.ok() ? "no dictionary" : list.error)});
    return {};
  }
  Table table;
  for (const auto& [key, value] : list.value.dictionary()->members()) {
    if (value.string()) table.emplace(key, *value.string());
  }
  return table;
}

// Read once; the reference stays valid.
const Table& tableFor(std::string_view language) {
  static std::mutex mutex;
  static std::map<std::string, Table, std::less<>> tables;
  const std::lock_guard lock(mutex);
  auto found = tables.find(language);
  if (found == tables.end()) found = tables.emplace(language, readTable(language)).first;
  return found->second;
}

}  // namespace

std::string languageFor(std::string_view locale, std::string_view choices) {
  if (isNeutral(locale)) return std::string(kFallback);
  while (!choices.empty()) {
    const std::string_view choice = choices.substr(0, choices.find(':'));
    if (const std::string_view language = supportedLanguage(choice); !language.empty()) {
      return std::string(language);
    }
    choices.remove_prefix(std::min(choice.size() + 1, choices.size()));
  }
  const std::string_view language = supportedLanguage(locale);
  return std::string(language.empty() ? kFallback : language);
}

const std::string& userLanguage() {
  static const std::string language = languageFor(environmentLocale(), environment("LANGUAGE"));
  return language;
}

std::optional<std::string> localizedString(std::string_view key, std::string_view language) {
  for (const std::string_view candidate : {language, kFallback}) {
    if (supportedLanguage(candidate).empty()) continue;
    const Table& table = tableFor(supportedLanguage(candidate));
    if (const auto found = table.find(key); found != table.end()) return found->second;
  }
  return std::nullopt;
}

std::optional<std::string> localizedString(std::string_view key) {
  return localizedString(key, userLanguage());
}

}  // namespace vello
