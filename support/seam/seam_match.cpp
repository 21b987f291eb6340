#include "seam/seam_match.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_parallel.h"
#include "dare/dare_session.h"
#include "tera/tera_edit.h"
#include "tera/tera_result.h"

namespace {

/// Answers of one query with one quality.
struct Run {
  std::uint32_t query;
  std::uint32_t quality;
  std::uint32_t distance;
  std::uint32_t count;
};

/// What queries in a row have found, each best first.
struct Answers {
  std::vector<Large> entries;
  std::vector<Run> runs;

  /// The last entries are of that query, and have that quality.
  void rate(VInt query, int quality, std::size_t count) {
    Run next = {static_cast<std::uint32_t>(query), static_cast<std::uint32_t>(quality), 0,
                static_cast<std::uint32_t>(count)};
    if (!runs.empty() && runs.back().query == next.query)
      next.distance = runs.back().distance + runs.back().quality - next.quality;
    runs.push_back(next);
  }
  void clear() {
    entries.clear();
    runs.clear();
  }
};

void write_columns(const std::vector<Answers>& all, std::size_t total, std::uint32_t* query) {
  std::uint32_t* entry = query + total;
  std::uint32_t* quality = entry + total;
  std::uint32_t* distance = quality + total;
  for (const Answers& answers : all) {
    entry = std::copy(answers.entries.begin(), answers.entries.end(), entry);
    for (const Run& run : answers.runs) {
      query = std::fill_n(query, run.count, run.query);
      quality = std::fill_n(quality, run.count, run.quality);
      distance = std::fill_n(distance, run.count, run.distance);
    }
  }
}

/// The columns of all answers, which lie in their order, written once it is known where to.
SeamBytes columns(std::vector<Answers> answers) {
  constexpr std::size_t numColumns = 4;
  std::size_t total = 0;
  for (const Answers& some : answers) total += some.entries.size();
  const auto write = [total, all = std::make_shared<const std::vector<Answers>>(std::move(answers))](
                         Token* to) { write_columns(*all, total, reinterpret_cast<std::uint32_t*>(to)); };
  return {nullptr, static_cast<Huge>(total * numColumns * sizeof(std::uint32_t)), write};
}

struct WordJob {
  const TeraEdit* index;
  const char* const* queries;
  VInt numQueries;
  int k;
  int minQuality;
  TeraEval::Mode mode;
  TeraEval::Model model;
  AceReporter* rep;
};

/// The first entries of a group, at most so many. Returns their number.
std::size_t append_group(const TeraCandGroup& group, std::size_t most, std::vector<Large>* entries) {
  const std::size_t start = entries->size();
  for (const TeraCand* cand = group.get_first_cand(); cand != nullptr; cand = cand->get_next())
    for (Large i = 0; i < cand->get_num_infos(); ++i) entries->push_back(cand->get_info(i));
  std::sort(entries->begin() + static_cast<std::ptrdiff_t>(start), entries->end());
  if (entries->size() - start > most) entries->resize(start + most);
  return entries->size() - start;
}

void match_word(const WordJob& job, VInt query, Answers* found) {
  TeraResult result(job.queries[query], job.minQuality, job.k, TeraResult::MAX_VALUE);
  constexpr int bothCodings = 50;
  if (job.index->recall(&result, job.mode, job.model, 0, 0, TeraEdit::NO_TEXTS, bothCodings, job.rep) < 0)
    throw AceException("Query refused", "number %ld: %.100s", query, job.queries[query]);
  result.high_first();
  auto left = static_cast<std::size_t>(job.k);
  const TeraCandGroup* group = result.get_first_group();
  for (; group != nullptr && left > 0; group = group->get_next()) {
    const std::size_t count = append_group(*group, left, &found->entries);
    if (count > 0) found->rate(query, group->get_value(), count);
    left -= count;
  }
}

constexpr VInt QUERIES_PER_PIECE = 16;

VInt num_pieces(VInt num_queries) {
  return (num_queries + QUERIES_PER_PIECE - 1) / QUERIES_PER_PIECE;
}

/// Answers are collected in one place, which grows a few times only, and kept in as much as they take.
void match_words(const WordJob* job, Answers* all, Answers* found, VInt piece) {
  found->clear();
  const VInt start = piece * QUERIES_PER_PIECE;
  for (VInt query = start; query < std::min(start + QUERIES_PER_PIECE, job->numQueries); ++query) {
    ace_check_stop();
    match_word(*job, query, found);
  }
  all[piece] = *found;
}

struct RecordJob {
  const DastSession* session;
  const char* const* texts;
  int numFields;
  int k;
  int first;
  AceReporter* rep;
};
using Worker = std::unique_ptr<DastSession>;

/// A session for one thread, with the combination, limits and weights of the job's.
Worker new_session(const RecordJob& job) {
  Worker session(job.session->clone(false, job.rep));
  const DastCombination* const active = job.session->get_config()->get_active_combination();
  if (active != nullptr) session->switch_active_combination(active->get_name());
  std::vector<int> weights;
  for (int i = 0; i < job.numFields; ++i) weights.push_back(job.session->get_field_weight(i));
  session->set_globals(nullptr, weights.data(), job.session->get_min_conf(), job.session->get_max_dist(),
                       job.session->get_num_suggs());
  return session;
}

void match_record(const RecordJob* job, Answers* all, Worker* worker, VInt query) {
  if (*worker == nullptr) *worker = new_session(*job);
  const char* const* const texts = job->texts + query * job->numFields;
  DareMultiQuery fields(job->numFields);
  for (int i = 0; i < job->numFields; ++i) {
    if (*texts[i] == '\0') continue;
    fields.set_query(i, DareSessionField::as_query(texts[i]));
    fields.set_mode(i, DastOptions::APPROX);
  }
  const std::unique_ptr<DastResult> result((*worker)->search(&fields, job->k));
  if (result == nullptr) throw AceException("Query refused", "number %ld", query);
  Answers& found = all[query];
  for (int i = 0; i < std::min(job->k, result->get_num_suggs()); ++i) {
    const DastSuggestion* const record = result->get_sugg(i);
    found.entries.push_back(record->recordIndex - 1 + static_cast<Large>(job->first));
    found.rate(query, record->get_quality(), 1);
  }
}

/// Whether any answers are asked for.
bool wants_any(int k) {
  if (k < 0) throw AceException("Wrong number of answers", "expected 0 or more, found %d", k);
  return k > 0;
}

}  // namespace

SeamBytes seam_match(const TeraEdit* index, const char* const* queries, int num_queries, int k,
                     int min_quality, TeraEval::Mode mode, TeraEval::Model model, int threads,
                     AceReporter* rep) {
  if (!wants_any(k)) return columns({});
  const WordJob job = {index, queries, num_queries, k, min_quality, mode, model, rep};
  std::vector<Answers> all(static_cast<std::size_t>(num_pieces(num_queries)));
  AceParallel<const WordJob, Answers, Answers>::map(&job, all.data(), num_pieces(num_queries), nullptr,
                                                    nullptr, match_words, threads, rep);
  return columns(std::move(all));
}

SeamBytes seam_match(const DastSession* session, const char* const* texts, int num_texts, int k, int first,
                     int threads, AceReporter* rep) {
  const int numFields = session->get_config()->get_num_fields();
  if (!wants_any(k)) return columns({});
  if (numFields < 1 || num_texts % numFields != 0)
    throw AceException("Query with other fields", "%d fields, %d texts", numFields, num_texts);
  const RecordJob job = {session, texts, numFields, k, first, rep};
  std::vector<Answers> all(static_cast<std::size_t>(num_texts / numFields));
  AceParallel<const RecordJob, Answers, Worker>::map(&job, all.data(), static_cast<VInt>(all.size()), nullptr,
                                                     nullptr, match_record, threads, rep);
  return columns(std::move(all));
}
