// The API headers come first and alone: they need no header of the kernel.
#include "svcpp/sorvanta.h"

#include <memory>
#include <stdexcept>

#include "ace/ace_exception.h"
#include "dare/dare_script_engine.h"
#include "dare/dare_session.h"
#include "gtest/gtest.h"
#include "support/record_bases.h"

namespace {

std::string reported;
bool reported_is_thrown = false;

int keep(const char* text) {
  if (reported_is_thrown) throw std::runtime_error(text);
  reported += text;
  return 0;
}

struct Site {
  Site() : reporter(keep, nullptr), data(&reporter) {
    sv_init();
    reporter.set_as_default();
    support::Table table = support::table_of({"f0", "f1"});
    for (int i = 0; i < 60; ++i)
      table.records.push_back({"meier" + std::to_string(i % 20), i % 2 == 0 ? "bern" : "basel"});
    const support::TempFolder build;
    support::build_base(table, build)->dump(folder.file("people.base").c_str(), AceReporter::null());
    support::write_file(folder.file("people.ses"),
                        "FIELDS\t{\nf0\t{\nBUILD_FIELD\tf0\n}\nf1\t{\nBUILD_FIELD\tf1\n}\n}\nCOMBINATIONS\t{"
                        "\ndefault\t{\nFIXED_CONFIG\t{\n}\n}\n}\n");
    support::write_file(folder.file("people.ldb"), "main_svd\tpeople.base\nses\tpeople.ses\nsss\ta.tcl\n");
    ldb.read_from_file("people.ldb", nullptr, folder.file("").c_str());
    EXPECT_EQ(data.load(&ldb, 1, folder.file("").c_str(), 0, &manager, nullptr), 0);
    EXPECT_EQ(manager.get_session(manager.create_session("people", 0), &session), 0);
  }
  support::TempFolder folder;
  SorvantaReporter reporter;
  SorvantaLdbFile ldb;
  SorvantaManager manager;
  SorvantaDataManager data;
  SorvantaSession session;
};

class SorvantaTest : public ::testing::Test {
 protected:
  void TearDown() override {
    static AceReporter standard;
    standard.set_as_default();
  }
};

TEST_F(SorvantaTest, ADialogue) {
  Site site;
  SorvantaSessionResult result;
  EXPECT_EQ(result.get_num_suggs(), -1);
  EXPECT_EQ(site.session.update(&result, "f0", "meier1", "?"), 1);
  EXPECT_EQ(result.get_alt_field(), 0);
  const SorvantaAlternative best(&result);
  EXPECT_STREQ(best.get_rep(), "meier1");
  EXPECT_EQ(best.get_quality(), 255);
  EXPECT_EQ(best.get_num_hits(), 3);
  EXPECT_EQ(best.get_context_status(), SVAlternativeStatus::IN_CONTEXT);
  EXPECT_EQ(site.session.update(&result, "f0", "x", "wrong"), -1);
  EXPECT_EQ(result.get_num_alts(0) > 0, true);  // as before
  EXPECT_EQ(site.session.update(nullptr, "f1", "basel", "?"), 1);
  EXPECT_EQ(site.session.select("f1"), 1);
  EXPECT_EQ(site.session.suggest(&result, 0, "f0"), 1);
  EXPECT_EQ(result.get_size_context(), 30);
  EXPECT_EQ(result.get_num_suggs() > 0, true);
  int count = 0;
  for (SorvantaSuggestion person(&result); person.get_idx() >= 0; person.go_next(), ++count) {
    EXPECT_STREQ(person[1], "basel");
    EXPECT_EQ(person.get_field_quality(1), 255);
    EXPECT_EQ(person[2], nullptr);
  }
  EXPECT_EQ(count, result.get_num_suggs());
  SorvantaStatus status(&result);
  EXPECT_EQ(status.get_status(), SorvantaStatus::IN_CONTEXT);
  EXPECT_EQ(status.get_mode(), '?');
  EXPECT_EQ(status.go_next(), 0);
  EXPECT_EQ(status.get_status(), SorvantaStatus::IS_CONTEXT);
  EXPECT_EQ(status.go_next(), -1);
  EXPECT_EQ(status.get_field_name(), nullptr);
  EXPECT_EQ(site.session.cache(&result), 0);
  EXPECT_EQ(result.get_num_suggs(), -1);
  EXPECT_EQ(site.session.view(&result, 0, 1), 1);
  EXPECT_EQ(result.get_num_suggs(), 1);
  EXPECT_EQ(site.session.undo(&result, 0), 1);
  EXPECT_EQ(result.can_redo(), 1);
  EXPECT_EQ(site.session.count_field(&result, "f1", nullptr, "?", -1, 0, 0, 0, 0, 0, 0, 0, nullptr, -1,
                                     nullptr, 10),
            1);
  EXPECT_EQ(result.get_num_alts(1), 2);
  EXPECT_EQ(site.session.get_row(&result, "f0", "meier1", 0, 2, 0), 0);
  EXPECT_EQ(result.get_num_suggs(), 2);
  const char* const modes[] = {"?", "!"};
  const char* const queries[] = {"meir3", "basel"};
  EXPECT_EQ(site.session.assess(&result, 2, modes, queries), 1);
  EXPECT_EQ(result.get_category(), 7);
  EXPECT_STREQ(result.get_reason(), "");
  EXPECT_STREQ(SorvantaSuggestion(&result)[0], "meier3");
}

TEST_F(SorvantaTest, HandlesThatHoldNothing) {
  EXPECT_EQ(SorvantaSession::get_mode_code(-1), 32);
  EXPECT_EQ(SorvantaSession::get_mode_code(-2), -1);
  EXPECT_EQ(SorvantaSession::get_mode_code(4), '?');
  EXPECT_EQ(SorvantaSession::get_mode_code(18), 0);
  EXPECT_EQ(SorvantaSession::get_mode_code(19), -1);
  SorvantaSession empty;
  SorvantaSessionResult result;
  EXPECT_EQ(empty.suggest(&result, 0, nullptr), -1);
  EXPECT_EQ(empty.get_num_fields(), 0);
  EXPECT_STREQ(empty.get_field_method(0), "");
  EXPECT_EQ(empty.search(&result, 3, nullptr, nullptr, 1), -1);
  const SorvantaSuggestion nobody(&result);
  EXPECT_EQ(nobody.get_field_quality(0), -1);
  EXPECT_EQ(nobody[0], nullptr);
  const char* const mixed[] = {"a.tcl", "b.jar"};
  const char* const other[] = {"a.txt"};
  EXPECT_EQ(SorvantaScripting::check_script_type(mixed, 2), -1);
  EXPECT_EQ(SorvantaScripting::check_script_type(other, 1), 0);

  // A session that the manager has destroyed answers nothing, though a handle refers to it.
  Site site;
  SorvantaSession copy(&site.session);
  EXPECT_EQ(site.manager.get_session(-5, &empty), -1);
  const int id = site.manager.create_session("people", 0);
  SorvantaSession session;
  ASSERT_EQ(site.manager.get_session(id, &session), 0);
  EXPECT_EQ(site.manager.destroy_session(id), 0);
  EXPECT_EQ(session.update(&result, "f0", "meier1", "?"), -1);
  EXPECT_EQ(session.get_name(), nullptr);
  EXPECT_EQ(copy.update(&result, "f0", "meier1", "?"), 1);
  const SorvantaSession moved(std::move(copy));
  EXPECT_STREQ(moved.get_name(), "people");
}

struct Engine : ScriptEngine {
  int source(const char*, const char**, AceReporter*) override { return 0; }
  DastResult* session_hook(DastSession* session, const DareMultiQuery* query, const char* function) override {
    if (std::string(function) == "fail") throw AceException("A script failed", "for a reason");
    return std::string(function) == "find" ? session->search(query, 1) : nullptr;
  }
  int set_precision(int precision) override { return precision; }
};

TEST_F(SorvantaTest, AScriptOfTheHost) {
  Site site;
  Engine engine;
  SorvantaScripting scripting;
  SorvantaSessionResult result;
  const char* const modes[] = {"?", nullptr};
  const char* const queries[] = {"meier7", nullptr};
  EXPECT_EQ(scripting.session_hook(&site.session, 2, modes, queries, &result, "find"), -1);
  scripting.set_engine(&engine, SorvantaScripting::TCL_SCRIPTING);
  EXPECT_EQ(scripting.session_hook(&site.session, 2, modes, queries, &result, "find"), 0);
  EXPECT_STREQ(SorvantaSuggestion(&result)[0], "meier7");
  EXPECT_EQ(scripting.session_hook(&site.session, 2, modes, queries, &result, "lose"), -1);
  // What the kernel throws reaches the host; the result is the one before.
  EXPECT_THROW(scripting.session_hook(&site.session, 2, modes, queries, &result, "fail"), AceException);
  reported_is_thrown = true;
  EXPECT_THROW(site.session.update(&result, "f0", "meier1", "wrong"), std::runtime_error);
  reported_is_thrown = false;
  EXPECT_STREQ(SorvantaSuggestion(&result)[0], "meier7");
  EXPECT_EQ(scripting.set_precision(3), 3);
}

}  // namespace
