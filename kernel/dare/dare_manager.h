/// Session manager: templates by name, and the sessions that were made from them by number.
///
/// Ownership: the manager owns templates and sessions. A session that somebody has pinned lives until it is
/// let go, though it is not found any more once it was destroyed. Errors: negative results, explained on the
/// reporter given. Thread safety: any thread may call; a session itself is used by one thread at a time.
#pragma once

#include <ctime>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "dare/dare_session.h"

class AceReporter;
class DareSessionExternal;
class DastBaseRecall;

class SORV_API DastSessionManager : public AceAttach {
 public:
  enum Failure : int { NO_TEMPLATES = -1, UNKNOWN_TEMPLATE = -2 };

  struct Template {
    std::string name;
    std::shared_ptr<DastSession> session;
  };
  /// Templates in the order in which they were added: the first is the default.
  using TemplateList = std::vector<Template>;

  /// `timeout`: seconds without access, for `report`.
  DastSessionManager(int timeout, AceReporter* rep);
  DastSessionManager(const DastSessionManager&) = delete;
  DastSessionManager& operator=(const DastSessionManager&) = delete;
  ~DastSessionManager();

  // Templates, sorted by name. The first that is added is the default.

  /// Adds a template from a configuration text, also when that has failed: its sessions answer nothing.
  /// Returns as `add_template`. Throws an `AceException` "No session configuration given" without a text.
  int configure_template(DastBaseRecall* base, const char* name, const char* config, AceReporter* rep,
                         int replace);
  /// Takes over a session as a template. Returns the number of templates; -1 for a name that is taken, unless
  /// `replace` is set: then the old one goes. The session is deleted when it fails.
  int add_template(const char* name, DastSession* session, int replace);
  /// All templates at once; the old ones go.
  void replace_templates(const TemplateList& templates);
  int clean_all_templates();
  /// Stores the names, ascending; the array stays until the next call.
  int get_template_names(const char*** names);
  int get_num_templates() const;
  /// The base of a template (by the rules of `create_session`), for as long as the template stays; null for
  /// none.
  DastBaseRecall* get_base(const char* name);
  DastBaseRecall* get_base_recall(const char* name) { return get_base(name); }
  /// Gives templates, and so the sessions made later, these objects; null for none.
  void set_external_objects(DareSessionExternal* objects);

  // Sessions.

  /// From a template: null, "", "new" and "default" name the default one. Returns the number of the session,
  /// or a `Failure`.
  int create_session(const char* name, int is_auto, AceReporter* rep);
  /// Of a base, without template: by the base's own configuration, else with every field by its name.
  int create_session(DastBaseRecall* base, AceReporter* rep);
  /// What `create_session` makes of a base; null, explained.
  static DastSession* make_base_session(DastBaseRecall* base, AceReporter* rep);
  /// The session, which is accessed by that; null for none. It stays until it is destroyed.
  DastSession* get_session(int id, AceReporter* rep);
  /// The same, for as long as the pointer is kept.
  std::shared_ptr<DastSession> pin_session(int id, AceReporter* rep);
  /// Returns 0 or -1.
  int destroy_session(int id);
  /// Destroys sessions that nobody has accessed for longer; none for 0 and less. Returns their number.
  int destroy_timedout_sessions(int milliseconds);
  int get_num_sessions() const;
  /// TIMEOUT, NUM_SESSIONS, TOTAL_SESSIONS, TEMPLATE and SESSION lines. No session may be in a command then;
  /// nor while the trace flag "PRINT_TIMEDOUT_SESSIONS" is on and sessions are swept.
  int report(AceReporter* rep);

 private:
  struct ManagedSession {
    int uniqueId;
    std::time_t lastAccess;
    std::shared_ptr<DastSession> sessionRef;
  };
  using AccessList = std::list<ManagedSession>;  // last access first

  std::shared_ptr<DastSession> find_template(const char* name, AceReporter* rep, int* failure) const;
  const Template* find_exact(const std::string& name) const;
  static std::string normal_name(const std::string& name, const std::string& fallback);
  int add_session(std::unique_ptr<DastSession> session);
  int next_id();
  static void insert_template(Template entry, TemplateList* list, int* first);

  mutable std::mutex managerLock;
  TemplateList templates;  // by name
  int defaultTemplate = -1;
  std::vector<std::string> nameTexts;
  std::vector<const char*> templateNames;
  int timeOut;
  AceReporter* aceRep;
  VInt nextSession = 0;
  std::time_t startTime;
  AccessList sessionList;
  std::unordered_map<int, AccessList::iterator> sessionSet;
};
