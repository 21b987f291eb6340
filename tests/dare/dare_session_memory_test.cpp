/// Memory that ends in a command of a session: the command is done and answers as ever, or it fails and the
/// session is as it was.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "dare/dare_datamanager.h"
#include "dare/dare_ldb.h"
#include "dare/dare_manager.h"
#include "dare/dare_multi_query.h"
#include "dare/dare_result.h"
#include "dare/dare_session.h"
#include "support/failing_new.h"
#include "support/record_bases.h"

namespace {

using Result = std::unique_ptr<DastResult>;

std::string template_of(const std::string& confidence) {
  return "FIELDS\t{\nf0\t{\nBUILD_FIELD\tf0\n}\nf1\t{\nBUILD_FIELD\tf1\n}\n"
         "all\t{\nFS_FIELDS\t{\nf0\t{}\nf1\t{}\n}\n}\n}\nCOMBINATIONS\t{\ndefault\t{\n"
         "MIN_CONF\t" +
         confidence + "\nFIXED_CONFIG\t{\n}\n}\n}\n";
}

struct Site {
  Site() {
    support::Table table = support::table_of({"f0", "f1"});
    for (int i = 0; i < 60; ++i)
      table.records.push_back({"meier" + std::to_string(i % 20), i % 2 == 0 ? "bern" : "basel"});
    base = support::build_base(table, folder);
    model = std::make_unique<DastSession>(base.get(), false);
    model->config_session(template_of("150").c_str(), AceReporter::null());
  }
  support::TempFolder folder;
  std::unique_ptr<DastBase> base;
  std::unique_ptr<DastSession> model;
};

std::string text_of(const DastResult* result) {
  if (result == nullptr) return "null";
  std::string text = std::to_string(result->get_size_context());
  for (int i = 0; i < result->get_num_fields(); ++i) {
    const DastStatus* const status = result->get_field_status(i);
    text += "\n" + std::string(status->fieldName) + " " + status->queryMode +
            (status->queryString != nullptr ? status->queryString : "") + " " +
            std::to_string(status->matchStatus) + " " + std::to_string(status->numRecords) + " " +
            std::to_string(status->bestCand);
  }
  for (int i = 0; i < result->get_num_suggs(); ++i)
    text += "\n" + std::to_string(result->get_sugg(i)->recordIndex) + " " +
            std::to_string(result->get_sugg(i)->get_quality());
  return text;
}

/// All that a host sees of a session.
std::string state_of(DastSession* session) {
  std::string text = text_of(Result(session->result()).get());
  text += "\nundo " + std::to_string(session->can_undo()) + " redo " + std::to_string(session->can_redo());
  text += " events " + std::to_string(session->get_history()->get_size());
  return text + "\n" + text_of(Result(session->suggest(0, nullptr, 0, -1)).get());
}

using Act = std::function<bool(DastSession*)>;

bool answers(DastResult* result) {
  return Result(result) != nullptr;
}

std::unique_ptr<DareMultiQuery> people_of(const char* name, const char* city) {
  auto query = std::make_unique<DareMultiQuery>(3);
  const char* const texts[] = {name, city};
  for (int i = 0; i < 2; ++i) {
    query->set_query(i, texts[i]);
    query->set_mode(i, DastOptions::APPROX);
  }
  return query;
}

const struct {
  const char* name;
  Act act;
} ACTS[] = {
    {"create",
     [](DastSession* s) {
       return std::unique_ptr<DastSession>(s->clone(false, AceReporter::null())) != nullptr;
     }},
    {"update", [](DastSession* s) { return s->update("f0", "meir1", DastOptions::APPROX, 0) == 0; }},
    {"update_result",
     [](DastSession* s) { return answers(s->update_result("f1", "bren", DastOptions::APPROX)); }},
    {"free search",
     [](DastSession* s) { return answers(s->update_result("all", "meir1 bern", DastOptions::FS_DETECT)); }},
    {"select", [](DastSession* s) { return s->select("f1") == 0; }},
    {"clear", [](DastSession* s) { return s->clear("f1", 0) == 0; }},
    {"suggest", [](DastSession* s) { return answers(s->suggest(0, "f0", 0, -1)); }},
    {"search", [](DastSession* s) { return answers(s->search(people_of("meier7", "basel").get(), -1)); }},
    {"select several",
     [](DastSession* s) { return s->multi_select(people_of("meier7", "basel").get()) == 0; }},
    {"undo", [](DastSession* s) { return answers(s->undo(1)); }},
    {"assess", [](DastSession* s) { return answers(s->assess(people_of("meier7", "basel").get())); }},
};

std::unique_ptr<DastSession> ready(const DastSession* model) {
  auto session = std::make_unique<DastSession>(model, AceReporter::null());
  session->set_reporter(AceReporter::null());
  session->update("f1", "bern", DastOptions::APPROX, 0);
  session->update("f0", "meier2", DastOptions::APPROX, 0);
  return session;
}

/// Whether the action is done while `allowed` allocations succeed; `isEnough` is told whether they did.
template <class Do>
bool is_done(long allowed, bool* isEnough, Do act) {
  bool isDone = false;
  support::numNewsLeft = allowed;
  try {
    isDone = act();
  } catch (const std::bad_alloc&) {
  } catch (const AceException&) {
  }
  *isEnough = support::numNewsLeft > 0;
  support::numNewsLeft = -1;
  return isDone;
}

TEST(DareSessionMemory, that_ends_leaves_a_session_as_it_was) {
  AceReporter::clear_default();
  const Site site;
  for (const auto& entry : ACTS) {
    SCOPED_TRACE(entry.name);
    const Act& act = entry.act;
    const auto reference = ready(site.model.get());
    const std::string before = state_of(reference.get());
    ASSERT_TRUE(act(reference.get()));
    const std::string after = state_of(reference.get());
    bool isEnough = false;
    for (long allowed = 0; !isEnough; ++allowed) {
      const auto session = ready(site.model.get());
      state_of(session.get());
      if (!is_done(allowed, &isEnough, [&] { return act(session.get()); })) {
        ASSERT_EQ(state_of(session.get()), before) << "at request " << allowed;
        ASSERT_TRUE(act(session.get()));
      }
      ASSERT_EQ(state_of(session.get()), after) << "at request " << allowed;
    }
  }
}

TEST(DareSessionMemory, that_ends_in_a_load_leaves_what_was_loaded) {
  AceReporter::clear_default();
  const Site site;
  site.base->dump(site.folder.file("people.base").c_str(), AceReporter::null());
  const auto write = [&](const char* confidence) {
    support::write_file(site.folder.file("people.ses"), template_of(confidence));
  };
  write("150");
  support::write_file(site.folder.file("people.ldb"), "main_svd\tpeople.base\nses\tpeople.ses\n");
  DareLdbFile ldb;
  ASSERT_GE(ldb.read_from_file("people.ldb", nullptr, site.folder.file("").c_str()), 0);
  bool isEnough = false;
  for (long allowed = 0; !isEnough; allowed += 1 + allowed / 100) {
    DareDataManager data(AceReporter::null());
    DastSessionManager manager(30, AceReporter::null());
    const auto load = [&] {
      return data.load(&ldb, 1, site.folder.file("").c_str(), 0, &manager, nullptr) == 0;
    };
    const auto confidence = [&] {
      const int id = manager.create_session("people", 0, AceReporter::null());
      return id > 0 ? manager.get_session(id, AceReporter::null())->get_min_conf() : -1;
    };
    write("150");
    ASSERT_TRUE(load());
    write("160");
    const bool isDone = is_done(allowed, &isEnough, load);
    ASSERT_EQ(confidence(), isDone ? 160 : 150) << "at request " << allowed;
    ASSERT_TRUE(load());
    ASSERT_EQ(confidence(), 160);
  }
}

}  // namespace
