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

/// Answers of one quality, one behind the other.
struct Run {
  std::uint32_t quality;
  std::size_t count;
};

/// What a query has found, best first.
struct Answers {
  std::vector<Large> entries;
  std::vector<Run> runs;

  void clear() {
    entries.clear();
    runs.clear();
  }
};

/// The columns of all answers, in `at`.
SeamBytes columns(const std::vector<Answers>& all, AceAttach* at) {
  std::size_t total = 0;
  for (const Answers& answers : all) total += answers.entries.size();
  std::uint32_t* query = nullptr;
  constexpr std::size_t numColumns = 4;
  at->malloc(query, static_cast<VInt>(total * numColumns));
  const SeamBytes image = {reinterpret_cast<const Token*>(query),
                           static_cast<Huge>(total * numColumns * sizeof *query)};
  std::uint32_t* entry = query + total;
  std::uint32_t* quality = entry + total;
  std::uint32_t* distance = quality + total;
  for (std::size_t i = 0; i < all.size(); ++i) {
    query = std::fill_n(query, all[i].entries.size(), static_cast<std::uint32_t>(i));
    entry = std::copy(all[i].entries.begin(), all[i].entries.end(), entry);
    for (const Run& run : all[i].runs) {
      quality = std::fill_n(quality, run.count, run.quality);
      distance = std::fill_n(distance, run.count, all[i].runs.front().quality - run.quality);
    }
  }
  return image;
}

struct WordJob {
  const TeraEdit* index;
  const char* const* queries;
  int k;
  int minQuality;
  TeraEval::Mode mode;
  TeraEval::Model model;
  AceReporter* rep;
};

void append_group(const TeraCandGroup& group, std::size_t most, Answers* found) {
  const std::size_t start = found->entries.size();
  for (const TeraCand* cand = group.get_first_cand(); cand != nullptr; cand = cand->get_next())
    for (Large i = 0; i < cand->get_num_infos(); ++i) found->entries.push_back(cand->get_info(i));
  std::sort(found->entries.begin() + static_cast<std::ptrdiff_t>(start), found->entries.end());
  if (found->entries.size() > most) found->entries.resize(most);
  if (found->entries.size() > start)
    found->runs.push_back({static_cast<std::uint32_t>(group.get_value()), found->entries.size() - start});
}

/// Answers of a query are collected in one place, which grows a few times only, and kept in as much as they
/// take.
void match_word(const WordJob* job, Answers* all, Answers* found, VInt query) {
  TeraResult result(job->queries[query], job->minQuality, job->k, TeraResult::MAX_VALUE);
  if (job->index->recall(&result, job->mode, job->model, job->rep) < 0)
    throw AceException("Query refused", "number %ld: %.100s", query, job->queries[query]);
  result.high_first();
  const auto most = static_cast<std::size_t>(job->k);
  found->clear();
  for (const TeraCandGroup* group = result.get_first_group(); group != nullptr; group = group->get_next()) {
    if (found->entries.size() >= most) break;
    append_group(*group, most, found);
  }
  all[query] = *found;
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
    fields.set_query(i, texts[i]);
    fields.set_mode(i, DastOptions::APPROX);
  }
  const std::unique_ptr<DastResult> result((*worker)->search(&fields, job->k));
  if (result == nullptr) throw AceException("Query refused", "number %ld", query);
  Answers& found = all[query];
  for (int i = 0; i < std::min(job->k, result->get_num_suggs()); ++i) {
    const DastSuggestion* const record = result->get_sugg(i);
    const auto quality = static_cast<std::uint32_t>(record->get_quality());
    found.entries.push_back(record->recordIndex - 1 + static_cast<Large>(job->first));
    if (found.runs.empty() || found.runs.back().quality != quality) found.runs.push_back({quality, 0});
    ++found.runs.back().count;
  }
}

}  // namespace

SeamBytes seam_match(const TeraEdit* index, const char* const* queries, int num_queries, int k,
                     int min_quality, TeraEval::Mode mode, TeraEval::Model model, int threads, AceAttach* at,
                     AceReporter* rep) {
  if (k < 1) return {nullptr, -1};
  const WordJob job = {index, queries, k, min_quality, mode, model, rep};
  std::vector<Answers> all(static_cast<std::size_t>(num_queries));
  AceParallel<const WordJob, Answers, Answers>::map(&job, all.data(), num_queries, nullptr, nullptr,
                                                    match_word, threads, rep);
  return columns(all, at);
}

SeamBytes seam_match(const DastSession* session, const char* const* texts, int num_texts, int k, int first,
                     int threads, AceAttach* at, AceReporter* rep) {
  const int numFields = session->get_config()->get_num_fields();
  if (k < 1) return {nullptr, -1};
  if (numFields < 1 || num_texts % numFields != 0)
    throw AceException("Query with other fields", "%d fields, %d texts", numFields, num_texts);
  const RecordJob job = {session, texts, numFields, k, first, rep};
  std::vector<Answers> all(static_cast<std::size_t>(num_texts / numFields));
  AceParallel<const RecordJob, Answers, Worker>::map(&job, all.data(), static_cast<VInt>(all.size()), nullptr,
                                                     nullptr, match_record, threads, rep);
  return columns(all, at);
}
