#include "dare/dare_session.h"

#include <memory>
#include <random>
#include <set>

#include "dare/dare_session_config.h"
#include "dare/dare_session_sort.h"
#include "dast/dast_base_field_recall.h"
#include "gtest/gtest.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"

namespace {

using support::FieldPlan;
using support::Table;
using Result = std::unique_ptr<DastResult>;

constexpr int NUM_FIELDS = 4;

struct Fixture {
  explicit Fixture(unsigned seed, unsigned num_records = 200) {
    std::vector<FieldPlan> plans;
    for (int i = 0; i < NUM_FIELDS; ++i) {
      FieldPlan plan;
      plan.name = "f" + std::to_string(i);
      plan.type = i == 3 ? "BASIC|CHANGING|FULL|ORIGINAL" : "ADVANCED|CHANGING|FULL|ORIGINAL";
      plan.indexEmpty = i == 1;
      plans.push_back(plan);
    }
    table = support::random_table(seed, plans, num_records);
    base = support::build_base(table, folder);
    session = std::make_unique<DastSession>(base.get(), false);
    session->set_reporter(AceReporter::null());
  }
  void configure(const std::string& logic) {
    const std::string text =
        "FIELDS\t{\nf0\t{\nBUILD_FIELD\tf0\n}\nf1\t{\nBUILD_FIELD\tf1\n}\nf2\t{\nBUILD_FIELD\tf2\n}\n"
        "f3\t{\nBUILD_FIELD\tf3\n}\nmode\t{\n}\n}\nCOMBINATIONS\t{\ndefault\t{\nMIN_CONF\t150\nMAX_"
        "DIST\t80\nNUM_ALTS\t20\n"
        "FIXED_CONFIG\t{\nLOGIC\t" +
        logic + "\n}\n}\nother\t{\nFIXED_CONFIG\t{\nLOGIC\t(f0&f2)\n}\n}\n}\n";
    ASSERT_EQ(session->config_session(text.c_str(), AceReporter::use_default()), 0);
  }
  support::TempFolder folder;
  Table table;
  std::unique_ptr<DastBase> base;
  std::unique_ptr<DastSession> session;
};

std::string text_of(DastResult* result) {
  if (result == nullptr) return "null";
  std::string text = "context " + std::to_string(result->get_size_context()) + "\n";
  for (int i = 0; i < result->get_num_fields(); ++i) {
    const DastStatus* const status = result->get_field_status(i);
    text += std::string(status->fieldName) + " " + status->queryMode +
            (status->queryString != nullptr ? status->queryString : "") + " " +
            std::to_string(status->matchStatus) + " " + std::to_string(status->numRecords) + " " +
            std::to_string(status->bestCand) + "\n";
  }
  for (int i = 0; i < result->get_num_suggs(); ++i) {
    const DastSuggestion* const suggestion = result->get_sugg(i);
    text += std::to_string(suggestion->recordIndex) + " " + std::to_string(suggestion->get_quality());
    for (int k = 0; k < result->get_num_fields(); ++k)
      text += std::string(" ") + (suggestion->get_field(k) != nullptr ? suggestion->get_field(k) : "-") +
              ":" + std::to_string(suggestion->get_field_quality(k));
    text += "\n";
  }
  return text;
}

/// What a session has come to: queries, and the fields that are selected, in order.
struct State {
  std::vector<std::string> queries = std::vector<std::string>(NUM_FIELDS);
  std::vector<int> selected;

  bool is_selected(int field) const {
    return std::find(selected.begin(), selected.end(), field) != selected.end();
  }
  void release(int field) {
    const auto place = std::find(selected.begin(), selected.end(), field);
    selected.erase(place, selected.end());
  }
  /// A new session that is given just that.
  std::string replay(const DastSession* from) const {
    DastSession fresh(from, AceReporter::null());
    fresh.set_reporter(AceReporter::null());
    for (int i = 0; i < NUM_FIELDS; ++i)
      if (!queries[static_cast<std::size_t>(i)].empty())
        fresh.update(("f" + std::to_string(i)).c_str(), queries[static_cast<std::size_t>(i)].c_str(),
                     DastOptions::APPROX, 0);
    for (const int field : selected) EXPECT_EQ(fresh.select(("f" + std::to_string(field)).c_str()), 0);
    return text_of(Result(fresh.suggest(0, nullptr, 0, -1)).get());
  }
};

TEST(DastSession, EqualsASessionThatStartsAnew) {
  AceReporter::clear_default();
  for (unsigned seed = 1; seed <= 12; ++seed) {
    static AceReporter standard;
    Fixture fixture(seed);
    fixture.configure(seed % 3 == 0   ? "(f0&(f1|f2)&f3)"
                      : seed % 3 == 1 ? "(f0&f1&f2&f3)"
                                      : "((f0:f1)&f2&!f3)");
    DastSession session(fixture.session.get(), AceReporter::null());
    session.set_reporter(AceReporter::null());
    std::mt19937 random(seed);
    State state;
    std::vector<State> done, undone;
    for (int step = 0; step < 60; ++step) {
      const int field = static_cast<int>(random() % NUM_FIELDS);
      const std::string name = "f" + std::to_string(field);
      const int before = session.get_history()->get_size();
      const State old = state;
      switch (random() % 8) {
        case 0:
        case 1:
        case 2: {
          const std::string query =
              fixture.table.records[random() % fixture.table.records.size()][static_cast<std::size_t>(field)];
          if (query.find('|') != std::string::npos || query.empty()) continue;
          if (query == state.queries[static_cast<std::size_t>(field)]) continue;
          ASSERT_EQ(session.update(name.c_str(), query.c_str(), DastOptions::APPROX, 0), 0) << query;
          state.queries[static_cast<std::size_t>(field)] = query;
          if (state.is_selected(field)) state.release(field);
          break;
        }
        case 3:
        case 4:
          if (session.select(name.c_str()) == 0 && !state.is_selected(field)) state.selected.push_back(field);
          break;
        case 5: {
          const char* const names[] = {name.c_str()};
          ASSERT_EQ(session.deselect(1, names), 0);
          if (state.is_selected(field)) state.release(field);
          break;
        }
        case 6:
          if (random() % 3 == 0) {
            session.clear(name.c_str(), 0);
            state.queries[static_cast<std::size_t>(field)].clear();
            if (state.is_selected(field)) state.release(field);
          }
          break;
        default: {
          const bool back = random() % 2 == 0;
          auto& from = back ? done : undone;
          auto& to = back ? undone : done;
          ASSERT_EQ((back ? session.can_undo() : session.can_redo()) != 0, !from.empty());
          const Result walked(back ? session.undo(1) : session.redo(1));
          if (!from.empty()) {
            to.push_back(state);
            state = from.back();
            from.pop_back();
          }
          ASSERT_EQ(text_of(walked.get()), state.replay(fixture.session.get()))
              << "seed " << seed << " step " << step;
          continue;
        }
      }
      if (session.get_history()->get_size() != before) {
        done.push_back(old);
        undone.clear();
      }
      if (step % 5 == 0)
        ASSERT_EQ(text_of(Result(session.suggest(0, nullptr, 0, -1)).get()),
                  state.replay(fixture.session.get()))
            << "seed " << seed << " step " << step;
    }
    while (session.can_undo() != 0) delete session.undo(0);
    ASSERT_EQ(text_of(Result(session.result()).get()),
              text_of(Result(DastSession(fixture.session.get(), nullptr).result()).get()));
    while (session.can_redo() != 0) delete session.redo(0);
    while (!undone.empty()) {
      state = undone.front();
      undone.erase(undone.begin());
    }
    standard.set_as_default();
  }
}

TEST(DastSession, CommandsAndTheirLimits) {
  AceReporter::clear_default();
  Fixture fixture(3);
  fixture.configure("(f0&f1&f2&f3)");
  DastSession& session = *fixture.session;
  support::RecordingReporter rep;
  session.set_reporter(&rep);
  EXPECT_EQ(session.update("nobody", "x", DastOptions::APPROX, 0), -1);
  EXPECT_NE(rep.all().find("Unrecognized session field: nobody"), std::string::npos);
  EXPECT_EQ(Result(session.view(0, -1)), nullptr);
  const Result nothing(session.undo(0));
  ASSERT_NE(nothing, nullptr);
  EXPECT_EQ(session.can_undo(), 0);
  EXPECT_EQ(session.select("f0"), -1);  // no query

  const std::string query = fixture.table.records[5][0].substr(0, fixture.table.records[5][0].find('|'));
  const Result typed(session.update_result("f0", query.c_str(), DastOptions::APPROX));
  ASSERT_NE(typed, nullptr);
  ASSERT_GT(typed->get_num_alts(0), 0);
  EXPECT_EQ(typed->get_alt(0, 0)->compQuality, 255);
  EXPECT_EQ(typed->get_alt(0, 0)->candStatus, DastStatus::IN_CONTEXT);
  const int size = session.get_history()->get_size();
  EXPECT_EQ(session.update("f0", query.c_str(), DastOptions::APPROX, 0), 0);
  EXPECT_EQ(session.get_history()->get_size(), size);  // nothing new
  EXPECT_EQ(session.update("f0", "...", DastOptions::EXACT, 0), 0);
  EXPECT_STREQ(session.get_config()->get_field_query(0), query.c_str());
  EXPECT_EQ(session.get_config()->get_field_mode(0), DastOptions::EXACT);
  EXPECT_EQ(session.update("f2", std::string(9000, 'a').c_str(), DastOptions::EXACT, 0), 0);
  EXPECT_EQ(std::string(session.get_config()->get_field_query(2)).size(), 8192U);
  session.clear("f2", 0);

  EXPECT_EQ(session.select("f0"), 0);
  EXPECT_EQ(session.select("f0"), 0);
  EXPECT_GT(session.get_context()->get_size(), 0);
  const char* const names[] = {"f0", "nobody"};
  EXPECT_EQ(session.deselect(2, names), -1);
  EXPECT_EQ(session.get_context()->get_size(), -1);

  const Result suggested(session.suggest(0, nullptr, 0, -1));
  ASSERT_NE(suggested, nullptr);
  ASSERT_GT(suggested->get_num_suggs(), 1);
  EXPECT_EQ(Result(session.view(0, 1))->get_num_suggs(), 1);
  EXPECT_EQ(text_of(Result(session.view(0, -1)).get()), text_of(suggested.get()));
  EXPECT_EQ(Result(session.view(0, -1)), nullptr);
  EXPECT_EQ(session.set_input_focus(NUM_FIELDS + 1), -1);
  EXPECT_EQ(session.switch_active_combination("nobody"), -1);
  EXPECT_EQ(session.switch_active_combination("other"), 0);
  EXPECT_EQ(session.set_globals("default", nullptr, 255, -1, 3), 0);
  EXPECT_LE(Result(session.suggest(0, nullptr, 0, -1))->get_num_suggs(), 3);
  session.set_globals(nullptr, nullptr, -1, -1, -1);

  // A control field's text is the logic.
  session.update("f1", "nothing", DastOptions::APPROX, 0);
  session.update("mode", "(f0)", DastOptions::APPROX, 0);
  const Result controlled(session.suggest(0, nullptr, 0, -1));
  ASSERT_NE(controlled, nullptr);
  EXPECT_EQ(controlled->get_sugg(0)->get_quality(), 255);
  session.update("mode", "f0&wrong", DastOptions::APPROX, 0);
  EXPECT_EQ(Result(session.suggest(0, nullptr, 0, -1)), nullptr);
  EXPECT_EQ(session.clear_all(), 0);

  // What was found before stands for the field while nothing else is.
  session.update("f0", query.c_str(), DastOptions::EXACT, 0);
  EXPECT_EQ(session.persist_result("f0"), 0);
  session.update("f1", query.c_str(), DastOptions::FS_DETECT, 0);
  EXPECT_EQ(session.persist_result("f1"), -1);
  session.clear("f1", 0);
  const Result kept(session.suggest(0, nullptr, 0, -1));
  ASSERT_NE(kept, nullptr);
  ASSERT_GT(kept->get_num_suggs(), 0);
  EXPECT_EQ(kept->get_sugg(0)->get_quality(), 255);
  EXPECT_EQ(session.clear_all(), 0);
  EXPECT_EQ(Result(session.suggest(0, nullptr, 0, -1))->get_num_suggs(), 0);

  // Deleted records never appear.
  const Large deleted[] = {6};
  const DastInfoList list(1, deleted, false);
  session.get_config()->set_deletion(&list);
  session.init_context();
  EXPECT_FALSE(session.get_context()->has(6));
  EXPECT_EQ(session.get_context()->get_size(), static_cast<int>(fixture.table.records.size()) - 1);
  const Result sample(session.generate_sample("f0"));
  EXPECT_EQ(sample->get_category(), DastResult::SAMPLE);
  EXPECT_GT(sample->get_num_alts(0), 0);
  const Result counted(session.count("f0", nullptr, DastOptions::APPROX, DastCountOptions(), 100000));
  ASSERT_NE(counted, nullptr);
  EXPECT_GT(counted->sum_alt_hits(0), 0);
  const Result row(session.get_row("f0", query.c_str(), 0, 1000));
  ASSERT_NE(row, nullptr);
  for (int i = 0; i < row->get_num_suggs(); ++i) EXPECT_NE(row->get_sugg(i)->recordIndex, 6U);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DastSession, MultiFieldCommands) {
  AceReporter::clear_default();
  Fixture fixture(8);
  fixture.configure("(f0&f1&f2&f3)");
  DastSession& session = *fixture.session;
  const auto& record = fixture.table.records[10];
  DareMultiQuery query(NUM_FIELDS + 1);
  for (int i = 0; i < NUM_FIELDS; ++i) {
    const std::string value =
        record[static_cast<std::size_t>(i)].substr(0, record[static_cast<std::size_t>(i)].find('|'));
    query.set_mode(i, value.empty() ? DastOptions::EMPTY : DastOptions::APPROX);
    query.set_query(i, value.c_str());
  }
  const Result searched(session.search(&query, -1));
  ASSERT_NE(searched, nullptr);
  ASSERT_GT(searched->get_num_suggs(), 0);
  EXPECT_EQ(searched->get_sugg(0)->get_quality(), 255);
  EXPECT_EQ(text_of(Result(session.search_combination(&query, "default")).get()).substr(0, 20),
            text_of(searched.get()).substr(0, 20));
  EXPECT_EQ(Result(session.search_combination(&query, "nobody")), nullptr);
  DastResult scored(searched.get(), 0, 100);
  for (int i = 0; i < scored.get_num_suggs(); ++i) scored.get_sugg(i)->repObj->set_quality(1);
  EXPECT_EQ(session.reevaluate(&query, "default", &scored), 150);
  EXPECT_EQ(text_of(&scored), text_of(searched.get()));
  // What was shown of values that do not count makes them count no later.
  session.set_min_conf(20);
  session.set_max_dist(255);
  for (const ReevalMode mode : {ReevalMode::CACHED, ReevalMode::PRIMARY_ONLY, ReevalMode::ON_DEMAND}) {
    session.get_config()->get_session_field(0)->set_reeval_mode(mode);
    const Result first(session.search(&query, -1));
    DastResult shown(first.get(), 0, 100);
    EXPECT_EQ(session.reevaluate(&query, "default", &shown), 20);
    EXPECT_EQ(text_of(&shown), text_of(first.get()));
  }
  session.set_globals(nullptr, nullptr, -1, -1, -1);
  // Under a control text, as under the combination's logic.
  DareMultiQuery controlled(query);
  controlled.set_mode(NUM_FIELDS, DastOptions::APPROX);
  controlled.set_query(NUM_FIELDS, "(f0|f3)");
  const Result other(session.search(&controlled, -1));
  DastResult again(other.get(), 0, 100);
  EXPECT_EQ(session.reevaluate(&controlled, "default", &again), 150);
  EXPECT_EQ(text_of(&again), text_of(other.get()));
  EXPECT_NE(text_of(&again), text_of(searched.get()));
  const DareMultiQuery wrong(2);
  EXPECT_EQ(Result(session.search(&wrong, -1))->get_num_suggs(), 0);
  EXPECT_EQ(session.multi_select(&wrong), -1);
  EXPECT_EQ(session.multi_select(&query), 0);
  EXPECT_TRUE(session.get_context()->has(11));
  EXPECT_GT(session.get_context()->get_size(), 0);
  delete session.undo(0);  // one command
  EXPECT_EQ(session.get_context()->get_size(), -1);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DastSession, StatesThatMeet) {
  AceReporter::clear_default();
  Fixture fixture(5);
  const std::string fields =
      "FIELDS\t{\nf0\t{\nBUILD_FIELD\tf0\n}\nf1\t{\nBUILD_FIELD\tf1\nQUERY_NORM\tTRIM_ALL\n}\n"
      "all\t{\nFS_FIELDS\t{\nf0\t{}\nf2\t{}\n}\n}\n}\nCOMBINATIONS\t{\ndefault\t{\nMIN_CONF\t100\n}\n}\n";
  DastSession& session = *fixture.session;
  ASSERT_EQ(session.config_session(fields.c_str(), AceReporter::null()), 0);
  std::string query;
  for (const auto& record : fixture.table.records)
    if (record[0].size() > 4 && record[0].find('|') == std::string::npos) query = record[0];
  // A free search that is asked again gives the same.
  DareMultiQuery free_search(3);
  free_search.set_mode(2, DastOptions::FS_DETECT);
  free_search.set_query(2, query.c_str());
  const Result first(session.search(&free_search, -1));
  ASSERT_NE(first, nullptr);
  ASSERT_GT(first->get_num_suggs(), 0);
  EXPECT_EQ(text_of(Result(session.search(&free_search, -1)).get()), text_of(first.get()));
  EXPECT_EQ(first->get_field_status(2)->matchStatus, DastStatus::NO_CONTEXT);
  session.clear_all();
  // A selected field that is emptied restricts nothing; one whose default context changes still does.
  session.update("f0", query.c_str(), DastOptions::APPROX, 0);
  EXPECT_EQ(session.select("f0"), 0);
  const int selected = session.get_context()->get_size();
  const DastInfoList all(0, nullptr, false);
  session.set_default_context(&all);
  EXPECT_EQ(session.get_context()->get_size(), 0);
  session.set_default_context(nullptr);
  EXPECT_EQ(session.get_context()->get_size(), selected);
  EXPECT_EQ(session.update("f0", "", DastOptions::APPROX, 0), 0);
  EXPECT_EQ(session.get_context()->get_size(), -1);
  // Of a default context deleted records go, however late they are known.
  const Large some[] = {1, 2, 3};
  const DastInfoList context(3, some, false);
  session.set_default_context(&context);
  const DastInfoList second(1, &some[1], nullptr);
  ASSERT_EQ(DastBase::dump_delset(&second, fixture.folder.file("deleted").c_str(), AceReporter::null()), 0);
  ASSERT_EQ(session.load_delset(fixture.folder.file("deleted").c_str()), 0);
  EXPECT_EQ(session.get_context()->get_size(), 2);
  EXPECT_FALSE(session.get_context()->has(2));
  session.set_default_context(nullptr);
  EXPECT_EQ(session.get_context()->get_size(), static_cast<int>(fixture.table.records.size()) - 1);
  EXPECT_EQ(Result(session.result())->get_field_status(0)->matchStatus, DastStatus::EMPTY);
  // A configuration that breaks off behind its combinations makes no session.
  DastSession broken(fixture.base.get(), false);
  broken.set_reporter(AceReporter::null());
  EXPECT_EQ(broken.config_session((fields + "NONSENSE\tx\n").c_str(), AceReporter::null()), -1);
  EXPECT_EQ(broken.suggest(0, nullptr, 0, -1), nullptr);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DastSession, CountsSortsAndCopies) {
  AceReporter::clear_default();
  Fixture fixture(9);
  fixture.configure("(f0&f1&f2&f3)");
  DastSession& session = *fixture.session;
  // Values of all fields with a mode, as one field after the other has them.
  DareMultiQuery all(NUM_FIELDS + 1);
  all.set_mode(0, DastOptions::APPROX);
  all.set_mode(2, DastOptions::APPROX);
  const DastCountOptions options;
  const Result crossed(session.cross_count(&all, options, 100));
  ASSERT_NE(crossed, nullptr);
  EXPECT_EQ(crossed->get_num_alts(1), 0);
  for (const int field : {0, 2}) {
    const std::string name = "f" + std::to_string(field);
    const Result counted(session.count(name.c_str(), nullptr, DastOptions::APPROX, options, 100));
    ASSERT_EQ(crossed->get_num_alts(field), counted->get_num_alts(field));
    ASSERT_GT(crossed->get_num_alts(field), 0);
    for (int i = 0; i < counted->get_num_alts(field); ++i) {
      EXPECT_STREQ(crossed->get_alt(field, i)->repObj, counted->get_alt(field, i)->repObj);
      EXPECT_EQ(crossed->get_alt(field, i)->numHits, counted->get_alt(field, i)->numHits);
      EXPECT_EQ(session.get_total_count(name.c_str(), counted->get_alt(field, i)->repObj),
                counted->get_alt(field, i)->numHits);
    }
  }
  // Rows of what is counted, the empty value among them.
  const Result values(session.count("f1", nullptr, DastOptions::APPROX, options, 1000));
  for (int i = 0; i < values->get_num_alts(1); ++i)
    EXPECT_EQ(Result(session.get_row("f1", values->get_alt(1, i)->repObj, 0, 1000))->get_num_suggs(),
              values->get_alt(1, i)->numHits);
  // A row by a field's strings, falling.
  const std::string value = crossed->get_alt(0, 0)->repObj;
  EXPECT_EQ(session.add_context_sort_key("nobody", DareSessionSort::REVERSE), -1);
  ASSERT_EQ(session.add_context_sort_key("f3", DareSessionSort::REVERSE), 0);
  const Result row(session.get_row("f0", value.c_str(), 0, 1000));
  ASSERT_EQ(row->get_num_suggs(), crossed->get_alt(0, 0)->numHits);
  // A result by the same field: the same order, of equal strings as they were.
  DastResult sorted(row.get(), 0, row->get_num_suggs());
  ASSERT_GT(sorted.shuffle_suggs(0, sorted.get_num_suggs()), 0);
  EXPECT_EQ(session.resort(&sorted, "nobody", DareSessionSort::REVERSE), -1);
  EXPECT_EQ(session.resort(&sorted, "f3", DareSessionSort::REVERSE), 0);
  for (int i = 0; i < row->get_num_suggs(); ++i)
    EXPECT_STREQ(sorted.get_sugg(i)->get_field(3), row->get_sugg(i)->get_field(3));
  // A field's query is another's, and looked up there.
  session.update("f0", value.c_str(), DastOptions::EXACT, 0);
  EXPECT_EQ(session.copy_result("f0", "nobody"), -1);
  EXPECT_EQ(session.copy_result("f0", "f2"), 0);
  session.update("f1", value.c_str(), DastOptions::EXACT, 0);
  const Result copied(session.result());
  EXPECT_STREQ(copied->get_field_status(2)->queryString, value.c_str());
  EXPECT_EQ(copied->get_field_status(2)->queryMode, copied->get_field_status(0)->queryMode);
  // What was kept of a field shows and scores records as before.
  session.clear_all();
  session.update("f0", value.c_str(), DastOptions::APPROX, 0);
  const Result asked(session.suggest(0, nullptr, 0, 10));
  EXPECT_EQ(session.persist_result("f0"), 0);
  const Result kept(session.suggest(0, nullptr, 0, 10));
  EXPECT_EQ(session.reevaluate(nullptr, "default", asked.get()), 150);
  EXPECT_EQ(text_of(asked.get()), text_of(kept.get()));
  // What weighs nothing decides nothing.
  session.clear_all();
  session.update("f0", value.c_str(), DastOptions::EXACT, 0);
  session.update("f2", "nothing like it", DastOptions::APPROX, 0);
  EXPECT_EQ(session.set_field_weight(NUM_FIELDS + 1, 1), -1);
  EXPECT_EQ(session.set_field_weight(2, 0), 0);
  const Result weighed(session.suggest(0, nullptr, 0, 10));
  ASSERT_GT(weighed->get_num_suggs(), 0);
  EXPECT_EQ(weighed->get_sugg(0)->get_quality(), 255);
  EXPECT_EQ(Result(session.script(&all)), nullptr);  // the host has no hook
  static AceReporter standard;
  standard.set_as_default();
}

}  // namespace
