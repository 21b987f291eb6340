#include "seam/seam_base.h"

#include <memory>

#include "ace/ace_reporter.h"
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
  return base->configure_field(field, made.release());
}

SeamTexts seam_line(const DastBase* base, Large record, AceAttach* at) {
  const int count = base->get_num_fields();
  Large* lengths = nullptr;
  const char** values = nullptr;
  at->malloc(lengths, count);
  at->malloc(values, count);
  return {values, base->get_line(record, lengths, values, at) < 0 ? -1 : count};
}
