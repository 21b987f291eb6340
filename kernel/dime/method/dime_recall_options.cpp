#include "dime/dime_recall_options.h"

#include "ace/ace_file.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"

void DimeRecallOptions::append(AceOptionsParser* parser) const {
  parser->add_int_option("min_value", minValue, "Minimum quality for candidate in result set");
  parser->add_int_option("max_dist", maxDist,
                         "Maximum distance from best candidate for candidate in result set");
  parser->add_int_option("num_cands", numCands, "Target number of candidates");
}

bool DimeRecallOptions::is_valid() const {
  return minValue >= 0 && minValue <= MAX_QUALITY && maxDist >= 0 && maxDist <= MAX_QUALITY &&
         numCands >= 1 && numCands <= MOST_CANDS;
}

int DimeRecallOptions::assign(const AceOptionsParser* parser) {
  const DimeRecallOptions parsed(parser->get_int_value("min_value"), parser->get_int_value("max_dist"),
                                 parser->get_int_value("num_cands"));
  if (!parsed.is_valid()) {
    AceReporter::use_default()->ev_wprintf(
        "Qualities from 0 to %d and 1 to %d candidates expected; min_value %d, max_dist %d, num_cands %d "
        "found\n",
        MAX_QUALITY, MOST_CANDS, parsed.minValue, parsed.maxDist, parsed.numCands);
    return -1;
  }
  *this = parsed;
  return 0;
}

VInt DimeRecallOptions::save(AceFile* file) const {
  file->put_int(minValue);
  file->put_int(maxDist);
  file->put_int(numCands);
  return 0;
}

VInt DimeRecallOptions::read(AceFile* file) {
  minValue = file->get_int();
  maxDist = file->get_int();
  numCands = file->get_int();
  return !file->is_short() && is_valid() ? 0 : -1;
}
