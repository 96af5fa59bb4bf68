// The binary and the old-style text form of a property list.
#include <bit>
#include <cmath>

#include "tests/platform/property_lists.h"

using namespace vello;
using ::testing::HasSubstr;
using vello::testing::dictionary;
using vello::testing::expectRead;
using vello::testing::expectRefused;
using vello::testing::read;

namespace {

using Bytes = std::string;

Bytes bigEndian(uint64_t value, size_t size) {
  Bytes bytes;
  for (size_t i = size; i-- > 0;) bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

// Objects given as their bytes, the first one the root; references and offsets take 1 and 4 bytes.
Bytes binary(const std::vector<Bytes>& objects, size_t referenceSize = 1) {
  Bytes file = "bplist00", offsets;
  for (const Bytes& object : objects) {
    offsets += bigEndian(file.size(), 4);
    file += object;
  }
  const size_t table = file.size();
  file += offsets + Bytes(6, '\0') + bigEndian(4, 1) + bigEndian(referenceSize, 1);
  return file + bigEndian(objects.size(), 8) + bigEndian(0, 8) + bigEndian(table, 8);
}

Bytes operator""_b(const char* text, size_t size) { return Bytes(text, size); }

// An object of up to 14 letters.
Bytes ascii(const Bytes& text) { return static_cast<char>(0x50 + text.size()) + text; }

TEST(PropertyListBinary, ReadsEveryKind) {
  expectRead({
      {binary({"\x08"}), false},
      {binary({"\x09"}), true},
      {binary({"\x10\xFF"}), 255},
      {binary({"\x11\x80\x00"_b}), 32768},
      {binary({"\x12\xFF\xFF\xFF\xFF"}), int64_t{0xFFFFFFFF}},
      {binary({"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFB"}), -5},
      {binary({"\x14" + bigEndian(0, 8) + bigEndian(7, 8)}), 7},
      {binary({"\x14" + bigEndian(UINT64_MAX, 8) + bigEndian(UINT64_MAX, 8)}), -1},
      {binary({"\x22" + bigEndian(std::bit_cast<uint32_t>(0.1f), 4)}), static_cast<double>(0.1f)},
      {binary({"\x23" + bigEndian(std::bit_cast<uint64_t>(-0.0), 8)}), -0.0},
      {binary({"\x33" + bigEndian(std::bit_cast<uint64_t>(12.5), 8)}), PropertyListDate{12.5}},
      {binary({"\x42\x00\xFF"_b}), Data({0, 255})},
      {binary({ascii("")}), ""},
      {binary({ascii("abc")}), "abc"},
      {binary({"\x5F\x10\x10" + Bytes(16, 'x')}), Bytes(16, 'x')},
      {binary({"\x63\x00\xE9\xD8\x3C\xDF\xA8"_b}), "\xC3\xA9\xF0\x9F\x8E\xA8"},
      {binary({"\xA3\x01\x02\x01"_b, "\x09", "\xA0"}), PropertyListArray{true, PropertyListArray{}, true}},
      {binary({"\xD2\x01\x02\x03\x03"_b, ascii("b"), ascii("a"), "\x10\x05"}),
       dictionary({{"b", 5}, {"a", 5}})},
      {binary({"\xA1\x00\x01"_b, "\x08"}, 2), PropertyListArray{false}},
  });
}

// One empty array, said to be among `count` objects of which `root` is the outermost.
Bytes withTrailer(uint64_t count, uint64_t root) {
  const Bytes file = binary({"\xA0"});
  return file.substr(0, file.size() - 24) + bigEndian(count, 8) + bigEndian(root, 8) +
         file.substr(file.size() - 8);
}

TEST(PropertyListBinary, RefusesWhatIsBroken) {
  expectRefused({
      {"bplist", "unknown version"},
      {"bplist15" + Bytes(40, '\0'), "unknown version"},
      {"bplist00", "trailer"},
      {"bplist00" + Bytes(32, '\0'), "trailer"},
      {"bplist00" + Bytes(32, '\xFF'), "trailer"},
      {withTrailer(0, 0), "does not exist"},
      {withTrailer(2, 0), "trailer"},
      {withTrailer(uint64_t{1} << 62, 0), "trailer"},
      {withTrailer(UINT64_MAX, 0), "trailer"},
      {withTrailer(1, 1), "does not exist"},
      {withTrailer(1, uint64_t{1} << 40), "does not exist"},
      {withTrailer(1, UINT64_MAX), "does not exist"},
      {binary({}), "does not exist"},
      {binary({"\x00"_b}), "null value"},
      {binary({"\x13\x01"}), "truncated integer"},
      {binary({"\x15" + Bytes(32, '\0')}), "truncated integer"},
      {binary({"\x14" + bigEndian(1, 8) + bigEndian(0, 8)}), "beyond 64 bits"},
      {binary({"\x21\x01\x01"}), "bad real"},
      {binary({"\x32\x01\x01\x01\x01"}), "bad date"},
      {binary({"\x51\x80"}), "ASCII"},
      {binary({"\x61\xD8\x00"_b}), "surrogate"},
      {binary({"\x61\xDC\x00"_b}), "surrogate"},
      {binary({"\x5F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}), "beyond the objects"},
      {binary({"\x6F\x13\x80\x00\x00\x00\x00\x00\x00\x01"_b}), "beyond the objects"},
      {binary({"\xAF\x13\x40\x00\x00\x00\x00\x00\x00\x01"_b}), "beyond the objects"},
      {binary({"\xDF\x13\x80\x00\x00\x00\x00\x00\x00\x00"_b}), "beyond the objects"},
      {binary({"\x4F\x12\x7F\xFF\xFF\xFF"}), "beyond the objects"},
      {binary({"\xA1\x01", "\xA1\x00"_b}), "containers within one another"},
      {binary({"\x5F\x55"}), "bad count"},
      {binary({"\x80\x01"}), "kind 8"},
      {binary({"\xC1\x00"_b}), "kind 12"},
      {binary({"\xA1\x05"}), "does not exist"},
      {binary({"\xA1\x00"_b}), "containers within one another"},
      {binary({"\xD1\x01\x00"_b, "\x51k"}), "containers within one another"},
      {binary({"\xD1\x01\x01", "\x09"}), "no string"},
  });
}

TEST(PropertyListBinary, EveryTruncationIsRefusedOrReadSafely) {
  const Bytes whole =
      binary({"\xD2\x01\x02\x03\x04"_b, "\x51k", "\x51j", "\x23" + Bytes(8, '\1'), "\xA1\x03"});
  ASSERT_TRUE(read(whole).ok());
  for (size_t size = 6; size < whole.size(); ++size) EXPECT_FALSE(read(whole.substr(0, size)).ok()) << size;
  for (size_t i = 0; i < whole.size(); ++i) {
    for (const char value : {'\0', '\x7F', '\xFF'}) {
      Bytes damaged = whole;
      damaged[i] = value;
      read(damaged);  // may succeed; the sanitizers watch
    }
  }
}

TEST(PropertyListBinary, SharedContainersExpandWithinBounds) {
  std::vector<Bytes> arrays;  // 2 to the 60 values
  for (char i = 1; i <= 60; ++i) arrays.push_back(Bytes("\xA2") + i + i);
  arrays.push_back("\x09");
  EXPECT_THAT(read(binary(arrays)).error, HasSubstr("expand"));
  // 200 times a text of 64 KiB
  const Bytes text = "\x5F\x12" + bigEndian(65536, 4) + Bytes(65536, 'x');
  EXPECT_THAT(read(binary({"\xAF\x10\xC8" + Bytes(200, '\1'), text})).error, HasSubstr("expand"));
  // Scalars shared as a writer would share them
  EXPECT_TRUE(read(binary({"\xAF\x12" + bigEndian(100000, 4) + Bytes(100000, '\1'), "\x09"})).ok());
}

TEST(PropertyListOldStyle, ReadsWhatIsOfTheForm) {
  expectRead({
      {"()", PropertyListArray{}},
      {" ( a, \"b c\", 'd', ( ), ) ", PropertyListArray{"a", "b c", "d", PropertyListArray{}}},
      {"{ k = v; \"x y\" = (1, 2.5); z = {} }",
       dictionary({{"k", "v"}, {"x y", PropertyListArray{"1", "2.5"}}, {"z", PropertyListDictionary{}}})},
      {"<0fBD 77 1c>", Data({0x0F, 0xBD, 0x77, 0x1C})},
      {"(<>)", PropertyListArray{Data()}},
      {"hello", "hello"},
      {"/usr/share//x_y-z.tif:$1", "/usr/share//x_y-z.tif:$1"},
      {"\"\\\"\\\\\\n\\t\\a\\'\\101\\351\\U00e9\\Ud83c\\Udfa8\xC3\xA9\"",
       "\"\\\n\t\a'A\xC3\x98\xC3\xA9\xF0\x9F\x8E\xA8\xC3\xA9"},
      {"/* c */ ( // d\n a /* , b */ , c )", PropertyListArray{"a", "c"}},
      {"\xEF\xBB\xBF{k=a;k=b;}", dictionary({{"k", "a"}})},
      {"/* table */\n\"a\" = \"b\";\nc = d;\n", dictionary({{"a", "b"}, {"c", "d"}})},
  });
}

TEST(PropertyListOldStyle, RefusesTheRestAndSaysWhere) {
  expectRefused({{"", "empty"},
                 {" \n/* only */", "empty"},
                 {"(a\nb)", "line 2: a comma"},
                 {"(a", "a comma or a closing parenthesis"},
                 {"(,)", "out of place"},
                 {"{ a }", "equals sign"},
                 {"{ a = 1 b = 2; }", "semicolon"},
                 {"{ a = 1;", "closing brace"},
                 {"{ (a) = 1; }", "out of place"},
                 {"a = b; }", "text behind the value"},
                 {"a = b", "semicolon"},
                 {"\"abc", "without its end"},
                 {"\"abc\\", "without its end"},
                 {"\"\\Ud83c\"", "escape"},
                 {"\"\\U12g4\"", "escape"},
                 {"<1>", "odd number"},
                 {"<1", "hexadecimal"},
                 {"<dict></dict>", "hexadecimal"},
                 {"(a) b", "line 1: text behind"},
                 {"/* open", "without its end"},
                 {"(a\n\xFF)", "line 2: text that is not UTF-8"},
                 {std::string("a\0", 2), "text behind"},
                 {std::string(65, '('), "more than 64 containers"},
                 {std::string(1000000, '{'), "out of place"},
                 {std::string(1000000, '('), "more than 64 containers"}});
}

}  // namespace
