/// Memory that ends while a rule program is read and run: a failure, or the whole program and its whole
/// answer.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dare/dare_exre.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"
#include "support/failing_new.h"

namespace {

constexpr int NUM_RULES = 40;

class Session : public DareExreSession {
 public:
  DastResult* search_combination(const DareMultiQuery*, const char*) override {
    auto result = std::make_unique<DastResult>(2, 0, 255, 10);
    result->add_suggs(-1, 3);
    for (int i = 0; i < 3; ++i) result->get_sugg(i)->repObj->set_quality(250 - i);
    return result.release();
  }
  int reevaluate(const DareMultiQuery*, const char*, DastResult*) override { return 0; }
  DastResult* create_empty_result() const override { return new DastResult(2, 0, 255, 10); }
  int get_remaining_time() const override { return 1; }
};

/// A chain whose last rule ends with MATCH; a lost element, attribute or rule would end it otherwise.
std::string chain() {
  std::string text = "<KVConfiguration svversion=\"90.0\"><filters>";
  for (int i = 0; i < NUM_RULES; ++i)
    text += "<filter name=\"f" + std::to_string(i) + "\" class=\"record_min_qual\">1</filter>";
  text += "</filters><rules>";
  for (int i = 0; i < NUM_RULES; ++i)
    text += "<rule name=\"r" + std::to_string(i) + "\"><input>" +
            (i == 0 ? "d()" : "d(result_" + std::to_string(i) + ")") + "</input><filter>f" +
            std::to_string(i) + "</filter><relation>x</relation><penalty>1</penalty>" +
            "<acceptance class=\"has_num_records\">3</acceptance><decision>" +
            (i + 1 < NUM_RULES ? "r" + std::to_string(i + 1) : "MATCH") + "</decision></rule>";
  return text + "</rules></KVConfiguration>";
}

TEST(DareExreMemory, that_ends_never_changes_what_a_program_decides) {
  AceReporter::clear_default();
  const std::string text = chain();
  const DareExreNames names{[](const char*) { return 0; }, [](const char*) { return 0; }, -1};
  const DareMultiQuery query(2);
  const auto once = [&]() -> int {
    struct Destroy {
      void operator()(DareExreConfig* config) const { config->destroy(); }
    };
    const std::unique_ptr<DareExreConfig, Destroy> program(DareExreConfig::parse_text(
        text.data(), static_cast<Huge>(text.size()), "", names, AceReporter::null()));
    if (program == nullptr) return -1;
    Session session;
    const std::unique_ptr<DastResult> result(
        DareExreEngine(program.get(), &session, AceReporter::null()).run(&query));
    if (result == nullptr) return -1;
    const bool isWhole = result->get_category() == DastResult::MATCH && result->get_num_suggs() == 3 &&
                         result->get_sugg(2)->get_quality() == 248 - NUM_RULES;
    return isWhole ? 0 : 1;
  };
  ASSERT_EQ(once(), 0);
  for (long allowed = 0;; ++allowed) {
    int rc = -1;
    support::numNewsLeft = allowed;
    try {
      rc = once();
    } catch (const std::bad_alloc&) {
    } catch (const AceException&) {
    }
    const bool isEnough = support::numNewsLeft > 0;
    support::numNewsLeft = -1;
    ASSERT_LE(rc, 0) << "another decision, at request " << allowed;
    if (!isEnough) continue;
    EXPECT_EQ(rc, 0);
    return;
  }
}

}  // namespace
