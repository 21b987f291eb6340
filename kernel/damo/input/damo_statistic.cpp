#include "damo/damo_statistic.h"

#include <algorithm>

DamoStatistic::DamoStatistic(int is_utf, int sep_char, int num_fields, const char* const* field_names)
    : isUtf(is_utf),
      sepChar(sep_char),
      numFields(std::max(num_fields, 0)),
      fieldNames(memAt.attach_arr(field_names, numFields, nullptr)) {}
