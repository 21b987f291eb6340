/// A small base that is built once in a program.
#pragma once

#include "support/record_bases.h"

inline DastBase* people() {
  static DastBase* const base = [] {
    support::Table table;
    for (const char* name : {"surname", "city", "id"}) {
      support::FieldPlan plan;
      plan.name = name;
      plan.type =
          table.fields.size() == 2 ? "BASIC|CHANGING|FULL|ORIGINAL" : "ADVANCED|CHANGING|FULL|ORIGINAL";
      plan.indexEmpty = table.fields.size() == 1;
      table.fields.push_back(plan);
    }
    table.records = {
        {"mayer", "bern", "1"}, {"mayr|maier", "basel", "2"},  {"huber", "bern", "3"}, {"", "zug", "4"},
        {"meyer", "", "5"},     {"hubert", "basel|bale", "6"}, {"mayer", "zug", "7"},  {"moser", "bern", "8"},
        {"", "", "9"},          {"van der mayer", "thun", "2"}};
    const support::TempFolder folder;
    return support::build_base(table, folder).release();
  }();
  return base;
}
