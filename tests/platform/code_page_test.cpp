#include "platform/code_page.h"

#include <gtest/gtest.h>

#include "base/text.h"

namespace kavrel {
namespace {

TEST(CodePage, AgreesWithMicrosoftsTableBothWays) {
  const struct {
    std::u16string_view Text;
    std::string_view Bytes;
  } cases[] = {
      {u"碁銹裏墻恒粧嫺", "\xF9\xD6\xF9\xD7\xF9\xD8\xF9\xD9\xF9\xDA\xF9\xDB\xF9\xDC"},
      {u"€‧", "\xA3\xE1\xA1\x45"},
      {u"上午", "\xA4\x57\xA4\xC8"},
      {u"備份　：", "\xB3\xC6\xA5\xF7\xA1\x40\xA1\x47"},
      {u"─│▓═╞╡╪", "\xA2\x77\xA2\x78\xF9\xFE\xF9\xF9\xF9\xE9\xF9\xEB\xF9\xEA"},
      {u"許功蓋", "\xB3\x5C\xA5\x5C\xBB\x5C"},  // second bytes that are backslashes
      {u"plain", "plain"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EncodeCodePage(c.Text), c.Bytes) << ToUtf8(c.Text);
    EXPECT_EQ(DecodeCodePage(c.Bytes), c.Text) << ToUtf8(c.Text);
  }
}

TEST(CodePage, BytesThatAreNoTextAreKept) {
  for (const std::string_view bytes :
       {std::string_view("\xFF"), std::string_view("a\xA4"), std::string_view("\x80\xFF z\xB3"),
        std::string_view("\xA4\t\xA4\x57"), std::string_view("nul\0\xFE", 5),
        std::string_view("\x99\xC3\x97")}) {  // its end is a character of UTF-8
    const std::u16string text = DecodeCodePage(bytes);
    EXPECT_EQ(EncodeCodePage(text), bytes);
  }
}

TEST(CodePage, EveryCharacterThatItHoldsComesBack) {
  int held = 0;
  for (std::uint32_t c = 1; c < 0x10000; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::u16string text(1, static_cast<char16_t>(c));
    const std::optional<std::string> bytes = EncodeCodePage(text);
    if (!bytes) continue;
    ++held;
    EXPECT_EQ(DecodeCodePage(*bytes), text) << c;
  }
  EXPECT_GT(held, 13000);
}

TEST(CodePage, WhatItCannotHoldMakesTheFileUtf8) {
  EXPECT_EQ(EncodeTextFile(u"/家"), "/\xAE\x61");
  // Simplified Chinese, an emoji whose second half looks like a stray byte, and bytes that would
  // read back as other characters.
  for (const std::u16string& text :
       {std::u16string(u"备份"), std::u16string(u"\U0001F49A"), FromUtf8("/\xA4\xA4/x")}) {
    EXPECT_EQ(EncodeCodePage(text), std::nullopt);
    const std::string bytes = EncodeTextFile(text);
    EXPECT_TRUE(bytes.starts_with("\xEF\xBB\xBF"));
    EXPECT_EQ(DecodeTextFile(bytes), text);
  }
  EXPECT_EQ(DecodeTextFile(EncodeTextFile(u"")), u"");
}

}  // namespace
}  // namespace kavrel
