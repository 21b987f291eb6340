// Full-text indexes of SQLite and of Xapian over the lines of multi_bench. SQLite's finds no misspelled word:
// its rows are for the queries without errors. Xapian's spelling dictionary corrects each word once.
#include <filesystem>

#include "fields/multi_lines.h"

#ifdef BENCH_HAS_SQLITE
#include <sqlite3.h>
#endif
#ifdef BENCH_HAS_XAPIAN
#include <xapian.h>
#endif

namespace {

using lines::data;

#ifdef BENCH_HAS_SQLITE

struct FullText {
  FullText() {
    const std::string name = lines::file_of("fts5");
    std::filesystem::remove(name);
    data();
    cost.seconds = bench::seconds_of([&] { make(name); });
    cost.bytes = static_cast<double>(std::filesystem::file_size(name));
  }
  sqlite3* base = nullptr;
  lines::BuildCost cost;

 private:
  void make(const std::string& name) {
    sqlite3_open(name.c_str(), &base);
    run("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; CREATE VIRTUAL TABLE t USING fts5(line); BEGIN;");
    sqlite3_stmt* insert = nullptr;
    sqlite3_prepare_v2(base, "INSERT INTO t(rowid, line) VALUES(?, ?)", -1, &insert, nullptr);
    for (std::size_t i = 0; i < data().lines.size(); ++i) {
      sqlite3_bind_int64(insert, 1, static_cast<long>(i + 1));
      sqlite3_bind_text(insert, 2, data().lines[i].c_str(), -1, SQLITE_STATIC);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    run("COMMIT; INSERT INTO t(t) VALUES('optimize');");
  }
  void run(const char* text) { sqlite3_exec(base, text, nullptr, nullptr, nullptr); }
};

const FullText& full_text() {
  static const FullText made;
  return made;
}

/// Asks all queries for `columns`; `more` is what follows the condition.
void ask_full_text(benchmark::State& state, const lines::Texts& queries, const char* columns,
                   const char* more, bool is_open) {
  sqlite3_stmt* statement = nullptr;
  const std::string text = std::string("SELECT ") + columns + " FROM t WHERE t MATCH ?" + more;
  sqlite3_prepare_v2(full_text().base, text.c_str(), -1, &statement, nullptr);
  lines::time_queries(state, queries, [&](const std::string& query) {
    std::string words;
    for (const std::string& word : lines::split(query)) words += "\"" + word + "\" ";
    if (is_open && !words.empty()) words.back() = '*';
    sqlite3_bind_text(statement, 1, words.c_str(), -1, SQLITE_TRANSIENT);
    int rows = 0;
    for (; sqlite3_step(statement) == SQLITE_ROW; ++rows)
      benchmark::DoNotOptimize(sqlite3_column_text(statement, 1));
    sqlite3_reset(statement);
    return rows;
  });
  sqlite3_finalize(statement);
}

void FullText_build(benchmark::State& state) {
  full_text().cost.report(state);
}
BENCHMARK(FullText_build)->Iterations(1);
void FullText_and(benchmark::State& state) {
  ask_full_text(state, data().queries, "rowid, line", "", false);
}
void FullText_ranked_10(benchmark::State& state) {
  ask_full_text(state, data().queries, "rowid, line", " ORDER BY rank LIMIT 10", false);
}
void FullText_unfinished_10(benchmark::State& state) {
  ask_full_text(state, data().unfinished, "rowid, line", " ORDER BY rank LIMIT 10", true);
}
void FullText_10_snippets(benchmark::State& state) {
  ask_full_text(state, data().queries, "rowid, snippet(t, 0, '<b>', '</b>', '...', 16)", " LIMIT 10", false);
}
BENCHMARK(FullText_and)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FullText_ranked_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FullText_unfinished_10)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(FullText_10_snippets)->Iterations(4)->Unit(benchmark::kMillisecond);

#endif
#ifdef BENCH_HAS_XAPIAN

class Xapiary {
 public:
  Xapiary() {
    const std::string folder = lines::file_of("xapian");
    std::filesystem::remove_all(folder);
    data();
    cost.seconds = bench::seconds_of([&] { make(folder); });
    for (const auto& file : std::filesystem::directory_iterator(folder))
      cost.bytes += static_cast<double>(file.file_size());
    base = Xapian::Database(folder);
  }
  Xapian::Database base;
  lines::BuildCost cost{};

 private:
  static void make(const std::string& folder) {
    Xapian::WritableDatabase written(folder, Xapian::DB_CREATE_OR_OVERWRITE);
    Xapian::TermGenerator generator;
    generator.set_database(written);
    generator.set_flags(Xapian::TermGenerator::FLAG_SPELLING);
    for (const std::string& line : data().lines) {
      Xapian::Document document;
      document.set_data(line);
      generator.set_document(document);
      generator.index_text(line);
      written.add_document(document);
    }
    written.commit();
  }
};

const Xapiary& xapiary() {
  static const Xapiary made;
  return made;
}

/// The lines with all words, each corrected first if it is not known.
unsigned find(const std::string& query, bool is_corrected, unsigned most) {
  Xapian::Document terms;
  Xapian::TermGenerator generator;
  generator.set_document(terms);
  generator.index_text(query);
  std::vector<std::string> words;
  const Xapian::Database& base = xapiary().base;
  for (auto word = terms.termlist_begin(); word != terms.termlist_end(); ++word) {
    words.push_back(*word);
    if (is_corrected && !base.term_exists(*word))
      if (const std::string better = base.get_spelling_suggestion(*word); !better.empty())
        words.back() = better;
  }
  Xapian::Enquire enquire(base);
  enquire.set_query(Xapian::Query(Xapian::Query::OP_AND, words.begin(), words.end()));
  return enquire.get_mset(0, most).size();
}

void Xapian_build(benchmark::State& state) {
  xapiary().cost.report(state);
}
BENCHMARK(Xapian_build)->Iterations(1);

void ask_xapian(benchmark::State& state, const lines::Texts& queries, bool is_corrected, int most) {
  xapiary();
  lines::time_queries(state, queries, [&](const std::string& query) {
    return find(query, is_corrected, static_cast<unsigned>(most));
  });
}
void Xapian_misspelled(benchmark::State& state) {
  ask_xapian(state, data().misspelled, true, lines::ALL);
}
void Xapian_and(benchmark::State& state) {
  ask_xapian(state, data().queries, false, lines::ALL);
}
void Xapian_and_10(benchmark::State& state) {
  ask_xapian(state, data().queries, false, lines::BEST);
}
BENCHMARK(Xapian_misspelled)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Xapian_and)->Iterations(4)->Unit(benchmark::kMillisecond);
BENCHMARK(Xapian_and_10)->Iterations(4)->Unit(benchmark::kMillisecond);

#endif

}  // namespace
