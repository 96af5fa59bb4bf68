// The functions a host filters with. Each makes one session, which ends with the call.
#include <mutex>

#include "engine/catalogue/plugin.h"
#include "hosts/capi/guarded.h"
#include "hosts/capi/objects.h"
#include "platform/resources.h"
#include "source/core/session/KPImageFilter.h"
#include "source/core/session/help_book.h"
#include "source/screen/KPLocalizedString.h"

using vello::guarded;
using vello::KPImageFilter;
using vello::logLine;

namespace {

constexpr const char* kNoImage = "*** Vello : %@ was given no image\n";
constexpr const char* kNoFile = "*** Vello : %@ was given no file\n";

std::optional<std::string_view> textOf(CFStringRef string) {
  return string ? std::optional<std::string_view>(string->text) : std::nullopt;
}

template <class T>
void store(T* out, T value) {
  if (out) *out = value;
}

// Whether there is one; a line in the log when not.
bool hasImage(const char* function, CGImageRef image) {
  if (!image) logLine(kNoImage, {function});
  return image != nullptr;
}

std::unique_ptr<KPImageFilter> hostSession(CGImageRef image) {
  auto session = KPImageFilter::imageFilterWithCGImage(image->image);
  session->setRunLoopMode(1);  // the host's event loop drives drags
  return session;
}

CFDataRef createResult(CGImageRef image, CFStringRef chain) {
  auto pixels = KPImageFilter::imageFilterWithCGImage(image->image)->filterResultForChain(textOf(chain));
  return pixels ? new __CFData(vello::SharedBytes(std::move(*pixels))) : nullptr;
}

CFArrayRef createArray(const std::vector<std::string>& texts) {
  std::vector<std::unique_ptr<vello::Held<CFStringRef>>> held;
  std::vector<const vello::CObject*> strings;
  for (const std::string& text : texts) {
    const CFStringRef string = new __CFString(text);
    held.push_back(std::make_unique<vello::Held<CFStringRef>>(string));
    strings.push_back(string);
  }
  return new __CFArray(std::move(strings));
}

}  // namespace

void LoadImageUnits() {
  static std::mutex mutex;
  static bool loaded = false;
  guarded("LoadImageUnits", [] {
    const std::lock_guard lock(mutex);
    if (!loaded) vello::CIPlugIn::loadAllPlugIns();
    loaded = true;  // only once loading has returned
  });
}

void SetHostApplicationID(uint32_t hostID) { KPImageFilter::setHostApplicationID(hostID); }

void RegisterHelpBook(CFBundleRef bundle) {
  guarded("RegisterHelpBook", [&] {
    if (bundle) vello::registerHelpBook(bundle->path);
  });
}

int32_t CreateFilteredImageWithChain(CGImageRef image, CFStringRef chain, CFDataRef* outPixels,
                                     size_t* outWidth, size_t* outHeight) {
  store(outWidth, VelloImageGetWidth(image));
  store(outHeight, VelloImageGetHeight(image));
  store<CFDataRef>(outPixels, nullptr);
  guarded("CreateFilteredImageWithChain", [&] {
    if (hasImage("CreateFilteredImageWithChain", image) && outPixels) *outPixels = createResult(image, chain);
  });
  return 0;
}

int32_t FilterPreviewUI(CGImageRef image, CFStringRef chain, CFStringRef* outChain) {
  return guarded("FilterPreviewUI", int32_t{kVelloFailed}, [&]() -> int32_t {
    if (!hasImage("FilterPreviewUI", image)) return kVelloFailed;
    std::string result;
    const int32_t code = hostSession(image)->runModalUIForPreview(textOf(chain), &result);
    if (code == kVelloApplied && outChain) *outChain = new __CFString(result);
    return code;
  });
}

int32_t FilterImageDataWithUI(CGImageRef image, float dpi, CFStringRef presetName, CFURLRef defaultURL,
                              CFURLRef* outURL) {
  return guarded("FilterImageDataWithUI", int32_t{kVelloFailed}, [&]() -> int32_t {
    if (!hasImage("FilterImageDataWithUI", image)) return kVelloFailed;
    const auto session = hostSession(image);
    if (defaultURL) session->setDefaultURL(defaultURL->path);
    if (presetName) session->applyPreset(presetName->text);
    std::string path;
    const int32_t code = session->runModalUIForFile(&path, dpi);
    if (code == kVelloApplied && outURL) *outURL = new __CFURL(path);
    return code;
  });
}

int32_t FilterImageAtPath(const __CFURL* fileURL) {
  guarded("FilterImageAtPath", [&] {
    if (!fileURL) return logLine(kNoFile, {"FilterImageAtPath"});
    std::string path;
    KPImageFilter::imageFilterWithFileAtPath(fileURL->path)->runModalUIForFile(&path, 72.0f);
  });
  return 0;
}

CFIndex FilterPresetsList(CFArrayRef* outNames) {
  store<CFArrayRef>(outNames, nullptr);
  return guarded("FilterPresetsList", CFIndex{0}, [&]() -> CFIndex {
    const std::vector<std::string> names = KPImageFilter::presetNames();
    if (outNames) *outNames = createArray(names);
    return static_cast<CFIndex>(names.size());
  });
}

CFStringRef LocalizedStringForString(CFStringRef key) {
  return guarded("LocalizedStringForString", key, [&]() -> CFStringRef {
    return key ? vello::internedString(vello::localizedString(key->text).value_or(key->text)) : nullptr;
  });
}

NSString* KPLocalizedString(NSString* key) {
  return guarded("KPLocalizedString", static_cast<NSString*>(nullptr), [&]() -> NSString* {
    if (!key) return nullptr;
    const auto string = reinterpret_cast<CFStringRef>(key);
    const CFStringRef text = vello::internedString(vello::KPLocalizedString(string->text));
    return reinterpret_cast<NSString*>(const_cast<__CFString*>(text));
  });
}

void CheckForUpdate() { guarded("CheckForUpdate", KPImageFilter::checkForUpdate); }

void DoAboutBox() { guarded("DoAboutBox", KPImageFilter::doModalAboutBox); }
