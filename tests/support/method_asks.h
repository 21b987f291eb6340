/// Field methods in tests: made from lists of values, asked, saved, and in bases.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "dast/dast_base_method.h"
#include "dast/dast_magic_constructor.h"
#include "support/damage.h"
#include "support/payload.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"
#include "tera/tera_query_kinds.h"
#include "tera/tera_reader.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace support {

/// Builds from values, of which the i-th has the base id 3 i + 1.
inline constexpr Large id_of(std::size_t index) {
  return static_cast<Large>(3 * index + 1);
}
inline int build(DastBaseMethod* method, const std::vector<std::string>& values, int flags = 0,
                 AceReporter* rep = AceReporter::null()) {
  std::string lines;
  for (std::size_t i = 0; i < values.size(); ++i) {
    char id[16];
    std::snprintf(id, sizeof id, "%08x\t", id_of(i));
    lines += id + values[i] + "\n";
  }
  AceInput input(lines.data(), true);
  TeraStandardReader reader(&input, 16);
  return method->make(&reader, flags, rep, nullptr);
}

/// Qualities by attribute number of all that a graph holds; drops the graph.
inline std::map<Large, int> ids_in(TeraScanGraph* graph) {
  std::map<Large, int> found;
  if (graph == nullptr) return found;
  for (int i = 0; i < graph->get_num_nodes(); ++i)
    for (auto* edge = graph->get_node(i)->get_first_edge(); edge != nullptr; edge = edge->get_next())
      if (edge->get_result() != nullptr)
        edge->get_result()->find_any([&](int quality, const TeraCand* cand) {
          for (Large k = 0; k < cand->get_num_infos(); ++k)
            found[cand->get_info(k)] = std::max(found[cand->get_info(k)], quality);
          return false;
        });
  graph->decr_ref();
  return found;
}
inline std::map<Large, int> find_ids(const DastBaseMethod& method, const std::string& query,
                                     DastOptions::Call call) {
  return ids_in(method.lookup(query.c_str(), call, AceReporter::null()));
}

/// Qualities by shown string of the first result; drops the graph.
inline std::map<std::string, int> texts_in(TeraScanGraph* graph) {
  std::map<std::string, int> found;
  if (graph == nullptr) return found;
  if (TeraResult* result = graph->get_first_result(); result != nullptr)
    result->find_any([&](int quality, const TeraCand* cand) {
      found[cand->represent()] = quality;
      return false;
    });
  graph->decr_ref();
  return found;
}
inline std::map<std::string, int> find_texts(const DastBaseMethod& method, const std::string& query,
                                             DastOptions::Call call) {
  return texts_in(method.lookup(query.c_str(), call, AceReporter::null()));
}

inline int quality_of(const DastBaseMethod& method, const std::string& query, DastOptions::Call call,
                      const std::string& value) {
  const TeraQueryRef object(method.eval(call, query.c_str(), AceReporter::null()));
  return object->compare(value.c_str());
}

/// What all entries of a look-up would be, cut by the limits of a result: `num_cands` and `max_dist` as
/// tera_result.h says.
inline std::map<Large, int> cut_by_limits(const std::map<Large, int>& all, int min_value, int num_cands,
                                          int max_dist) {
  std::map<int, int, std::greater<>> sizes;
  for (const auto& [id, quality] : all)
    if (quality > 0) ++sizes[quality];
  std::map<Large, int> kept;
  int numBetter = 0;
  for (const auto& [quality, size] : sizes) {
    if (quality < min_value || quality < sizes.begin()->first - max_dist || numBetter >= num_cands) break;
    for (const auto& [id, ofId] : all)
      if (ofId == quality) kept[id] = quality;
    numBetter += size;
  }
  return kept;
}

inline std::string record_of(DastBaseMethod* method) {
  return image_by([&](AceFile* file) { EXPECT_GE(method->save(file), 0); });
}

/// A base of one field with these values, asked by `use(field)` as it was built and as it was loaded in each
/// way. `recall` are recall options, set before it is built.
template <class Use>
void for_each_form_of_base(const FieldPlan& plan, const std::vector<std::string>& values, const char* recall,
                           Use use) {
  Table table{{plan}, {}};
  for (const std::string& value : values) table.records.push_back({value});
  const TempFolder folder;
  auto base = declare_base(table, folder, 1);
  write_file(folder.file("records"), table.text());
  ASSERT_NE(base, nullptr);
  std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create(plan.method.c_str()));
  ASSERT_EQ(method->configure_recall_options(recall), 0);
  ASSERT_EQ(base->get_field(0)->reconfigure(static_cast<const DastBaseMethod*>(method.get())), 0);
  ASSERT_GE(
      base->make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr, AceReporter::null()), 0);
  ASSERT_GE(base->make_all_access(AceReporter::null()), 0);
  use(base->get_field(0));
  ASSERT_GE(base->dump(folder.file("image").c_str(), AceReporter::null()), 0);
  for (int mode = 0; mode <= 3; ++mode) {
    DastBase read;
    ASSERT_GE(read.load(folder.file("image").c_str(), mode, AceReporter::null()), 0) << "mode " << mode;
    use(read.get_field(0));
  }
}

/// The qualities by string that a field of a base finds.
inline std::map<std::string, int> find_in_field(const DastBaseFieldRecall* field, const char* query,
                                                DastOptions::Call call) {
  return texts_in(field->full_scan_resolve(call, query, nullptr, 0, 0, AceReporter::null()));
}

/// Reads every damaged form of a record, and asks what was read: the sanitizers judge.
template <class Method, class Ask>
void ask_damaged_records(const std::string& record, Ask ask) {
  const QuietReports quiet;
  const auto use = [&](const std::string& damaged, const std::string&) {
    PayloadFile file(damaged);
    Method method;
    try {
      if (method.read(file.get()) >= 0) ask(method);
    } catch (const AceException&) {
    }
  };
  for_each_damage(record, use);
  for_each_hostile_word(record, use);
}

}  // namespace support
