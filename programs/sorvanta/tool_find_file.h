/// A whole file asked, record by record.
#pragma once

#include <string>
#include <vector>

#include "sorvanta/tool_form_query.h"

struct FileQuery {
  std::string name;
  std::string output;                // "": standard output
  std::vector<std::string> columns;  // "field=NAME"
  int numThreads = 0;                // 0: all processors
};

/// Writes a row for each record found, in the order of the file, with the number of its line in front; and
/// one without quality where nothing is found. Returns an `ExitCode`.
///
/// To a file: what is written stands in "<file>.part" and takes its place when it is whole; "<file>.resume"
/// says how far it is. The same command goes on from there, if base and file are still the same.
int find_file(Target* target, const FileQuery& query, const QueryLimits& limits, OutputForm form);
