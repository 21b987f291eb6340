#include "dime/dime_pattern_methods.h"

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "support/documented_bytes.h"
#include "support/recording_reporter.h"
#include "tera/tera_query_kinds.h"

namespace {

/// The quality of a string, and what is shown of it.
std::pair<int, std::string> judge(const DastBaseMethod& method, DastOptions::Call call, const char* text,
                                  const char* string) {
  const TeraQueryRef query(method.eval(call, text, AceReporter::null()));
  AceAttach at;
  const char* shown = query->display(string, &at);
  return {query->compare(string), shown != nullptr ? shown : "(null)"};
}
using Judged = std::pair<int, std::string>;

TEST(DimeRegexpMethod, call_modes_anchor_the_expression) {
  const DimeRegexpMethod method;
  EXPECT_EQ(judge(method, DastOptions::COMPLETE, "^abc$", "abcx"), (Judged{255, "abc"}));
  EXPECT_EQ(judge(method, DastOptions::COMPLETE, "abc", "xabc"), (Judged{0, "(null)"}));
  EXPECT_EQ(judge(method, DastOptions::DETECT, "^abc$", "xabc"), (Judged{255, "abc"}));
  EXPECT_EQ(judge(method, DastOptions::DETECT, "abc", "abcx").first, 0);
  EXPECT_EQ(judge(method, DastOptions::EXACT, "a.c", "abc"), (Judged{255, "abc"}));
  EXPECT_EQ(judge(method, DastOptions::EXACT, "a.c", "abcx").first, 0);
  EXPECT_EQ(judge(method, DastOptions::APPROX, "(\\d+)-(x)?(\\d+)", "no 12-34 there"),
            (Judged{255, "12-34&12&&34"}));
  EXPECT_EQ(judge(method, DastOptions::APPROX, "(?=ab\\K)", "xab"), (Judged{255, ""}))
      << "a match that ends before it starts";
}

TEST(DimeRegexpMethod, ignores_case_and_refuses_what_is_no_expression) {
  DimeRegexpMethod method;
  EXPECT_EQ(judge(method, DastOptions::APPROX, "abc", "xABCx").first, 0);
  EXPECT_EQ(method.configure_recall_options("-ignore_case"), 0);
  EXPECT_EQ(judge(method, DastOptions::APPROX, "abc", "xABCx"), (Judged{255, "ABC"}));
  support::RecordingReporter rep;
  rep.set_as_default();
  EXPECT_EQ(judge(method, DastOptions::APPROX, "(", "x(x"), (Judged{0, "x(x"}));
  EXPECT_NE(rep.all().find("position 1"), std::string::npos);
  EXPECT_EQ(judge(method, DastOptions::EXACT, "(a+)+", (std::string(40, 'a') + "b").c_str()).first, 0)
      << "bounded";
  EXPECT_EQ(
      judge(method, DastOptions::APPROX, (std::string(100000, '(') + std::string(100000, ')')).c_str(), "x")
          .first,
      0);
  EXPECT_EQ(method.configure_build_options("-x", nullptr), -1);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DimeRegexpMethod, the_smallest_record_is_the_documented_one) {
  DimeRegexpMethod method;
  method.configure_recall_options("-ignore_case");
  char image[100];
  AceFile file;
  file.init_write(image, sizeof image);
  method.save(&file);
  EXPECT_EQ(std::string(image, static_cast<std::size_t>(file.get_pos())),
            support::documented_bytes(TEST_FORMATS, "Regexp method"));
  DimeRegexpMethod read;
  AceFile back;
  back.init_read(image, file.get_pos());
  EXPECT_EQ(read.read(&back), 0);
  EXPECT_EQ(judge(read, DastOptions::APPROX, "abc", "ABC").first, 255);
}

TEST(DimeCategoryMethod, compares_with_a_list_of_words) {
  const DimeCategoryMethod method;
  const char* words = "red|green blue";
  EXPECT_EQ(judge(method, DastOptions::EXACT, words, "red"), (Judged{255, "red"}));
  EXPECT_EQ(judge(method, DastOptions::EXACT, words, "redder"), (Judged{0, ""}));
  EXPECT_EQ(judge(method, DastOptions::COMPLETE, words, "greenish"), (Judged{255, "green"}));
  EXPECT_EQ(judge(method, DastOptions::APPROX, words, "light blue sky"), (Judged{255, "blue"}));
  EXPECT_EQ(judge(method, DastOptions::APPROX, words, "blu"), (Judged{0, ""}));
  EXPECT_EQ(judge(method, DastOptions::FS_DETECT, words, "red"), (Judged{0, "red"}));
  EXPECT_EQ(judge(method, DastOptions::DETECT0, "^gr..n", "xGREEN"), (Judged{255, "GREEN"}));
  const auto utf8 = static_cast<DastOptions::Call>(DastOptions::DETECT0 + 1);
  EXPECT_EQ(judge(method, utf8, "gr\xC3\xBCn", "GR\xC3\x9CN").first, 255);
  EXPECT_EQ(judge(method, DastOptions::DETECT0, "gr\xC3\xBCn", "GR\xC3\x9CN").first, 0);
}

}  // namespace
