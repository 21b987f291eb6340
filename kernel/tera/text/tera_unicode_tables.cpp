#include "tera/tera_unicode_tables.h"

#include <algorithm>

#include "tera/text/tera_expand_internal.h"

int tera_table_len(const int (*table)[2]) {
  int num = 0;
  while (table[num][0] != 0 || table[num][1] != 0) ++num;
  return num;
}

int tera_table_len(const int (*table)[3]) {
  int num = 0;
  while (table[num][0] != 0 || table[num][1] != 0 || table[num][2] != 0) ++num;
  return num;
}

int tera_uni_map_search(int uni, const int (*array)[2], int num) {
  using Row = const int[2];
  const auto* row =
      std::lower_bound(array, array + num, uni, [](Row& entry, int value) { return entry[0] < value; });
  return row != array + num && (*row)[0] == uni ? (*row)[1] : 0;
}

int tera_uni_to_upper(int uni) {
  static const int num = tera_table_len(tera_lower_to_upper_map);
  return tera_uni_map_search(uni, tera_lower_to_upper_map, num);
}

int tera_uni_to_lower(int uni) {
  static const int num = tera_table_len(tera_upper_to_lower_map);
  return tera_uni_map_search(uni, tera_upper_to_lower_map, num);
}

int tera_uni_deaccentuate(int uni) {
  static const int num = tera_table_len(tera_deaccentuate_map);
  return tera_uni_map_search(uni, tera_deaccentuate_map, num);
}

int tera_expand_search(const int (*table)[3], int uni) {
  if (uni <= 0) return -1;
  for (int i = 0; table[i][0] != 0 || table[i][1] != 0 || table[i][2] != 0; ++i)
    if (table[i][0] == uni) return i;
  return -1;
}

int tera_expand_map(const int (*table)[3], int index, int* out, int table_len) {
  const auto find = [table, table_len](int uni) {
    for (int i = 0; i < table_len; ++i)
      if (table[i][0] == uni && uni > 0) return i;
    return -1;
  };
  return TeraExpansion(table, table_len, find).expand(index, out);
}
