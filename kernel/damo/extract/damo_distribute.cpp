#include "damo/damo_distribute.h"

#include <algorithm>
#include <optional>

#include "ace/ace_attach.h"
#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"
#include "damo/damo_input.h"
#include "damo/damo_statistic.h"
#include "damo/extract/damo_extract_internal.h"

namespace {

constexpr int RECORDS_PER_FLUSH = 10000;
constexpr const char* PROGRESS = "Distributing data";

void open_output(const std::string& name, AceReporter* rep, std::optional<DamoOutput>* out) {
  try {
    out->emplace(name.c_str());
  } catch (const AceException&) {
    rep->printf("Cannot open output file for writing. Filename: %s", name.c_str());
    throw;
  }
}

void write_record(const DamoInput& input, int num_fields, DamoLineBreaks* breaks, DamoOutput* out,
                  AceAttach* at) {
  if (input.is_delete()) out->write("<del>\t");
  for (int i = 0; i < num_fields; ++i) {
    char* const value = at->attach(input.get_field(i) != nullptr ? input.get_field(i) : "");
    breaks->clean_value(value);
    if (i > 0) out->put('\t');
    out->write(value);
  }
  out->put('\n');
}

}  // namespace

DamoDistribute::DamoDistribute(DamoInput** inputs, int num_inputs, const char* output, int num_fields)
    : inputSources(inputs, inputs + (inputs != nullptr ? std::max(num_inputs, 0) : 0)),
      outputFilename(output != nullptr ? output : ""),
      numFields(num_fields) {}

int DamoDistribute::process(AceReporter* rep) {
  static const AceTraceFlag trace("DAMO_DISTRIBUTE", __FILE__, __LINE__);
  static const AceTraceFlag flush("DAMO_FLUSH", __FILE__, __LINE__);
  if (rep == nullptr) rep = AceReporter::use_default();
  std::optional<DamoOutput> out;
  open_output(outputFilename, rep, &out);
  rep->printf("Distributing to output file '%s'", outputFilename.c_str());
  rep->pstart(static_cast<Huge>(inputSources.size()), PROGRESS);
  DamoLineBreaks breaks;
  AceAttach at;
  int numRecords = 0;
  for (DamoInput* input : inputSources) {
    if (input == nullptr) continue;
    rep->printf("Processing source '%s'", input->get_source_name());
    VInt line = 0;
    for (int size; (size = input->read_line(&line, 0)) != DamoInput::AT_END;) {
      if (size == DamoInput::UNREADABLE)
        throw AceException("Cannot read source", "'%s', behind record %ld", input->get_source_name(), line);
      const int found = size == DamoInput::REJECTED ? input->get_error_num_fields() : input->get_num_fields();
      if (size == DamoInput::REJECTED || found != numFields) {
        rep->printf("Wrong number of fields in input source line. Input: %d, Line: %ld, Number of fields: %d",
                    static_cast<int>(std::find(inputSources.begin(), inputSources.end(), input) -
                                     inputSources.begin()),
                    line, found);
        continue;
      }
      write_record(*input, numFields, &breaks, &*out, &at);
      if (outputStatistic != nullptr && !input->is_delete()) {
        const char** fields = nullptr;
        const int n = input->get_fields(&fields, &at);
        outputStatistic->add_fields(fields, n);
      }
      at.release();
      if (trace.get() != 0) rep->printf("Distributed record %ld of '%s'", line, input->get_source_name());
      if (++numRecords % RECORDS_PER_FLUSH == 0 && flush.get() != 0) out->flush();
    }
    rep->pstep(1, PROGRESS);
  }
  rep->pstop(PROGRESS);
  rep->printf("Distributed %i records to output file '%s'", numRecords, outputFilename.c_str());
  if (breaks.get_count() > 0)
    rep->ev_wprintf("%ld values had line ends or TABs, which became blanks", breaks.get_count());
  rep->printf("Closing output file");
  out->commit();
  return numRecords;
}
