// Session templates: a configuration text is refused, or makes a form that can be asked. Paths: every keyword
// and block, fields without base field, free search, contexts, flex forms (refused at evaluation), sorting,
// the copy for a session, reordering.
#include <memory>

#include "ace/ace_exception.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_session.h"
#include "people.h"

namespace {

void ask(DastSession* session) {
  const DareSessionConfig* const config = session->get_config();
  const int numFields = config->get_num_fields();
  DareMultiQuery query(numFields);
  for (int i = 0; i < numFields; ++i) {
    const bool isFree = config->get_session_field(i)->get_num_units() > 1;
    query.set_mode(i, isFree ? DastOptions::FS_DETECT : DastOptions::APPROX);
    query.set_query(i, i % 2 == 0 ? "mayr" : " bern|basel");
    config->get_field_properties(i);
  }
  const std::unique_ptr<DastResult> found(session->search(&query, -1));
  for (int id = 0; id < config->get_num_combi() && id < 4; ++id) {
    session->switch_combination(id);
    const std::unique_ptr<DastResult> result(session->suggest(0, config->get_field_name(0), 1, 5));
  }
  session->select(config->get_field_name(0));
  const std::unique_ptr<DastResult> narrowed(session->suggest(0, nullptr, 0, -1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::null()->set_as_default();
  if (size > 20000) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  DastSession pattern(people(), false);
  try {
    if (pattern.config_session(text.c_str(), AceReporter::null()) < 0) return 0;
  } catch (const AceException&) {  // a run time that is none, too many fields
    return 0;
  }
  DastSession session(&pattern, AceReporter::null());
  session.set_reporter(AceReporter::null());
  if (session.get_config()->get_run_time() > 200) session.get_config()->set_run_time(200);
  ask(&session);
  DareSessionConfig* const config = session.get_config();
  std::vector<const char*> names;
  for (int i = config->get_num_fields(); i-- > 0;) names.push_back(config->get_field_name(i));
  const std::vector<std::string> kept(names.begin(), names.end());
  for (std::size_t i = 0; i < names.size(); ++i) names[i] = kept[i].c_str();
  DareSessionConfig turned(pattern.get_config(), AceReporter::null());
  if (turned.reorder(static_cast<Tiny>(names.size()), names.data()) < 0) std::abort();
  return 0;
}
