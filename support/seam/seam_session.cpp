#include "seam/seam_session.h"

#include "ace/ace_exception.h"
#include "dare/dare_external.h"
#include "dare/dare_record.h"
#include "dare/dare_session.h"
#include "tera/tera_teaser.h"

const char* const* seam_modes(const char* const* modes, int num_modes, int num_texts, AceAttach* at) {
  if (num_modes != num_texts)
    throw AceException("Query with other fields", "%d modes, %d texts", num_modes, num_texts);
  const char** given = nullptr;
  at->malloc(given, num_modes);
  for (int i = 0; i < num_modes; ++i) given[i] = modes[i][0] != '\0' ? modes[i] : nullptr;
  return given;
}

DareMultiQuery seam_query(const char* const* modes, int num_modes, const char* const* texts, int num_texts) {
  AceAttach at;
  return {num_modes, seam_modes(modes, num_modes, num_texts, &at), texts};
}

SeamTexts seam_record(const DastRecord* record, AceAttach* at) {
  if (record == nullptr) return {nullptr, 0};
  const int count = record->get_num_strings();
  const char** values = nullptr;
  at->malloc(values, count);
  for (int i = 0; i < count; ++i) values[i] = record->get_string(i);
  return {values, count};
}

SeamTexts seam_field_names(const DastSession* session, AceAttach* at) {
  const DareSessionConfig* const config = session->get_config();
  const int count = config->get_num_fields();
  const char** names = nullptr;
  at->malloc(names, count);
  for (int i = 0; i < count; ++i) names[i] = config->get_field_name(i);
  return {names, count};
}

int seam_context_size(const DastSession* session) {
  return session->get_context()->get_size();
}

int seam_fill_teaser(const DastSession* session, int field, TeraTeaser* teaser, bool with_alias, int limit) {
  const DareSessionField* const found = session->get_config()->get_session_field(field);
  if (found == nullptr) return -1;
  const TeraScanGraph* const graph = found->get_eval_unit()->get_graph();
  return graph != nullptr ? teaser->add_graph_matches(graph, with_alias ? 1 : 0, limit) : 0;
}

const char* seam_alias_display(const DastSession* session, int field) {
  const DareSessionField* const found = session->get_config()->get_session_field(field);
  return found != nullptr ? DastOptions::get_alias_display_string(found->fieldConf.aliasDisplay) : nullptr;
}

int seam_set_alias_display(DastSession* session, int field, const char* name) {
  DareSessionField* const found = session->get_config()->get_session_field(field);
  const DastOptions::AliasDisplay display = DastOptions::get_alias_display(name);
  if (found == nullptr || display == DastOptions::UNKNOWN) return -1;
  found->set_alias_display(display);
  return 0;
}

AceWrap* seam_external(const DastSession* session, const char* name, const char* type) {
  const DareSessionExternal* const objects = session->get_config()->get_external_objects();
  return objects != nullptr ? objects->get(name, type) : nullptr;
}
