#include "damo/damo_field.h"

#include <gtest/gtest.h>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "tera/tera_transform.h"

namespace {

using Values = std::vector<std::string>;

/// Puts "<>" around a text, has none for "drop", and counts its calls.
struct Marking : TeraTransform {
  using TeraTransform::code;
  char* code(const char* text, AceAttach* at) const override {
    ++numCalls;
    return std::string(text) == "drop" ? nullptr : at->attach(("<" + std::string(text) + ">").c_str());
  }
  VInt read(AceFile*) override { return -1; }
  VInt save(AceFile*) const override { return -1; }
  int magic() const override { return 0; }
  TeraTransform* make(const char*, const char*) const override { return nullptr; }
  TeraTransform* copy() const override { return nullptr; }

  mutable int numCalls = 0;
};

Values values_of(DamoField* field, std::vector<const char*> record) {
  AceAttach at;
  char** values = nullptr;
  const int count = field->transform(record.data(), static_cast<int>(record.size()), &values, &at);
  EXPECT_EQ(values == nullptr, count == 0);
  return Values(values, values + count);
}

}  // namespace

TEST(DamoField, takes_the_repeated_values_of_its_source_through_the_transforms) {
  DamoField field("city");
  EXPECT_EQ(values_of(&field, {}), Values{""});
  field.set_source(1);
  EXPECT_EQ(values_of(&field, {"x", "a\t\tb"}), (Values{"a", "", "b"}));
  EXPECT_EQ(values_of(&field, {"x", nullptr}), Values{""});
  EXPECT_THROW(values_of(&field, {"x"}), AceException);

  Marking normal;
  Marking counted;
  field.set_transform(&normal);
  field.set_statistic(&counted);
  field.set_field_sep(';');
  EXPECT_EQ(values_of(&field, {"x", "a;drop;a\n"}), (Values{"<a>", "<a\n>"}));
  EXPECT_EQ(counted.numCalls, 3);
  EXPECT_EQ(values_of(&field, {"x", "drop"}), Values{});

  normal.numCalls = 0;
  field.set_use_cache();
  field.set_use_control();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(values_of(&field, {"x", "a;drop;a\n"}), (Values{"<a>", "<a >"}));
  EXPECT_EQ(normal.numCalls, 3);
  EXPECT_EQ(counted.numCalls, 3 + 1 + 9);
}

TEST(DamoField, combines_subfields_row_by_row_and_has_none_where_one_has_none) {
  Marking normal;
  DamoField name("name");
  DamoField last("last");
  DamoField first("first");
  last.set_source(0);
  first.set_source(1);
  name.set_concat(", ");
  EXPECT_EQ(name.add_subfield(&last), 0);
  EXPECT_EQ(name.add_subfield(&first), 0);
  EXPECT_EQ(values_of(&name, {"Smith", "Ann\tBea\tCat"}), (Values{"Smith, Ann", "Smith, Bea", "Smith, Cat"}));
  EXPECT_EQ(values_of(&name, {"Smith\tBrown", "Ann\tBea\tCat"}),
            (Values{"Smith, Ann", "Brown, Bea", "Brown, Cat"}));
  first.set_transform(&normal);
  EXPECT_EQ(values_of(&name, {"Smith", "drop"}), Values{});
  name.set_transform(&normal);
  EXPECT_EQ(values_of(&name, {"Smith", "Ann"}), Values{"<Smith, <Ann>>"});
}

TEST(DamoField, refuses_cycles_too_many_subfields_and_rows_without_measure) {
  AceReporter::clear_default();
  DamoField outer("outer");
  DamoField inner("inner");
  EXPECT_EQ(outer.add_subfield(&outer), -1);
  EXPECT_EQ(outer.add_subfield(nullptr), -1);
  EXPECT_EQ(outer.add_subfield(&inner), 0);
  EXPECT_EQ(inner.add_subfield(&outer), -1);
  for (int i = 1; i < DamoField::MAX_SUBFIELDS; ++i) EXPECT_EQ(outer.add_subfield(&inner), 0);
  EXPECT_EQ(outer.add_subfield(&inner), -1);

  DamoField sides("sides");
  DamoField repeats("repeats");
  DamoField text("text");
  repeats.set_source(0);
  text.set_source(1);
  sides.add_subfield(&repeats);
  sides.add_subfield(&text);
  const std::string tabs(100'000, '\t');
  const std::string longText(100'000, 'x');
  EXPECT_EQ(values_of(&sides, {tabs.c_str(), "x"}).size(), 100'001u);
  EXPECT_THROW(values_of(&sides, {tabs.c_str(), longText.c_str()}), AceException);
}
