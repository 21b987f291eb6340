/// Memory that ends at every request in turn: nothing crashes, nothing leaks (the address sanitizer looks),
/// failures are told, and what was begun in vain does not spoil what comes after.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "support/damage.h"
#include "support/failing_new.h"
#include "support/recall_modes.h"
#include "support/temp_folder.h"
#include "tera/tera_collation.h"
#include "tera/tera_edit.h"
#include "tera/tera_index.h"
#include "tera/tera_map_config.h"
#include "tera/tera_phone_transform.h"
#include "tera/tera_query.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"
#include "tera/tera_standard_query.h"

namespace {

/// Counts what it is told, without memory.
struct CountingReporter : AceReporter {
  int report_func(const char*) override { return ++numTold; }
  int event_func(const char*, const char*) override { return ++numTold; }
  int numTold = 0;
};

/// Runs `action` with memory for 0, 1, 2... requests (in steps that grow), until it succeeds without running
/// out; it returns a negative number or throws when it fails. After each failure `check` is called, with
/// memory.
void with_memory_that_ends(
    const char* what, const std::function<int()>& action,
    const std::function<void(long)>& check = [](long) {}) {
  SCOPED_TRACE(what);
  for (long allowed = 0;; allowed += 1 + allowed / 40) {
    CountingReporter rep;
    rep.set_as_default();
    bool isDone = false;
    bool isTold = false;
    support::numNewsLeft = allowed;
    try {
      isDone = action() >= 0;
    } catch (const std::bad_alloc&) {
      isTold = true;
    } catch (const AceException&) {
      isTold = true;
    }
    const bool isEnough = support::numNewsLeft > 0;
    support::numNewsLeft = -1;
    AceReporter::clear_default();
    EXPECT_TRUE(isDone || isTold || rep.numTold > 0) << "silent at request " << allowed;
    check(allowed);
    if (isEnough || testing::Test::HasFailure()) {
      EXPECT_TRUE(isDone) << "at request " << allowed;
      return;
    }
  }
}

class Memory : public testing::Test {
 protected:
  Memory() {
    TeraMapConfig config("utf-8");
    config.set_tokens("abcdefghijklmnopqrstuvwxyz");
    config.map_glob_chars(1);
    config.compile_map(&map);
    // Some with operators, which take a way of their own.
    support::write_file(folder.file("words"),
                        "mayer\nmeier\nma[iy]er\nmei?r\nmaxmayer\nsmith\nschmidt\nschmi?\nm\nme\nmei\n");
    EXPECT_EQ(build(&good), 0);
    EXPECT_EQ(good.dump(file.c_str(), nullptr), 0);
  }
  int build(TeraEdit* edit) const {
    AceInput input(folder.file("words").c_str(), 100, true);
    TeraStandardReader reader(&input, 16);
    return edit->make(&reader, &map, 1, 0, TeraEdit::ALLOW_ALT, 0, nullptr, nullptr);
  }
  static std::string answer(const TeraEdit& edit, const char* query, TeraEval::Mode mode) {
    TeraResult result(query, 100, 100, 255, nullptr);
    if (edit.recall(&result, mode, TeraEval::MAXIMUM, 0, 0, 0, 100, nullptr) < 0) return "failed";
    std::string text;
    result.find_any([&](int quality, const TeraCand* cand) {
      for (Large i = 0; i < cand->get_num_infos(); ++i)
        text += std::to_string(cand->get_info(i)) + ":" + std::to_string(quality) + " ";
      return false;
    });
    return text;
  }

  support::TempFolder folder;
  std::string file = folder.file("edit");
  TeraMap map;
  TeraEdit good;
};

using support::MODES;

}  // namespace

TEST_F(Memory, a_recall_that_runs_out_leaves_an_index_that_answers_as_if_nothing_had_been) {
  for (const TeraEval::Mode mode : MODES)
    for (const char* query : {"meyer", "m[ae]ier"}) {
      SCOPED_TRACE(std::string(TeraEval::get_mode_name(mode)) + " " + query);
      const std::string expected = answer(good, query, mode);
      std::unique_ptr<TeraEdit> cold;
      const auto load = [&] {
        cold = std::make_unique<TeraEdit>();
        EXPECT_GE(cold->load(file.c_str(), 1, nullptr), 0);
      };
      load();
      with_memory_that_ends(
          "cold",
          [&] {
            TeraResult result(query, 100, 100, 255, nullptr);
            return cold->recall(&result, mode, TeraEval::MAXIMUM, 0, 0, 0, 100, nullptr);
          },
          [&](long allowed) {
            EXPECT_EQ(answer(*cold, query, mode), expected) << "after request " << allowed;
            load();
          });
      with_memory_that_ends("warm", [&] {
        TeraResult result(query, 100, 100, 255, nullptr);
        return good.recall(&result, mode, TeraEval::MAXIMUM, 0, 0, 0, 100, nullptr);
      });
    }
}

TEST_F(Memory, from_the_second_recall_on_only_candidates_take_memory) {
  ListTree tree(nullptr);
  for (const char* word : {"mayer", "meier", "maxmayer", "smith", "schmidt", "m", "mei"}) tree[word];
  TeraEdit edit;
  ASSERT_EQ(edit.make(&tree, &map, 1, 0, 0, AceReporter::null()), 0);
  const auto requests = [&edit](const char* text, TeraQuery* query, TeraEval::Mode mode, int* num_cands) {
    TeraResult result(text, 200, 100, 255, query);
    constexpr long PLENTY = 1000000;
    support::numNewsLeft = PLENTY;
    *num_cands = edit.recall(&result, mode, TeraEval::MAXIMUM, 0, 0, TeraEdit::NO_RESOLVE, 100, nullptr);
    const long used = PLENTY - support::numNewsLeft;
    support::numNewsLeft = -1;
    return used;
  };
  for (const TeraEval::Mode mode : MODES)
    for (const char* text : {"meyerx", "m[ae]ierx", "zzz", "meier"}) {
      TeraQuery* const query = edit.get_query(text, mode, TeraEval::MAXIMUM, 0, 100);
      int numCands = 0;
      requests(text, query, mode, &numCands);
      const long again = requests(text, query, mode, &numCands);
      // A table, and for each candidate itself and its group at most.
      EXPECT_LE(again, numCands == 0 ? 0 : 1 + 2 * numCands)
          << text << ' ' << TeraEval::get_mode_name(mode) << ' ' << numCands;
      query->unref();
    }
}

TEST_F(Memory, building_writing_and_loading_fail_with_a_word_and_leave_the_old_file) {
  const std::string before = support::read_file(file);
  with_memory_that_ends("build", [&] {
    TeraEdit edit;
    return build(&edit);
  });
  CountingReporter rep;
  with_memory_that_ends(
      "dump", [&] { return good.dump(file.c_str(), &rep); },
      [&](long) { EXPECT_EQ(support::read_file(file), before); });
  for (const int mode : {0, 1, 2, 3})
    with_memory_that_ends("load", [&] {
      TeraEdit edit;
      return static_cast<int>(edit.load(file.c_str(), mode, nullptr));
    });
  with_memory_that_ends("image", [&] {
    TeraEdit edit;
    return static_cast<int>(edit.read_with_magic(before.data(), before.size()));
  });
}

TEST_F(Memory, scans_queries_results_readers_and_collations_leave_nothing_behind) {
  for (const bool isFull : {false, true})
    with_memory_that_ends("scan", [&] {
      TeraScanGraph graph(0, "max meyer schmitt", 100, 10, 255, 0);
      return isFull ? good.full_scan(&graph, TeraEval::MAXIMUM, 0, nullptr, 100, nullptr)
                    : good.scan(&graph, TeraEval::MAXIMUM, 0, nullptr, 100, nullptr);
    });
  with_memory_that_ends("query", [&] {
    TeraQuery* const query = good.get_query("meier|mayer", TeraEval::LEVENSHTEIN, TeraEval::MAXIMUM, 0, 50);
    struct Unref {
      ~Unref() { query->unref(); }
      TeraQuery* query;
    } const owner{query};
    query->compare("mayer");
    return 0;
  });
  with_memory_that_ends("reader", [&] {
    AceInput input(folder.file("words").c_str(), 100, true);
    TeraStandardReader reader(&input, 16);
    const char* word = nullptr;
    int rc = 0;
    while ((rc = reader.get_line(&word, nullptr, nullptr)) > 0) {
    }
    return rc;
  });
  with_memory_that_ends("collation", [&] {
    TeraCollation* const collation = TeraCollation::factory("ascii");
    if (collation != nullptr) collation->destroy();
    return 0;
  });
  with_memory_that_ends("string index", [&] {
    TeraIndex index;
    const char* strings[] = {"mayer", "meier", "schmidt"};
    return index.make(3, strings, true, 1, AceReporter::use_default());
  });
}

TEST_F(Memory, images_with_hostile_numbers_are_refused_or_answer_in_bounds) {
  const std::string image = support::read_file(file);
  int numRead = 0;
  support::for_each_hostile_word(image, [&](const std::string& damaged, const std::string&) {
    TeraEdit edit;
    try {
      if (edit.read_with_magic(damaged.data(), damaged.size()) < 0) return;
      ++numRead;
      for (const TeraEval::Mode mode : {TeraEval::LEVENSHTEIN, TeraEval::EXACT}) answer(edit, "meier", mode);
    } catch (const AceException&) {
    } catch (const std::bad_alloc&) {
    }
  });
  EXPECT_GT(numRead, 0);  // the sanitizers judge
}
