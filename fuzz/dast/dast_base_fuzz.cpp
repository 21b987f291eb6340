// Files of bases, damaged: the input is where and how the image of a small base is changed. What still loads
// is asked everything that a base is asked.
//
//     byte 0     mode of reading, 0 or 1
//     then       changes of 7 bytes: offset (2), kind (1), value (4)
#include <cstring>
#include <memory>

#include "ace/ace_exception.h"
#include "dast/dast_base.h"
#include "dast/dast_count.h"
#include "dast/dast_info_list.h"
#include "dime/dime_regex_detector.h"
#include "support/record_bases.h"
#include "tera/tera_query.h"
#include "tera/tera_result.h"
#include "tera/tera_scan_graph.h"

namespace {

void add_detectors(DastBase* base) {
  const char* names[] = {"a", "c", "d"};
  const char* prefixes[] = {nullptr, "x ", nullptr};
  const int initials[] = {1, 0, 0};
  base->assign_detector("index", 1, nullptr, 2, names, 0, prefixes, nullptr, 0, initials);
  std::unique_ptr<DastBaseMethod> method(MagicConstructor<DastBaseMethod>::create("EDIT"));
  method->configure_build_options("-filter 0", &support::letter_map());
  base->configure_detector(0, method.release());
  base->assign_detector("shapes", 2, nullptr, 2, names + 1, 0, nullptr, nullptr, 0, nullptr);
  auto* regex = new DimeRegexDetector;
  regex->add_regexp("(b)c?", "TRIM_ALL", 10, 0);
  regex->add_regexp("\\d+", nullptr, 0, 1);
  base->configure_detector(1, regex);
}

/// All kinds of fields, detectors, aliases, runs that are shared, indexes in the base.
const std::string& small_image() {
  static const std::string image = [] {
    AceReporter::clear_default();
    using support::FieldPlan;
    std::vector<FieldPlan> plans{{.name = "a", .type = "ADVANCED|OPTIMIZED|FULL|ORIGINAL", .abstraction = 0},
                                 {.name = "b", .type = "ADVANCED|OPTIMIZED|FULL|INDEXED", .abstraction = 0},
                                 {.name = "c", .type = "BASIC|CHANGING|FULL|ORIGINAL", .indexEmpty = true},
                                 {.name = "d", .type = "ADVANCED|CHANGING|FULL|NUMERIC"},
                                 {.name = "e", .type = "ADVANCED|CHANGING|PARTIAL|ORIGINAL"}};
    plans[0].globalAliases = "abc\t9\txyz\n";
    support::Table table = support::random_table(1, plans, 12);
    for (auto& record : table.records) record[1] = record[0];
    table.records[0][0] = table.records[0][1] = "abc";
    const support::TempFolder folder;
    const auto base = support::declare_base(table, folder, 1);
    add_detectors(base.get());
    support::write_file(folder.file("records"), table.text());
    base->make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr, AceReporter::null());
    base->make_all_access(AceReporter::null());
    base->dump(folder.file("image").c_str(), AceReporter::null());
    return support::read_file(folder.file("image"));
  }();
  return image;
}

void ask(const DastBase& base) {
  for (const char* text : {"abc 7", "x b", "a"})
    if (TeraScanGraph* graph =
            base.detector_detect(text, ~Mask{0}, DastOptions::FS_DETECT, nullptr, AceReporter::null()))
      graph->decr_ref();
  for (int f = 0; f < base.get_num_fields(); ++f) {
    const DastBaseField* field = base.get_field(f);
    for (const char* query : {"abc", "ab|7", "-BLANK-", ""}) {
      AceAttach at;
      TeraScanGraph* graph =
          field->full_scan_resolve(DastOptions::APPROX, query, nullptr, 200, 0, AceReporter::null());
      if (graph != nullptr) {
        graph->find_any([&](int, const TeraCand* cand) {
          HitList::Settings settings;
          settings.maxRecord = base.get_num_records();
          HitList* hits = field->create_hitlist(nullptr, cand, settings, &at);
          for (int i = 0; hits != nullptr && i < 50 && hits->promote() != 0; ++i) continue;
          return false;
        });
        graph->decr_ref();
      }
      const Large* ids = nullptr;
      base.get_exact(f, query, &ids, &at, AceReporter::null());
    }
    DastCountOptions options;
    options.info = DastCountOptions::INFO_RECORDS;
    options.group = f % 2 == 0;
    options.limit = f == 0 ? "a-b|c" : nullptr;
    TeraResult counted(nullptr, 0, 5, 255);
    base.count_context(f, options, &counted, nullptr, AceReporter::null());
    for (Large record = 0; record < 20; ++record) {
      AceAttach at;
      const char* value = nullptr;
      base.get_single_field(f, record, &value, &at);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (size < 1) return 0;
  std::string image = small_image();
  for (std::size_t i = 1; i + 7 <= size; i += 7) {
    const std::size_t offset = (data[i] | std::size_t{data[i + 1]} << 8) % image.size();
    if (data[i + 2] % 4 == 3)
      image.resize(offset + 1);
    else
      std::memcpy(&image[offset], data + i + 3,
                  std::min<std::size_t>(image.size() - offset, data[i + 2] % 4 == 0 ? 1 : 4));
  }
  static const support::TempFolder folder;
  support::write_file(folder.file("damaged"), image);
  try {
    DastBase base;
    if (base.load(folder.file("damaged").c_str(), data[0] & 1, AceReporter::null()) >= 0) ask(base);
  } catch (const AceException&) {
  } catch (const std::bad_alloc&) {
  }
  return 0;
}
