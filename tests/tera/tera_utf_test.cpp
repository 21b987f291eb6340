#include "tera/tera_utf.h"

#include <cstring>
#include <memory>
#include <random>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "gtest/gtest.h"
#include "oracle/char_map.h"
#include "support/recording_reporter.h"

namespace {

std::string message_of(const std::string& text) {
  int uni = 0;
  try {
    TeraUtf::to_uni(&uni, text.c_str());
  } catch (const AceException& invalid) {
    return std::string(invalid.get_cond()) + "|" + invalid.get_info();
  }
  return "";
}

TEST(TeraUtf, every_code_point_goes_there_and_back) {
  for (int uni = 1; uni <= TeraUtf::MAX_UNI; ++uni) {
    char utf[8] = {};
    const int size = TeraUtf::from_uni(uni, utf);
    int back = 0;
    ASSERT_EQ(utf, oracle::utf8(uni));
    ASSERT_EQ(size, TeraUtf::uni_size(uni));
    ASSERT_EQ(size, TeraUtf::char_size(utf[0]));
    ASSERT_EQ(static_cast<Token>(utf[0]), TeraUtf::get_first(uni));
    ASSERT_EQ(TeraUtf::to_uni(&back, utf), size);
    ASSERT_EQ(back, uni);
    utf[size - 1] = 0;  // cut off: the terminator is where decoding stops
    ASSERT_EQ(TeraUtf::decode(&back, utf), size == 1 ? 1 : 0);
    if (uni == 0x20000) uni = 0x1FFF00;
  }
}

TEST(TeraUtf, a_text_that_is_not_utf8_is_shown_with_what_follows) {
  EXPECT_EQ(message_of("\xC3(abc"), "ERROR: non UTF-8 char in stream|first byte = C3  stream ='\xC3(abc'\n");
  EXPECT_EQ(message_of("\x80"), "ERROR: non UTF-8 char in stream|first byte = 80  stream ='\x80'\n");
  const std::string rest(31, 'x');
  EXPECT_EQ(message_of("\xFF" + rest),
            "ERROR: non UTF-8 char in stream|first byte = FF  stream ='\xFF" + rest + "'\n");
  EXPECT_EQ(message_of("\xFF" + rest + "y"),
            "ERROR: non UTF-8 char in stream|first byte = FF  stream ='\xFF" + rest + "...'\n");
}

TEST(TeraUtf, a_code_point_beyond_four_bytes_is_warned_about_and_thrown) {
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_THROW(TeraUtf::get_first(0x200000), AceException);
  char utf[8];
  EXPECT_THROW(TeraUtf::from_uni(-1, utf), AceException);
  EXPECT_NE(rep.all().find("Cannot handle more than 4 byte of UTF-8 values: unicode = 0x200000"),
            std::string::npos);
  AceReporter::clear_default();
}

TEST(TeraUtf, texts_are_counted_turned_and_compared_by_characters) {
  AceAttach at;
  const char* text = "a\u00E4\u20AC\U0001F600z";
  EXPECT_EQ(TeraUtf::length(text), 5);
  EXPECT_STREQ(TeraUtf::turn(text, &at),
               "z\U0001F600\u20AC\u00E4"
               "a");
  EXPECT_EQ(TeraUtf::in_utf(text + 2), 1);
  EXPECT_EQ(TeraUtf::in_utf(text), 0);
  EXPECT_EQ(TeraUtf::common("a\u00E4", "a\u00E5"), 1) << "the characters share a byte";
  EXPECT_EQ(TeraUtf::common("\u20AC", "\u20AD"), 0);
  EXPECT_EQ(TeraUtf::common("\u20ACx", "\u20ACy"), 3);
  EXPECT_EQ(TeraUtf::common("\u20AC", "\xE2\x82"), 0);
  EXPECT_THROW(TeraUtf::length("\xE2\x82"), AceException);
}

TEST(TeraUtf, utf16_goes_there_and_back_and_lone_surrogates_stay) {
  AceAttach at;
  const char* text = "a\u00E4\u20AC\U0001F600\uFFFF\U0010FFFF";
  Small* utf16 = TeraUtf::utf8_to_utf16(text, &at);
  EXPECT_EQ(TeraUtf::utf16_len(utf16), 8);
  EXPECT_STREQ(TeraUtf::utf16_to_utf8(utf16, &at), text);
  const Small lone[] = {0xD83D, 'a', 0xDE00, 0xD83D, 0};
  EXPECT_EQ(TeraUtf::utf16_to_utf8(lone, &at),
            oracle::utf8(0xD83D) + "a" + oracle::utf8(0xDE00) + oracle::utf8(0xD83D));
  Small units[2];
  EXPECT_THROW(TeraUtf::utf16_from_uni(0x110000, units), AceException);
}

}  // namespace
