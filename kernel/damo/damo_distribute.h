/// Merges the records of several inputs, of any kinds, into one file.
///
///     DamoInput* inputs[] = {people.get(), customers.get()};
///     DamoDistribute all(inputs, 2, "all.txt", 3);
///     all.process(rep);
///
/// Records are written in the order of the inputs, with TABs in between; a deletion keeps its "<del>". A bad
/// record is reported and left out. Line ends and TABs in values become blanks, counted and reported once.
///
/// Ownership: inputs and statistic are the caller's. Errors: `AceException` for an input or output that
/// fails; the output appears whole or not at all. Thread safety: as its inputs.
#pragma once

#include <string>
#include <vector>

#include "ace/ace_types.h"

class AceReporter;
class DamoInput;
class DamoStatistic;

class SORV_API DamoDistribute {
 public:
  /// The array is copied. `num_fields` of every record.
  DamoDistribute(DamoInput** inputs, int num_inputs, const char* output, int num_fields);
  /// What receives the records written, deletions apart; null for nothing.
  void set_statistic(DamoStatistic* statistic) { outputStatistic = statistic; }
  /// Returns the number of records written.
  int process(AceReporter* rep);

 private:
  std::vector<DamoInput*> inputSources;
  std::string outputFilename;
  int numFields;
  DamoStatistic* outputStatistic = nullptr;
};
