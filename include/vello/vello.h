/* Vello Effects: the interface for host programs. C99 or later, and C++.
 *
 * A host hands over a picture and a filter chain (a text that records a stack of filters and their values)
 * and gets the filtered pixels back:
 *
 *   LoadImageUnits();
 *   SetHostApplicationID(0);
 *   CGImageRef image = VelloImageCreateWithFile("photo.tif");
 *   CFStringRef chain = VelloStringCreateWithFile("soft.chain");
 *   CFDataRef pixels = NULL;
 *   size_t width = 0, height = 0;
 *   CreateFilteredImageWithChain(image, chain, &pixels, &width, &height);
 *   ...
 *   VelloRelease(pixels);
 *   VelloRelease(chain);
 *   VelloRelease(image);
 *
 * Ownership. What a function with "Create" or "Copy" in its name returns, and what an out-parameter receives,
 * belongs to the caller: release it once with VelloRelease. What any other function returns belongs to
 * somebody else and lives as long as the object it was asked of; retain it to keep it longer. Objects never
 * change once made. Arguments are only borrowed.
 *
 * Errors. No function throws or ends the process. What cannot be done is one line in the log (standard error,
 * or the handler set with VelloSetLogHandler) and a result that says so: NULL, 0 or a result code. NULL for
 * an out-parameter means that its value is not wanted.
 *
 * Threads. Objects may be used from any thread. CreateFilteredImageWithChain may run on several threads at
 * once. Call LoadImageUnits and SetHostApplicationID first; call what opens a window on the toolkit's thread
 * only. A host's locale and its floating-point modes change no result. */
#ifndef VELLO_VELLO_H
#define VELLO_VELLO_H

#include <stddef.h>
#include <stdint.h>

/* Of this header. VelloVersion() tells the library's. */
#define VELLO_VERSION_MAJOR 0
#define VELLO_VERSION_MINOR 1
#define VELLO_VERSION_PATCH 0
#define VELLO_VERSION (VELLO_VERSION_MAJOR * 10000 + VELLO_VERSION_MINOR * 100 + VELLO_VERSION_PATCH)

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types ---- */

typedef double CGFloat;
typedef long CFIndex;

typedef const struct __CFString* CFStringRef; /* UTF-8 text */
typedef const struct __CFURL* CFURLRef;       /* where a file lies */
typedef const struct __CFArray* CFArrayRef;   /* objects in order */
typedef const struct __CFData* CFDataRef;     /* bytes */
typedef struct __CFBundle* CFBundleRef;       /* a folder of resources */
typedef struct CGImage* CGImageRef;           /* pixels, their layout and their colour space */
typedef struct CGColorSpace* CGColorSpaceRef;
typedef struct CGDataProvider* CGDataProviderRef; /* where an image's bytes come from */
typedef struct NSString NSString; /* the same objects as CFStringRef: cast one into the other */

/* Result codes of the functions that run the filter window. */
enum {
  kVelloApplied = 0,   /* the result was handed back */
  kVelloCancelled = 1, /* the user cancelled */
  kVelloFailed = 5     /* the window could not be run to its end: the log says why */
};

/* Host application identifiers. The newer illustration host has the lower number. */
enum {
  kVelloHostStandalone = 0,
  kVelloHostIDCS1 = 1,
  kVelloHostIDCS2 = 2,
  kVelloHostAICS2 = 3,
  kVelloHostAICS1 = 4,
  kVelloHostIDCS3 = 5
};

/* Bitmap info of KP_CGImageCreate: an alpha kind, or'ed with kVelloFloatComponents and a byte order. */
enum {
  kVelloAlphaNone = 0, /* 24 bits of RGB, or 32 of which the last 8 are skipped */
  kVelloAlphaPremultipliedLast = 1,
  kVelloAlphaPremultipliedFirst = 2,
  kVelloAlphaLast = 3,
  kVelloAlphaFirst = 4,
  kVelloAlphaNoneSkipLast = 5,
  kVelloAlphaNoneSkipFirst = 6,
  kVelloAlphaOnly = 7,
  kVelloAlphaMask = 0x1F,

  kVelloFloatComponents = 1 << 8,

  kVelloByteOrderDefault =
      0, /* 8-bit components as they lie in memory, deeper ones most significant byte first */
  kVelloByteOrder16Little = 1 << 12, /* 16-bit components, least significant byte first */
  kVelloByteOrder32Little = 2 << 12, /* float components; of 8-bit ones, each pixel's four bytes in reverse */
  kVelloByteOrder16Big = 3 << 12,
  kVelloByteOrder32Big = 4 << 12,
  kVelloByteOrderMask = 0x7000
};

/* ---- Starting up ---- */

/* Loads the installed image units (filter plug-ins), whose filters then appear in the catalogue. Only the
 * first call of a process does anything. */
void LoadImageUnits(void);

/* Says which host this is, before anything that shows a window or tells a version. Any value is stored as
 * given; an unknown one gets the answers of the standalone shell. */
void SetHostApplicationID(uint32_t hostID);

/* Records the folder of `bundle` as where the help book lies. NULL does nothing. */
void RegisterHelpBook(CFBundleRef bundle);

/* ---- Filtering ---- */

/* Applies `chain` to `image` without any window. Always returns 0.
 *
 * *outWidth and *outHeight receive the size of the image. *outPixels receives width x height pixels, 8-bit
 * premultiplied RGBA, rows of exactly width * 4 bytes, the top row first, in the image's own colour space
 * when that is an RGB space described by curves and a matrix, else in sRGB (VelloImageCopyResultColorSpace
 * tells).
 *
 * A chain that is NULL, empty or cannot be read gives the image's own pixels and a log line. *outPixels
 * becomes NULL when there is no result: no image (width and height are then 0), a chain with a filter that
 * does not exist, a result of 2 GiB or more, too little memory. */
int32_t CreateFilteredImageWithChain(CGImageRef image, CFStringRef chain, CFDataRef* outPixels,
                                     size_t* outWidth, size_t* outHeight);

/* Opens the filter window on `image` and `chain` (NULL: an empty stack) and returns a result code. Only for
 * kVelloApplied *outChain receives the new chain. */
int32_t FilterPreviewUI(CGImageRef image, CFStringRef chain, CFStringRef* outChain);

/* Opens the filter window on `image`, with the preset of that name applied (NULL: none), to save the result
 * to a file at `dpi`; `defaultURL` (NULL: none) is where the save panel starts. Only for kVelloApplied
 * *outURL receives the file's place. */
int32_t FilterImageDataWithUI(CGImageRef image, float dpi, CFStringRef presetName, CFURLRef defaultURL,
                              CFURLRef* outURL);

/* The names of the stored presets, CFStringRef each: *outNames receives them, the result is their number. */
CFIndex FilterPresetsList(CFArrayRef* outNames);

/* ---- Texts and panels ---- */

/* The plug-in's text for `key` in the user's language; the key itself when there is none. Lives as long as
 * the process: do not release it. NULL for NULL. */
CFStringRef LocalizedStringForString(CFStringRef key);

void CheckForUpdate(void);
void DoAboutBox(void);

/* ---- Pixels from the host ---- */

/* An image over the provider's bytes, which are shared, not copied. Row 0 is the top row.
 *
 * Components of 8 or 16 bits or 32-bit floats; grey, RGB, CMYK or Lab, with or without alpha, as `space`
 * (NULL: sRGB, generic grey or plain CMYK, by the number of components) and `bitmapInfo` say. `decode` (NULL:
 * none) holds a least and a greatest value for each colour component, which integer components are stretched
 * to; the bytes are then copied. `shouldInterpolate` and `renderingIntent` change no result. NULL when the
 * numbers contradict one another, or the bytes are too few. */
CGImageRef KP_CGImageCreate(size_t width, size_t height, size_t bitsPerComponent, size_t bitsPerPixel,
                            size_t bytesPerRow, CGColorSpaceRef space, uint32_t bitmapInfo,
                            CGDataProviderRef provider, const CGFloat* decode, int32_t shouldInterpolate,
                            int32_t renderingIntent);

/* Shares the bytes of `data`, which may be released afterwards. NULL for NULL. */
CGDataProviderRef KP_CGDataProviderCreateWithCFData(CFDataRef data);

/* The colour space of an ICC profile in memory; generic RGB (gamma 1.8) when the bytes are no usable profile.
 */
CGColorSpaceRef CreateCGColorSpaceFromProfile(const void* profileBytes, int32_t length);

/* ---- Helpers: any object ---- */

/* The library's version, "major.minor.patch". */
const char* VelloVersion(void);

/* Every object of this interface can be retained and released. Both do nothing for NULL. */
const void* VelloRetain(const void* object);
void VelloRelease(const void* object);

/* Log lines go to `handler` (NULL: standard error), from whichever thread has one. Set it while no other
 * function runs; it must not call back into this interface. */
typedef void (*VelloLogHandler)(const char* line, void* context);
void VelloSetLogHandler(VelloLogHandler handler, void* context);

/* ---- Helpers: strings, arrays, data, URLs, bundles ---- */

/* NULL when the text is NULL or not UTF-8. */
CFStringRef VelloStringCreate(const char* utf8);
CFStringRef VelloStringCreateWithBytes(const void* utf8, size_t length);
/* The whole contents of a text file, such as a stored chain. Chains in another property-list format than XML
 * are read too: their bytes stay as they are. NULL when it cannot be read or exceeds 16 MB. */
CFStringRef VelloStringCreateWithFile(const char* path);
/* Ends with a zero byte, which the length does not count. NULL and 0 for NULL. */
const char* VelloStringGetUTF8(CFStringRef string);
size_t VelloStringGetLength(CFStringRef string);

/* Retains the values. NULL when one of them is NULL. */
CFArrayRef VelloArrayCreate(const void* const* values, CFIndex count);
CFIndex VelloArrayGetCount(CFArrayRef array);
/* NULL outside the array. */
const void* VelloArrayGetValue(CFArrayRef array, CFIndex index);

/* Copies the bytes. */
CFDataRef VelloDataCreate(const void* bytes, size_t length);
/* Shares the bytes, which must stay as they are until `release` (NULL: never told) is called with `context`,
 * once, on whichever thread lets go last. On failure it is called too. */
CFDataRef VelloDataCreateNoCopy(const void* bytes, size_t length, void (*release)(void* context),
                                void* context);
const void* VelloDataGetBytes(CFDataRef data);
size_t VelloDataGetLength(CFDataRef data);

/* The path of a file, absolute or relative to the current directory. */
CFURLRef VelloURLCreateWithPath(const char* path);
const char* VelloURLGetPath(CFURLRef url);

/* A folder; NULL when there is none of that name. */
CFBundleRef VelloBundleCreateWithPath(const char* path);
const char* VelloBundleGetPath(CFBundleRef bundle);

/* ---- Helpers: colour spaces and images ---- */

/* "sRGB", "linear sRGB", "Display P3", "Adobe RGB", "generic RGB", "generic gray", "device CMYK"; NULL for
 * another name. */
CGColorSpaceRef VelloColorSpaceCreateWithName(const char* name);
/* As CreateCGColorSpaceFromProfile, but NULL when the bytes are no usable profile. */
CGColorSpaceRef VelloColorSpaceCreateWithProfile(const void* profileBytes, size_t length);
CFStringRef VelloColorSpaceCopyName(CGColorSpaceRef space);
/* An ICC profile. */
CFDataRef VelloColorSpaceCopyProfile(CGColorSpaceRef space);

/* Reads a TIFF, PNG, JPEG or WebP file, orientation applied. NULL when it cannot be read. */
CGImageRef VelloImageCreateWithFile(const char* path);
/* Writes a TIFF, PNG or JPEG file (by the name's extension) beside its target and renames it into place, with
 * the colour profile, 8 or 16 bits a component. JPEG loses transparency: it becomes black. 0, or -1 when it
 * cannot be written. */
int32_t VelloImageWriteToFile(CGImageRef image, const char* path);
/* 0 for NULL. */
size_t VelloImageGetWidth(CGImageRef image);
size_t VelloImageGetHeight(CGImageRef image);
size_t VelloImageGetBitsPerComponent(CGImageRef image);
size_t VelloImageGetBitsPerPixel(CGImageRef image);
size_t VelloImageGetBytesPerRow(CGImageRef image);
/* Alpha kind, float flag and byte order, as KP_CGImageCreate takes them. */
uint32_t VelloImageGetBitmapInfo(CGImageRef image);
/* The top row first; as long as bytes per row x (height - 1) and one row of pixels. */
const void* VelloImageGetBytes(CGImageRef image);
CGColorSpaceRef VelloImageCopyColorSpace(CGImageRef image);
/* The colour space of what CreateFilteredImageWithChain makes of this image. */
CGColorSpaceRef VelloImageCopyResultColorSpace(CGImageRef image);

/* ---- Two functions whose symbols carry the type of their argument ---- */

#ifdef __cplusplus
} /* extern "C" */
#define VELLO_SYMBOL(name)
#else
#define VELLO_SYMBOL(name) __asm__(name)
#endif

/* Opens the filter window on a picture file, to save the result to a file at 72 dpi. Always returns 0. */
int32_t FilterImageAtPath(const struct __CFURL* fileURL) VELLO_SYMBOL("_Z17FilterImageAtPathPK7__CFURL");

/* As LocalizedStringForString, but empty when there is no text for the key. */
NSString* KPLocalizedString(NSString* key) VELLO_SYMBOL("_Z17KPLocalizedStringP8NSString");

#undef VELLO_SYMBOL

#endif
