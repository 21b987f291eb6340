#include "dast/dast_base.h"

#include "ace/ace_exception.h"
#include "dast/dast_count.h"
#include "dast/dast_info_list_cache.h"
#include "dast/dast_options.h"
#include "dast/dast_parallel_resource.h"
#include "dast/dast_string_storage.h"
#include "support/damage.h"
#include "support/documented_bytes.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"
#include "tera/tera_result.h"

namespace {

using support::FieldPlan;
using support::Table;
using support::TempFolder;

int type_of(const char* text) {
  const char* error = nullptr;
  return DastBaseField::gen_storage_type(text, &error);
}

TEST(DastBaseField, storage_types_are_four_words_and_mean_bits) {
  EXPECT_EQ(type_of("BASIC|CHANGING|FULL|ORIGINAL"), 65924);
  EXPECT_EQ(type_of("ADVANCED|OPTIMIZED|PARTIAL|NUMERIC"), 66135);
  EXPECT_EQ(type_of("ADVANCED|CHANGING|NONE|INDEXED"), 320);
  EXPECT_EQ(type_of("basic|changing|partial|indexed"), 65676);
  EXPECT_EQ(type_of("ADVANCED|CHANGING|PARTIAL|INDEXED"), 65876);
  const std::pair<const char*, const char*> wrong[] = {
      {"BASIC|CHANGING|FULL", "incomplete storage type, must have 4 values"},
      {"BASIC|CHANGING|FULL|ORIGINAL|", "incomplete storage type, must have 4 values"},
      {"BASICS|CHANGING|FULL|ORIGINAL", "unknown option for feature set setting!"},
      {"BASIC||FULL|ORIGINAL", "unknown option for interval setting!"},
      {"BASIC|CHANGING|MOST|ORIGINAL", "unknown option for index setting!"},
      {"BASIC|CHANGING|FULL|COPY", "unknown option for string storage setting!"}};
  for (const auto& [type, message] : wrong) {
    const char* error = nullptr;
    EXPECT_EQ(DastBaseField::gen_storage_type(type, &error), -1) << type;
    EXPECT_STREQ(error, message) << type;
  }
}

TEST(DastBase, mistakes_of_a_declaration_are_named) {
  const char* names[] = {"name", "city"};
  support::RecordingReporter rep;
  DastBase base(2, names, nullptr, nullptr, "access", "UTF-8", 0, 0, nullptr, 2, 3);
  const auto assign = [&](const char* field, const char* type, const char* collation) {
    rep.messages.clear();
    return base.assign(field, type, 0, collation, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                       nullptr, -1, &rep, 0);
  };
  EXPECT_EQ(assign("name", "BASIC|CHANGING|FULL|ORIGINAL", nullptr), 0);
  EXPECT_EQ(assign("city", "ADVANCED|CHANGING|FULL|ORIGINAL", "ascii"), 0);
  AceAttach at;
  EXPECT_STREQ(base.config_string(&at), "9-2-name-65924-city-65860-UTF-8-0-0-");
  EXPECT_EQ(assign("street", "BASIC|CHANGING|FULL|ORIGINAL", nullptr), -1);
  EXPECT_EQ(rep.all(), "");
  EXPECT_EQ(assign("city", "ADVANCED|FULL", nullptr), -1);
  EXPECT_EQ(
      rep.all(),
      "Field 1, city with ADVANCED|FULL cannot be assigned!\nincomplete storage type, must have 4 values\n");
  EXPECT_EQ(assign("city", "ADVANCED|CHANGING|FULL|ORIGINAL", "no such order"), -1);
  EXPECT_NE(rep.all().find("'no such order'"), std::string::npos);
  const int fields[65] = {};
  const int unknown[] = {2};
  EXPECT_EQ(base.set_index_fields(fields, 65, nullptr, 0), -1);
  EXPECT_EQ(base.set_index_fields(nullptr, 0, fields, 1), -1);
  EXPECT_EQ(base.set_index_fields(unknown, 1, nullptr, 0), -1);
  EXPECT_EQ(base.set_index_fields(fields, 1, fields, 2), 0);
  EXPECT_EQ(base.set_index_fields(nullptr, 0, nullptr, 0), 0);
  EXPECT_EQ(base.get_field_type(-1), 32);
  EXPECT_EQ(base.get_field_type(2), -1);
  const char* level[] = {"name", "", "nobody"};
  EXPECT_EQ(base.add_abstract(0, 0, 3, level), -1);
  EXPECT_EQ(base.get_abstraction(0), 0u);
  EXPECT_EQ(base.get_field_hierarchy(0), 0);
  EXPECT_EQ(base.add_abstract(1, 0, 2, level), 0);
  EXPECT_EQ(base.get_abstraction(1), 1u);
  EXPECT_EQ(base.get_field_hierarchy(0), 2);
  for (const char* bad : {"", "a/b", "name"}) {
    const char* list[] = {"name", bad};
    EXPECT_THROW(DastBase(2, list, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, 0), AceException)
        << bad;
  }
  EXPECT_THROW(DastBase(65, names, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, 0), AceException);
}

TEST(DastBase, record_ranges_cover_all_ids) {
  const Table table{{{.name = "f", .type = "BASIC|CHANGING|NONE|ORIGINAL"}},
                    std::vector(9, std::vector<std::string>{"a"})};
  const TempFolder folder;
  const auto base = support::build_base(table, folder);
  Large parts[4];
  EXPECT_EQ(base->get_record_ranges(3, parts), 3);
  EXPECT_EQ(std::vector<Large>(parts, parts + 4), (std::vector<Large>{0, 3, 6, 10}));
  EXPECT_EQ(base->get_record_ranges(0, parts), -1);
}

TEST(DastOptions, modes_have_codes_and_names) {
  EXPECT_EQ(DastOptions::get_call_mode("detect7"), DastOptions::DETECT0 + 7);
  EXPECT_EQ(DastOptions::get_call_mode("detect7x"), DastOptions::DETECT0 + 7);
  for (const char* unknown : {"detectX", "--", "#", "NONE", "noop", "Exact", ""})
    EXPECT_EQ(DastOptions::get_call_mode(unknown), DastOptions::NOOP) << unknown;
  EXPECT_EQ(DastOptions::get_call_mode(nullptr), DastOptions::NOOP);
  EXPECT_EQ(DastOptions::get_call_mode("-"), DastOptions::EMPTY);
  EXPECT_EQ(DastOptions::get_call_mode("NULL"), DastOptions::EMPTY);
  EXPECT_EQ(DastOptions::get_call_from_token('#'), DastOptions::ARRAYOP);
  AceAttach at;
  const char** names = nullptr;
  ASSERT_EQ(DastOptions::get_available_modes(&names, &at), 19);
  for (int i = 0; i < 19; ++i) {
    const auto call = static_cast<DastOptions::Call>(i - 1);
    EXPECT_STREQ(names[i], DastOptions::get_call_string(call));
    if (call == DastOptions::NOOP) continue;
    EXPECT_EQ(DastOptions::get_call_mode(names[i]), call);
    EXPECT_EQ(DastOptions::get_call_from_token(DastOptions::get_mode_code(call)), call);
  }
  EXPECT_EQ(DastOptions::get_call_string(static_cast<DastOptions::Call>(18)), nullptr);
  EXPECT_EQ(DastOptions::get_alias_display("everything"), DastOptions::EVERYTHING);
  EXPECT_EQ(DastOptions::get_alias_display("nothing"), DastOptions::UNKNOWN);
}

TEST(DastStringStorage, numbers_are_sorted_by_value_and_shown_without_zeros) {
  const auto storage = DastStringStorage::create_numeric_storage(1000, 3);
  EXPECT_EQ(storage->add_entry(1, "7"), 0);
  EXPECT_EQ(storage->add_entry(2, "0042"), 0);
  EXPECT_EQ(storage->add_entry(3, "1000"), 0);
  EXPECT_EQ(storage->add_entry(3, "1023"), -1) << "stands for no number";
  EXPECT_EQ(storage->add_entry(3, "12a"), -1);
  AceAttach at;
  EXPECT_STREQ(storage->get_string(2, &at), "42");
  EXPECT_EQ(storage->get_id("42", 0, 0), 2u);
  EXPECT_EQ(storage->get_id("43", 0, 0), DastStringStorage::NONE);
  EXPECT_EQ(storage->get_id("", 0, 0), 0u);
  EXPECT_LT(storage->compare("9", "10", 0), 0);
  EXPECT_LT(storage->compare("x", "10", 0), 0);
  EXPECT_EQ(storage->compare("x", "y", 0), 0);
  EXPECT_GT(storage->compare("x", nullptr, 0), 0);
  EXPECT_EQ(storage->get_count_weight(3), 1000);
  EXPECT_EQ(storage->get_count_weight(4), -1);
}

TEST(DastBase, the_smallest_file_is_the_documented_one) {
  const Table table{{{.name = "c", .type = "ADVANCED|OPTIMIZED|NONE|ORIGINAL"},
                     {.name = "n", .type = "BASIC|CHANGING|NONE|NUMERIC"}},
                    {{"x", "5|6"}, {"x", ""}}};
  const TempFolder folder;
  const char* names[] = {"c", "n"};
  DastBase base(2, names, nullptr, nullptr, nullptr, "utf-8", 0, 0, "1", 0, 0);
  for (const auto& field : table.fields)
    base.assign(field.name.c_str(), field.type.c_str(), 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                nullptr, nullptr, nullptr, -1, AceReporter::null(), 0);
  support::write_file(folder.file("records"), table.text());
  ASSERT_EQ(base.make(folder.file("records").c_str(), "NONE", nullptr, nullptr, nullptr, AceReporter::null()),
            0);
  base.set_filename("r");
  ASSERT_GE(base.dump(folder.file("base").c_str(), AceReporter::null()), 0);
  const std::string image = support::read_file(folder.file("base"));
  EXPECT_EQ(image, support::documented_bytes(TEST_FORMATS, "Record bases (BASE6, BFLD1)"));

  // No damage may do harm: not to reading, nor to what is asked of a base that was read.
  AceReporter::clear_default();
  support::for_each_damage(image, [&](const std::string& damaged, const std::string& what) {
    DastBase read;
    try {
      if (read.read_with_magic(damaged.data(), damaged.size()) < 0) return;
      for (Large record = 0; record < 4; ++record)
        for (int field = 0; field < read.get_num_fields(); ++field) {
          AceAttach at;
          const char* value = nullptr;
          read.get_single_field(field, record, &value, &at);
          const Large* ids = nullptr;
          read.get_exact(field, value, &ids, &at, AceReporter::null());
        }
      for (int field = 0; field < read.get_num_fields(); ++field) {
        DastCountOptions options;
        options.info = DastCountOptions::INFO_RECORDS;
        options.enforceGroups = field % 2 == 0;
        TeraResult result(nullptr, 0, 3, 255);
        read.count_context(field, options, &result, nullptr, AceReporter::null());
        const Large records[] = {1, 3};
        const DastInfoList context(2, records, nullptr);
        const DastInfoListCache cache(&context);
        read.count_context(field, {}, &result, &cache, AceReporter::null());
        read.dedup_context(field, &result, &cache, AceReporter::null());
        read.widen_context(field, &result, &cache, AceReporter::null());
      }
    } catch (const AceException&) {
    } catch (const std::bad_alloc&) {
      ADD_FAILURE() << what << ": memory for what is not there";
    }
  });
  static AceReporter standard;
  standard.set_as_default();
}

}  // namespace
