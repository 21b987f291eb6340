#include "seam/seam_base.h"

#include <memory>
#include <vector>

#include "ace/ace_reporter.h"
#include "dast/dast_alias_generator.h"
#include "dast/dast_base.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"

int seam_configure_field(DastBase* base, const char* field, const char* method, const TeraMap* map,
                         const char* build_options, const char* recall_options) {
  std::unique_ptr<DastBaseMethod> made(MagicConstructor<DastBaseMethod>::create(method));
  if (made == nullptr) {
    AceReporter::use_default()->ev_wprintf("No method '%s'; there are %s\n", method,
                                           MagicConstructor<DastBaseMethod>::list_names().c_str());
    return -1;
  }
  if (made->configure_build_options(build_options, map) < 0) return -1;
  if (made->configure_recall_options(recall_options) < 0) return -1;
  const int configured = base->configure_field(field, made.get());
  if (configured >= 0 && base->get_method(configured) == made.get()) static_cast<void>(made.release());
  return configured;
}

SeamTexts seam_line(const DastBase* base, Large record, AceAttach* at) {
  const int count = base->get_num_fields();
  Large* lengths = nullptr;
  const char** values = nullptr;
  at->malloc(lengths, count);
  at->malloc(values, count);
  return {values, base->get_line(record, lengths, values, at) < 0 ? -1 : count};
}

namespace {

/// False where the generator cannot.
template <class Visit>
bool each_alias(const DastAliasGenerator* generator, const char* value, AceReporter* rep, Visit visit) {
  DastAliasResult found;
  if (generator->generate_aliases(value, &found, rep) < 0) return false;
  for (const GeneratedAlias* alias = found.get_first(); alias != nullptr; alias = alias->nextAlias)
    visit(*alias);
  return true;
}

}  // namespace

SeamTexts seam_aliases(const DastAliasGenerator* generator, const char* value, AceAttach* at,
                       AceReporter* rep) {
  std::vector<const char*> texts;
  const auto add = [&](const GeneratedAlias& alias) { texts.push_back(at->attach(alias.aliasString)); };
  return each_alias(generator, value, rep, add) ? seam_texts(texts, at) : SeamTexts{nullptr, -1};
}

SeamNumbers seam_alias_penalties(const DastAliasGenerator* generator, const char* value, AceAttach* at,
                                 AceReporter* rep) {
  std::vector<int> penalties;
  const auto add = [&](const GeneratedAlias& alias) { penalties.push_back(alias.aliasPenalty); };
  if (!each_alias(generator, value, rep, add)) return {nullptr, -1};
  return seam_numbers(penalties.data(), static_cast<Large>(penalties.size()), at);
}
