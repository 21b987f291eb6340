#include "dare/dare_manager.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_map.h"
#include "ace/ace_tracer.h"
#include "dast/dast_base.h"

using Lock = std::lock_guard<std::mutex>;

DastSessionManager::DastSessionManager(int timeout, AceReporter* rep)
    : timeOut(timeout), aceRep(rep), startTime(std::time(nullptr)) {}

DastSessionManager::~DastSessionManager() = default;

// ---------------------------------------------------------------- templates
// A list by name; names with dots are looked for as they are, then by their parts.

namespace {

/// Where a template is, or would be.
template <class List>
auto place_of(List* list, const std::string& name) {
  return std::lower_bound(list->begin(), list->end(), name,
                          [](const auto& entry, const std::string& key) { return entry.name < key; });
}

}  // namespace

const DastSessionManager::Template* DastSessionManager::find_exact(const std::string& name) const {
  const auto place = place_of(&templates, name);
  return place != templates.end() && place->name == name ? &*place : nullptr;
}

/// Puts a template into a list, unless there is one of its name. The first one is the default.
void DastSessionManager::insert_template(Template entry, TemplateList* list, int* first) {
  const auto place = place_of(list, entry.name);
  if (place != list->end() && place->name == entry.name) return;
  const auto index = static_cast<int>(place - list->begin());
  list->insert(place, std::move(entry));
  if (*first < 0)
    *first = index;
  else if (index <= *first)
    ++*first;
}

int DastSessionManager::add_template(const char* name, DastSession* session, int replace) {
  std::shared_ptr<DastSession> owned(session);
  session->get_config()->set_template_name(name);
  const Lock guard(managerLock);
  if (const Template* const old = find_exact(name); old != nullptr) {
    if (replace == 0) return -1;
    templates[static_cast<std::size_t>(old - templates.data())].session = std::move(owned);
  } else {
    insert_template({name, std::move(owned)}, &templates, &defaultTemplate);
  }
  return static_cast<int>(templates.size());
}

int DastSessionManager::configure_template(DastBaseRecall* base, const char* name, const char* config,
                                           AceReporter* rep, int replace) {
  if (config == nullptr || *config == '\0') throw AceException("No session configuration given");
  auto session = std::make_unique<DastSession>(base, false);
  if (session->config_session(config, rep) < 0)
    rep->printf("Session template '%s': the configuration has failed\n", name);
  return add_template(name, session.release(), replace);
}

void DastSessionManager::replace_templates(const TemplateList& fresh) {
  TemplateList list;  // made aside; the old one is destroyed without the lock
  int first = -1;
  for (const Template& entry : fresh) insert_template(entry, &list, &first);
  const Lock guard(managerLock);
  list.swap(templates);
  defaultTemplate = first;
}

int DastSessionManager::clean_all_templates() {
  replace_templates({});
  return 0;
}

int DastSessionManager::get_template_names(const char*** names) {
  const Lock guard(managerLock);
  templateNames.clear();
  nameTexts.clear();
  for (const Template& entry : templates) nameTexts.push_back(entry.name);
  for (const std::string& name : nameTexts) templateNames.push_back(name.c_str());
  *names = templateNames.data();
  return static_cast<int>(templateNames.size());
}

int DastSessionManager::get_num_templates() const {
  const Lock guard(managerLock);
  return static_cast<int>(templates.size());
}

/// "a.B.C" with the second and third part in lower case; an empty first part, "new" and "default" are that of
/// the default template.
std::string DastSessionManager::normal_name(const std::string& name, const std::string& fallback) {
  const std::size_t first = name.find('.');
  if (first == std::string::npos) return name;
  std::string head = name.substr(0, first);
  if (head.empty() || head == "new" || head == "default") head = fallback;
  std::string rest = name.substr(first);
  std::transform(rest.begin(), rest.end(), rest.begin(), tolower_C);
  return head + rest;
}

/// The caller has the lock.
std::shared_ptr<DastSession> DastSessionManager::find_template(const char* name, AceReporter* rep,
                                                               int* failure) const {
  const std::string wanted = name != nullptr ? name : "";
  *failure = NO_TEMPLATES;
  if (templates.empty()) {
    rep->printf("Cannot instantiate session template '%s': no sessions configured", wanted.c_str());
    return nullptr;
  }
  const Template& fallback = templates[static_cast<std::size_t>(defaultTemplate)];
  if (wanted.empty() || wanted == "new" || wanted == "default") return fallback.session;
  const Template* found = find_exact(wanted);
  if (found == nullptr) found = find_exact(normal_name(wanted, fallback.name));
  if (found != nullptr) return found->session;
  *failure = UNKNOWN_TEMPLATE;
  rep->printf("Cannot instantiate session template '%s': template could not be found", wanted.c_str());
  return nullptr;
}

DastBaseRecall* DastSessionManager::get_base(const char* name) {
  const Lock guard(managerLock);
  int failure = 0;
  const auto session = find_template(name, AceReporter::null(), &failure);
  return session != nullptr ? session->get_base() : nullptr;
}

void DastSessionManager::set_external_objects(DareSessionExternal* objects) {
  const Lock guard(managerLock);
  for (const Template& entry : templates) entry.session->get_config()->set_external_objects(objects);
}

// ---------------------------------------------------------------- sessions
// A session that a command works on is pinned: who destroys it takes it from the lists, and the last pin
// deletes it.

int DastSessionManager::next_id() {
  for (;;) {
    const VInt id = nextSession + static_cast<VInt>(startTime);
    const auto wrapped = static_cast<int>(id <= INT_MAX ? id : (id - 1) % INT_MAX + 1);
    if (sessionSet.count(wrapped) == 0) return wrapped;
    ++nextSession;
  }
}

int DastSessionManager::add_session(std::unique_ptr<DastSession> session) {
  const Lock guard(managerLock);
  ++nextSession;
  const int id = next_id();
  sessionList.push_front({id, std::time(nullptr), std::move(session)});
  sessionSet.emplace(id, sessionList.begin());
  return id;
}

int DastSessionManager::create_session(const char* name, int is_auto, AceReporter* rep) {
  std::unique_ptr<DastSession> session;
  {
    const Lock guard(managerLock);
    int failure = 0;
    const auto pattern = find_template(name, rep, &failure);
    if (pattern == nullptr) return failure;
    session.reset(pattern->clone(is_auto != 0, rep));
  }
  return add_session(std::move(session));
}

DastSession* DastSessionManager::make_base_session(DastBaseRecall* base, AceReporter* rep) {
  auto session = std::make_unique<DastSession>(base, true);
  const auto* const built = dynamic_cast<const DastBase*>(base);
  const char* const config = built != nullptr ? built->get_session_config() : nullptr;
  if (config != nullptr && *config != '\0')
    return session->config_session(config, rep) < 0 ? nullptr : session.release();
  for (int i = 0; i < base->get_num_fields(); ++i) {
    const char* const name = base->get_field(i)->get_name();
    session->get_config()->add_session_field(name, name);
  }
  if (session->get_config()->create_default_combination(rep) == nullptr) return nullptr;
  session->init_context();
  return session.release();
}

int DastSessionManager::create_session(DastBaseRecall* base, AceReporter* rep) {
  std::unique_ptr<DastSession> session(make_base_session(base, rep));
  if (session == nullptr) return -1;
  session->set_reporter(rep);
  return add_session(std::move(session));
}

std::shared_ptr<DastSession> DastSessionManager::pin_session(int id, AceReporter*) {
  const Lock guard(managerLock);
  const auto place = sessionSet.find(id);
  if (place == sessionSet.end()) return nullptr;
  place->second->lastAccess = std::time(nullptr);
  sessionList.splice(sessionList.begin(), sessionList, place->second);
  return place->second->sessionRef;
}

DastSession* DastSessionManager::get_session(int id, AceReporter* rep) {
  return pin_session(id, rep).get();
}

int DastSessionManager::destroy_session(int id) {
  std::shared_ptr<DastSession> gone;  // destroyed without the lock
  const Lock guard(managerLock);
  const auto place = sessionSet.find(id);
  if (place == sessionSet.end()) return -1;
  gone = std::move(place->second->sessionRef);
  gone->set_destroyed();
  sessionList.erase(place->second);
  sessionSet.erase(place);
  return 0;
}

namespace {

/// "age, can undo, in time, summary" of a report.
std::string status_of(const DastSession* session, double idle, int timeout) {
  AceAttach at;
  return std::to_string(session->can_undo()) + "\t" + (idle > timeout ? "-" : "+") + "\t" +
         session->get_config()->get_summary(&at);
}

}  // namespace

int DastSessionManager::destroy_timedout_sessions(int milliseconds) {
  if (milliseconds <= 0) return 0;
  static const AceTraceFlag print_gone("PRINT_TIMEDOUT_SESSIONS", __FILE__, __LINE__);
  AccessList gone;
  int left = 0;
  {
    const Lock guard(managerLock);
    if (sessionList.empty()) return 0;
    const std::time_t now = std::time(nullptr);
    while (!sessionList.empty() &&
           std::difftime(now, sessionList.back().lastAccess) > milliseconds / 1000.0) {
      sessionList.back().sessionRef->set_destroyed();
      sessionSet.erase(sessionList.back().uniqueId);
      gone.splice(gone.end(), sessionList, std::prev(sessionList.end()));
    }
    left = static_cast<int>(sessionList.size());
    if (print_gone.get() != 0)
      for (const ManagedSession& session : gone) {
        const double idle = std::difftime(now, session.lastAccess);
        aceRep->printf("Destroying timed out session\t%d\tname\t%s\tage\t%d\thistory\t%s\n", session.uniqueId,
                       session.sessionRef->get_config()->get_template_name(), static_cast<int>(idle),
                       status_of(session.sessionRef.get(), idle, timeOut).c_str());
      }
  }
  const auto count = static_cast<int>(gone.size());
  gone.clear();
  aceRep->printf("Destroyed %d sessions. Current number of sessions: %d\n", count, left);
  return count;
}

int DastSessionManager::get_num_sessions() const {
  const Lock guard(managerLock);
  return static_cast<int>(sessionList.size());
}

int DastSessionManager::report(AceReporter* rep) {
  const Lock guard(managerLock);
  const std::time_t now = std::time(nullptr);
  rep->printf("#SessionManager:\n");
  rep->printf("TIMEOUT\t%d\tseconds\n", timeOut);
  rep->printf("NUM_SESSIONS\t%d\n", static_cast<int>(sessionList.size()));
  rep->printf("TOTAL_SESSIONS\t%d\n", static_cast<int>(nextSession));
  rep->printf("NUM_TEMPLATES\t%d\n", static_cast<int>(templates.size()));
  for (const Template& entry : templates) rep->printf("TEMPLATE\t%s\n", entry.name.c_str());
  for (const ManagedSession& session : sessionList) {
    const double idle = std::difftime(now, session.lastAccess);
    rep->printf("SESSION\t%d\tage\t%d\thistory\t%s\n", session.uniqueId, static_cast<int>(idle),
                status_of(session.sessionRef.get(), idle, timeOut).c_str());
  }
  return 0;
}
