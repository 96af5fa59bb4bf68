// Strings, arrays, data, URLs and bundles: what a host builds arguments from and reads results with.
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <mutex>

#include "hosts/capi/guarded.h"
#include "hosts/capi/objects.h"
#include "platform/property_list_scalars.h"
#include "source/parameters/chain_limits.h"

using vello::CObject;
using vello::guarded;
using vello::logLine;

#define VELLO_STRING(x) #x
#define VELLO_TEXT(x) VELLO_STRING(x)

namespace {

constexpr const char* kNotUTF8 = "*** Vello : a string is not UTF-8\n";
constexpr const char* kBadFile = "*** Vello : %@: %@\n";

// The contents of a regular file of at most `limit` bytes, or what is wrong.
std::string readFile(const char* path, size_t limit, std::string& contents) {
  struct stat status;
  if (stat(path, &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "not a file";
  if (static_cast<size_t>(status.st_size) > limit) return "larger than 16 MB";
  std::ifstream file(path, std::ios::binary);
  contents.resize(static_cast<size_t>(status.st_size));
  file.read(contents.data(), static_cast<std::streamsize>(contents.size()));
  return file ? "" : "cannot be read";
}

}  // namespace

const char* VelloVersion() {
  return VELLO_TEXT(VELLO_VERSION_MAJOR) "." VELLO_TEXT(VELLO_VERSION_MINOR) "." VELLO_TEXT(
      VELLO_VERSION_PATCH);
}

const void* VelloRetain(const void* object) {
  if (object) static_cast<const CObject*>(object)->retain();
  return object;
}

void VelloRelease(const void* object) {
  guarded("VelloRelease", [&] {
    if (object) static_cast<const CObject*>(object)->release();
  });
}

void VelloSetLogHandler(VelloLogHandler handler, void* context) {
  guarded("VelloSetLogHandler", [&] {
    if (!handler) return void(vello::setLogSink(nullptr));
    vello::setLogSink([handler, context](const std::string& line) { handler(line.c_str(), context); });
  });
}

CFStringRef VelloStringCreate(const char* utf8) {
  return utf8 ? VelloStringCreateWithBytes(utf8, std::strlen(utf8)) : nullptr;
}

CFStringRef VelloStringCreateWithBytes(const void* utf8, size_t length) {
  return guarded("VelloStringCreateWithBytes", static_cast<CFStringRef>(nullptr), [&]() -> CFStringRef {
    if (!utf8) return length == 0 ? new __CFString("") : nullptr;
    std::string text(static_cast<const char*>(utf8), length);
    if (vello::validUtf8Length(text) == text.size()) return new __CFString(std::move(text));
    logLine(kNotUTF8);
    return nullptr;
  });
}

CFStringRef VelloStringCreateWithFile(const char* path) {
  return guarded("VelloStringCreateWithFile", static_cast<CFStringRef>(nullptr), [&]() -> CFStringRef {
    if (!path) return nullptr;
    std::string text;
    const std::string error = readFile(path, vello::kMaxChainBytes, text);
    if (error.empty()) return new __CFString(std::move(text));
    logLine(kBadFile, {path, error});
    return nullptr;
  });
}

const char* VelloStringGetUTF8(CFStringRef string) { return string ? string->text.c_str() : nullptr; }
size_t VelloStringGetLength(CFStringRef string) { return string ? string->text.size() : 0; }

CFArrayRef VelloArrayCreate(const void* const* values, CFIndex count) {
  return guarded("VelloArrayCreate", static_cast<CFArrayRef>(nullptr), [&]() -> CFArrayRef {
    if (count < 0 || (count > 0 && !values)) return nullptr;
    std::vector<const CObject*> objects;
    for (CFIndex i = 0; i < count; ++i) {
      if (!values[i]) return nullptr;
      objects.push_back(static_cast<const CObject*>(values[i]));
    }
    return new __CFArray(std::move(objects));
  });
}

CFIndex VelloArrayGetCount(CFArrayRef array) {
  return array ? static_cast<CFIndex>(array->values.size()) : 0;
}

const void* VelloArrayGetValue(CFArrayRef array, CFIndex index) {
  return index >= 0 && index < VelloArrayGetCount(array) ? array->values[static_cast<size_t>(index)]
                                                         : nullptr;
}

CFDataRef VelloDataCreate(const void* bytes, size_t length) {
  return guarded("VelloDataCreate", static_cast<CFDataRef>(nullptr), [&]() -> CFDataRef {
    if (!bytes && length > 0) return nullptr;
    const auto* first = static_cast<const uint8_t*>(bytes);
    return new __CFData(vello::SharedBytes(vello::Data(std::vector<uint8_t>(first, first + length))));
  });
}

CFDataRef VelloDataCreateNoCopy(const void* bytes, size_t length, void (*release)(void* context),
                                void* context) {
  return guarded("VelloDataCreateNoCopy", static_cast<CFDataRef>(nullptr), [&]() -> CFDataRef {
    // Made first: from here on `release` is called whatever happens.
    std::shared_ptr<const void> owner(bytes, [release, context](const void*) {
      if (release) release(context);
    });
    if (!bytes && length > 0) return nullptr;
    return new __CFData(vello::SharedBytes(std::move(owner), bytes, length));
  });
}

const void* VelloDataGetBytes(CFDataRef data) { return data ? data->content.bytes : nullptr; }
size_t VelloDataGetLength(CFDataRef data) { return data ? data->content.length : 0; }

CFURLRef VelloURLCreateWithPath(const char* path) {
  return guarded("VelloURLCreateWithPath", static_cast<CFURLRef>(nullptr),
                 [&] { return path && *path ? new __CFURL(path) : nullptr; });
}

const char* VelloURLGetPath(CFURLRef url) { return url ? url->path.c_str() : nullptr; }

CFBundleRef VelloBundleCreateWithPath(const char* path) {
  return guarded("VelloBundleCreateWithPath", static_cast<CFBundleRef>(nullptr), [&]() -> CFBundleRef {
    struct stat status;
    if (!path || stat(path, &status) != 0 || !S_ISDIR(status.st_mode)) return nullptr;
    return new __CFBundle(path);
  });
}

const char* VelloBundleGetPath(CFBundleRef bundle) { return bundle ? bundle->path.c_str() : nullptr; }
