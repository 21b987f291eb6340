#include "dime/method/dime_phonetics_internal.h"

#include "ace/ace_reporter.h"

int dime_make_phonetics(const std::string& name, std::unique_ptr<TeraTransform>* transform) {
  transform->reset(name.empty() ? nullptr : TeraTransform::factory(name.c_str(), nullptr));
  if (name.empty() || *transform != nullptr) return 0;
  AceReporter::use_default()->ev_wprintf("The phonetic transform '%s' is not known\n", name.c_str());
  return -1;
}
