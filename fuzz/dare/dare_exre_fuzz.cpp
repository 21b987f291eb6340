// Rule files: what is a program runs to its end, whatever it says; all else is refused.
#include <memory>

#include "ace/ace_reporter.h"
#include "dare/dare_exre.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"

namespace {

class Session : public DareExreSession {
 public:
  DastResult* search_combination(const DareMultiQuery*, const char*) override {
    auto* result = new DastResult(2, 0, 255, 10);
    for (int i = 0; i < 3; ++i) {
      result->add_suggs(-1, 1);
      result->get_sugg(i)->recordIndex = static_cast<Large>(i);
      result->get_sugg(i)->repObj->set_quality(250 - 20 * i);
      result->get_sugg(i)->repObj->set_string(0, i == 1 ? "a" : "b");
    }
    return result;
  }
  int reevaluate(const DareMultiQuery*, const char*, DastResult* result) override {
    for (int i = 0; i < result->get_num_suggs(); ++i)
      result->get_sugg(i)->repObj->set_quality(255 - result->get_sugg(i)->get_quality());
    return 10;
  }
  DastResult* create_empty_result() const override { return new DastResult(2, 0, 255, 10); }
  int get_remaining_time() const override { return 1; }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::clear_default();
  const DareExreNames names{[](const char* name) { return name[0] == 'n' ? 0 : -1; },
                            [](const char* name) { return name[0] == 'd' ? 0 : -1; }, 0};
  DareExreConfig* config = DareExreConfig::parse_text(
      reinterpret_cast<const char*>(data), static_cast<Huge>(size), "", names, AceReporter::null());
  if (config == nullptr) return 0;
  Session session;
  const DareMultiQuery query(2);
  const std::unique_ptr<DastResult> result(DareExreEngine(config, &session, AceReporter::null()).run(&query));
  config->destroy();
  return 0;
}
