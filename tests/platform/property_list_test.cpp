#include <cmath>
#include <limits>

#include "tests/platform/property_lists.h"

using namespace vello;
using ::testing::HasSubstr;
using vello::testing::dictionary;
using vello::testing::expectRead;
using vello::testing::expectRefused;
using vello::testing::read;

namespace {

std::string document(const std::string& body) { return "<plist version=\"1.0\">" + body + "</plist>"; }

std::string repeat(std::string_view text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

PropertyList nested(int depth) {
  PropertyList value = PropertyListArray{};
  for (int i = 1; i < depth; ++i) value = PropertyListArray{value};
  return value;
}

TEST(PropertyList, DictionaryKeepsTheOrderOfItsKeys) {
  PropertyListDictionary d;
  d.set("b", 1);
  d.set("a", 2);
  d.set("b", 3);
  ASSERT_EQ(d.size(), 2u);
  EXPECT_EQ(d.members()[0].key, "b");
  EXPECT_EQ(*d.find("b"), PropertyList(3));
  d.erase("b");
  EXPECT_EQ(d.find("b"), nullptr);
  EXPECT_EQ(*dictionary({{"k", 1}, {"j", 2}, {"k", 3}}).find("k"), PropertyList(1));
}

TEST(PropertyList, EqualityKnowsKindsAndNotTheOrderOfKeys) {
  EXPECT_EQ(PropertyList(dictionary({{"a", 1}, {"b", 2}})), PropertyList(dictionary({{"b", 2}, {"a", 1}})));
  EXPECT_FALSE(PropertyList(dictionary({{"a", 1}})) == PropertyList(dictionary({{"b", 1}})));
  EXPECT_FALSE(PropertyList(1) == PropertyList(1.0));
  EXPECT_FALSE(PropertyList(1) == PropertyList(true));
  EXPECT_EQ(PropertyList(std::nan("")), PropertyList(std::nan("")));
}

TEST(PropertyListXml, WritesTheStandardForm) {
  PropertyListDictionary d;
  d.set("z", 1.0);
  d.set("a<b", PropertyListArray{-0.0, 0.1, true, false, int64_t{INT64_MIN}, "x & y\r"});
  d.set("data", Data({0, 1, 255, 254}));
  d.set("date", PropertyListDate{-1.5});
  d.set("empty", PropertyListArray{PropertyListDictionary{}, ""});
  EXPECT_EQ(writePropertyListXML(d).text,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
            "<plist version=\"1.0\">\n<dict>\n"
            "\t<key>z</key>\n\t<real>1</real>\n"
            "\t<key>a&lt;b</key>\n\t<array>\n\t\t<real>-0</real>\n\t\t<real>0.1</real>\n\t\t<true/>\n"
            "\t\t<false/>\n\t\t<integer>-9223372036854775808</integer>\n"
            "\t\t<string>x &amp; y&#13;</string>\n\t</array>\n"
            "\t<key>data</key>\n\t<data>\n\tAAH//g==\n\t</data>\n"
            "\t<key>date</key>\n\t<date>2000-12-31T23:59:58Z</date>\n"
            "\t<key>empty</key>\n\t<array>\n\t\t<dict/>\n\t\t<string></string>\n\t</array>\n"
            "</dict>\n</plist>\n");
}

TEST(PropertyListXml, WhatIsWrittenReadsBackEqual) {
  std::vector<uint8_t> bytes(1000);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7);
  const PropertyList kRows[] = {
      PropertyListArray{0.1, 1e-320, -0.0, 1.0, std::nan(""), INFINITY, -INFINITY},
      PropertyListArray{INT64_MIN, INT64_MAX, 0, true, false},
      PropertyListArray{"", " blanks ", "\t\n\r\r\n", "<&>\"']]>", "\xF0\x9F\x8E\xA8"},
      PropertyListArray{Data(), Data({7}), Data({7, 8}), Data(bytes)},
      PropertyListDate{63113904000 - 86400.0},
      dictionary({{"", ""}, {"b", PropertyListDictionary{}}, {"a", nested(60)}}),
      nested(kPropertyListDepth)};
  for (const PropertyList& value : kRows) {
    const PropertyListText text = writePropertyListXML(value);
    ASSERT_TRUE(text.ok()) << text.error;
    const PropertyListResult back = read(text.text);
    EXPECT_TRUE(back.ok() && back.value == value) << back.error << text.text;
    EXPECT_EQ(writePropertyListXML(back.value).text, text.text);
  }
}

TEST(PropertyListXml, RefusesToWriteWhatNoReaderCouldTake) {
  const struct {
    PropertyList value;
    const char* error;
  } kRows[] = {{PropertyList(), "nil"},
               {PropertyListArray{1, PropertyListArray{PropertyList()}}, "at [1][0] is nil"},
               {PropertyListArray{dictionary({{"k", "a\x01"}})}, "at [0].k holds a character"},
               {dictionary({{"\x1B", 1}}), "has a key that holds a character"},
               {dictionary({{"k", "a\xFF"}}), "at .k holds text that is not UTF-8"},
               {PropertyList("\xED\xA0\x80"), "not UTF-8"},
               {PropertyList("\xC0\x80"), "not UTF-8"},
               {PropertyList("\xF0\x9F\x8E"), "not UTF-8"},
               {PropertyList("\xEF\xBF\xBF"), "a character that XML cannot hold"},
               {PropertyList(std::string("a\0b", 3)), "a character that XML cannot hold"},
               {PropertyListDate{1e12}, "a date outside"},
               {PropertyListDate{std::nan("")}, "a date outside"},
               {nested(kPropertyListDepth + 1), "within more than 64 others"}};
  for (const auto& row : kRows) {
    const PropertyListText text = writePropertyListXML(row.value);
    EXPECT_THAT(text.error, HasSubstr(row.error));
    EXPECT_EQ(text.text, "");
  }
}

TEST(PropertyListXml, ReadsWhatOtherProgramsWrite) {
  expectRead({
      {document("<integer> +5 </integer>"), 5},
      {document("<integer>-0x1F</integer>"), -31},
      {document("<integer>9223372036854775807</integer>"), INT64_MAX},
      {document("<real>inf</real>"), INFINITY},
      {document("<real> 0x10 </real>"), 16.0},
      {document("<real>1e400</real>"), INFINITY},
      {document("<string>a<![CDATA[<b>]]>&#x63;&amp;<!-- no -->d</string>"), "a<b>c&d"},
      {document("<data> A A\n==</data>"), Data({0})},
      {document("<date>2001-01-02T00:00:01Z</date>"), PropertyListDate{86401}},
      {document("<!-- c --><?pi?><true></true>"), true},
      {document("<dict><key>k</key><integer>1</integer><key>k</key><integer>2</integer></dict>"),
       dictionary({{"k", 1}})},
      {"\xEF\xBB\xBF \n" + document("<array/>"), PropertyListArray{}},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + document("<string>\xE9</string>"), "\xC3\xA9"},
      {std::string("\xFF\xFE<\0p\0l\0i\0s\0t\0>\0<\0t\0r\0u\0e\0/\0>\0<\0/\0p\0l\0i\0s\0t\0>\0", 46), true},
  });
}

TEST(PropertyListXml, RefusesWhatIsNoPropertyListAndSaysWhere) {
  const std::string kDeclared = "<!DOCTYPE plist [<!ENTITY a \"x\"><!ENTITY b \"&a;&a;&a;\">]>";
  expectRefused({
      {"<plist>", "line 1: no element found"},
      {"<plist/>", "empty"},
      {document("\n<array>\n<array>"), "line 3: mismatched tag"},
      {document("<true/>") + "<true/>", "junk after document element"},
      {document("<true/><true/>"), "more than one value"},
      {"<array/>", "line 1"},
      {"<html><array/></html>", "unknown element \"html\""},
      {document("<array><set/></array>"), "unknown element \"set\""},
      {document("<plist><true/></plist>"), "the root must be one plist element"},
      {document("<dict><key>a</key></dict>"), "a key without a value"},
      {document("<dict><true/></dict>"), "a value without a key"},
      {document("<dict><key>a</key><key>b</key></dict>"), "a key where a value should be"},
      {document("<array><key>a</key></array>"), "a key where a value should be"},
      {document("<array>\n\nstray</array>"), "line 3: text outside"},
      {document("<string>a<true/></string>"), "an element within a scalar"},
      {document("<true>1</true>"), "\"1\" is no value"},
      {document("<integer></integer>"), "no value"},
      {document("<integer>1.5</integer>"), "no value"},
      {document("<integer>9223372036854775808</integer>"), "no value"},
      {document("<integer>1234567890123456789012</integer>"), "no value"},
      {document("<real>1,5</real>"), "no value"},
      {document("<real></real>"), "no value"},
      {document("<data>AA=A</data>"), "no value"},
      {document("<data>A</data>"), "no value"},
      {document("<data>A===</data>"), "no value"},
      {document("<data>\xC3\xA9</data>"), "no value"},
      {document("<date>2001-02-30T00:00:00Z</date>"), "no value"},
      {document("<date>2001-01-01</date>"), "no value"},
      {document("<string>\xFF</string>"), "not well-formed"},
      {document("<string>&nope;</string>"), "undefined entity"},
      {"<!DOCTYPE plist SYSTEM \"x.dtd\">" + document("<string>&nope;</string>"), "unknown entity \"nope\""},
      {kDeclared + document("<string>&b;</string>"), "declares something"},
      {document(repeat("<array>", 65) + repeat("</array>", 65)), "more than 64 containers"},
      {"<plist>" + repeat("<array>", 1000000), "more than 64 containers"},
  });
}

TEST(PropertyListXml, LimitsAreKept) {
  const std::string text = document("<array><true/><true/></array>");
  const std::span<const uint8_t> bytes(reinterpret_cast<const uint8_t*>(text.data()), text.size());
  EXPECT_TRUE(readPropertyList(bytes, {.bytes = text.size(), .depth = 1, .values = 3}).ok());
  EXPECT_THAT(readPropertyList(bytes, {.bytes = text.size() - 1}).error, HasSubstr("longer than"));
  EXPECT_THAT(readPropertyList(bytes, {.depth = 0}).error, HasSubstr("more than 0 containers"));
  EXPECT_THAT(readPropertyList(bytes, {.values = 2}).error, HasSubstr("more than 2 values"));
}

// With a search per key this takes minutes.
TEST(PropertyListXml, ReadsAVeryLargeDictionary) {
  std::string body = "<dict>";
  for (int i = 0; i < 200000; ++i) body += "<key>k" + std::to_string(i % 199999) + "</key><true/>";
  const PropertyListResult result = read(document(body + "</dict>"));
  ASSERT_TRUE(result.ok()) << result.error;
  EXPECT_EQ(result.value.dictionary()->size(), 199999u);
}

}  // namespace
