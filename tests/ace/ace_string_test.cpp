#include "ace/ace_string.h"

#include <gtest/gtest.h>

#include <clocale>
#include <random>

#include "support/recording_reporter.h"

namespace {

std::string text_of(const AceString& string) {
  AceAttach at;
  std::string text = string.string(&at);
  EXPECT_EQ(string.get_total_len(), static_cast<int>(text.size()));
  return text;
}

}  // namespace

TEST(AceString, behaves_like_a_plain_string_under_random_operations) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto pick = [&](int below) { return std::uniform_int_distribution(0, below - 1)(random); };
    std::vector<std::string> kept(60);  // outlive the string
    AceString string(pick(3) * 20);
    std::string plain;
    for (auto& text : kept) {
      text.assign(1 + pick(60), static_cast<char>('a' + pick(26)));
      const std::string before = text;
      const int n = pick(static_cast<int>(plain.size()) + 2);
      const bool fits = n <= static_cast<int>(plain.size());
      switch (pick(9)) {
        case 0: {
          const int len = 1 + pick(static_cast<int>(text.size()));
          plain.append(text, 0, len);
          EXPECT_EQ(string.append(text.c_str(), len, pick(2)), static_cast<int>(plain.size()));
          break;
        }
        case 1:
          plain += text;
          string.append(text.c_str(), 0, pick(2));
          break;
        case 2:
          plain += text[0];
          string.append(text[0]);
          break;
        case 3:
        case 4: {
          AceString other(pick(2) * 30);
          other.append(text.c_str());
          if (pick(2) == 0 || plain.empty()) {
            plain += text;
            EXPECT_EQ(string.append(&other), static_cast<int>(plain.size()));
          } else {
            plain.insert(0, text);
            EXPECT_EQ(string.prepend(&other), static_cast<int>(plain.size()));
          }
          EXPECT_EQ(text_of(other), "");
          break;
        }
        case 5: {
          int room = 0;
          char* to = string.reserve(static_cast<int>(text.size()));
          EXPECT_EQ(string.get_buffer(&room), to);
          EXPECT_EQ(string.claim(room + 1), -1);
          std::copy(text.begin(), text.end(), to);
          EXPECT_EQ(string.claim(static_cast<int>(text.size())), 0);
          plain += text;
          break;
        }
        case 6:
          EXPECT_EQ(string.consume(n), fits ? 0 : -1);
          if (fits) plain.erase(0, n);
          break;
        case 7:
          EXPECT_EQ(string.trim(n), fits ? 0 : -1);
          if (fits) plain.resize(plain.size() - n);
          break;
        default:
          EXPECT_STREQ(string.clean(), plain.c_str());
      }
      EXPECT_EQ(text_of(string), plain);
      EXPECT_EQ(text, before) << "a kept text is not written to";
    }
    char buf[10];
    EXPECT_EQ(string.string(buf, 10), static_cast<int>(std::min<size_t>(plain.size(), 9)));
    EXPECT_EQ(buf, plain.substr(0, 9));
  }
}

TEST(AceString, appends_only_the_bytes_asked_for_when_a_new_block_is_needed) {
  AceString string(10);
  string.append("12345678");
  EXPECT_EQ(string.append("abcdefghijklmnopqrstuvwxyz", 4), 12);
  EXPECT_EQ(text_of(string), "12345678abcd");
}

TEST(AceString, a_prepend_onto_nothing_is_dropped_by_the_next_append_unless_cleaned) {
  for (const bool cleaned : {false, true}) {
    AceString front(10), string;
    front.append("front");
    EXPECT_EQ(string.prepend(&front), 5);
    EXPECT_EQ(text_of(string), "front");
    if (cleaned) string.clean();
    string.append("back");
    EXPECT_EQ(text_of(string), cleaned ? "frontback" : "back");
  }
}

TEST(AceString, prints_up_to_9999_bytes_and_marks_a_cut) {
  AceString string;
  EXPECT_EQ(string.print("%s", std::string(9999, 'x').c_str()), 9999);
  EXPECT_EQ(string.print("%s", std::string(12000, 'y').c_str()), 9999 + 9999);
  EXPECT_EQ(string.print("%s", ""), 9999 + 9999);
  EXPECT_EQ(text_of(string), std::string(9999, 'x') + std::string(9996, 'y') + "...");
}

TEST(AceString, a_text_that_cannot_be_formatted_is_reported) {
  support::RecordingReporter messages;
  messages.set_as_default();
  std::setlocale(LC_ALL, "C");
  const wchar_t unprintable[] = {0x4E00, 0};
  AceString string;
  EXPECT_EQ(string.print("%ls", unprintable), -1);
  AceReporter::clear_default();
  EXPECT_NE(messages.all().find("ERROR in len = vsnprintf(buf,10000,format, ap)"), std::string::npos);
  EXPECT_EQ(string.get_total_len(), 0);
}

TEST(AceString, wrong_arguments_change_nothing) {
  AceString string;
  string.append("abc");
  EXPECT_EQ(string.append(static_cast<const char*>(nullptr)), -1);
  EXPECT_EQ(string.append("x", -1), -1);
  EXPECT_EQ(string.append(&string), -1);
  EXPECT_EQ(string.prepend(nullptr), -1);
  EXPECT_EQ(string.reserve(0), nullptr);
  EXPECT_EQ(string.claim(-1), -1);
  EXPECT_EQ(string.consume(-1), -1);
  EXPECT_EQ(string.trim(4), -1);
  EXPECT_EQ(string.string(nullptr, 5), 0);
  EXPECT_EQ(text_of(string), "abc");
}
