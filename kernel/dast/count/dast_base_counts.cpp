// What a base and its fields count.
#include "ace/ace_reporter.h"
#include "dast/dast_base.h"
#include "dast/dast_count.h"
#include "dast/dast_info_list_cache.h"
#include "tera/tera_result.h"

namespace {

const DastInfoList* records_of(const DastInfoListCache* context) {
  return context != nullptr ? context->get_full_list() : nullptr;
}

}  // namespace

DastCount DastBase::make_count(int field, const DastCountOptions& options,
                               const DastInfoListCache* context) const {
  return {has_field(field) ? get_field(field) : nullptr,
          records_of(context),
          numRecords,
          is_utf(),
          options,
          has_field(options.relFieldID) ? get_field(options.relFieldID) : nullptr};
}

int DastBase::count_context(int field, const DastCountOptions& options, TeraResult* result,
                            const DastInfoListCache* context, AceReporter* rep) const {
  return make_count(field, options, context).count_context(result, rep);
}

int DastBase::cross_count(int num_fields, const int* fields, const DastCountOptions& options,
                          TeraResult* const* results, const DastInfoListCache* context,
                          AceReporter* rep) const {
  for (int i = 0; i < num_fields; ++i)
    if (count_context(fields[i], options, results[i], context, rep) < 0) return -1;
  return 0;
}

VInt DastBase::dedup_context(int field, TeraResult* result, const DastInfoListCache* context,
                             AceReporter* rep) const {
  return make_count(field, {}, context).dedup_context(result, rep);
}

VInt DastBase::widen_context(int field, TeraResult* result, const DastInfoListCache* context,
                             AceReporter* rep) const {
  return make_count(field, {}, context).widen_context(result, rep);
}
