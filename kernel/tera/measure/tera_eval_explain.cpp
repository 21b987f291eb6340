// The explanation of a quality; the formulas are in tera_eval_models.cpp.
#include "tera/tera_eval.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "ace/ace_reporter.h"

namespace {

constexpr int FINE_RED_SHIFT = 4;
constexpr int RED_MAX_FINE = 65535;

/// What an explanation is about: the quality, and the fine weights of query, match and entry.
struct Score {
  int qual;
  int query;
  int match;
  int entry;

  int longest() const { return std::max(query, entry); }
};

int to_int(VInt value) {
  return static_cast<int>(std::clamp<VInt>(value, INT_MIN, INT_MAX));
}

int fine_redundant(int weight) {
  return TeraEval::fine_redundant(weight >> FINE_RED_SHIFT);
}

int explain_errors(AceReporter* rep, const Score& s) {
  rep->printf("ERROR model to calculate final score:\n");
  if (s.query < s.entry)
    return rep->printf(
        "query length (%d) < entry length (%d) : quality (%d) = (255 * match length (%d))  / query length "
        "(%d)\n",
        s.query, s.entry, s.qual, s.match, s.query);
  const int effective = to_int(VInt{s.query} - s.entry + s.match);
  rep->printf("effective length (%d) = query length (%d) - entry length (%d) + match length (%d)\n",
              effective, s.query, s.entry, s.match);
  if (effective <= 0) return rep->printf("effective length (%d) <= 0 : quality = %d\n", effective, s.qual);
  return rep->printf("quality (%d) = 255 * effective length (%d) / query length (%d)\n", s.qual, effective,
                     s.query);
}

int explain_redundant(AceReporter* rep, const Score& s) {
  const int match = fine_redundant(s.match);
  const int longest = fine_redundant(s.longest());
  rep->printf("Redundant match length (%d) = redundant (match length (%d))\n", match, s.match);
  rep->printf(
      "Maximum redundant length (%d) = redundant(MAXIMUM(query length (%d), entry length (%d) (MAX = %d))) "
      "\n",
      longest, s.query, s.entry, s.longest());
  return rep->printf(
      "REDUNDANT model to calculate final score: quality (%d) = (255 * redundant match length (%d)) / "
      "(maximum "
      "redundant length  (%d)))\n",
      s.qual, match, longest);
}

int explain_partial(AceReporter* rep, const Score& s) {
  const int entryReduction = TeraEval::strong_reduction(s.entry / TeraEval::FINE_UNIT);
  const int queryReduction = TeraEval::strong_reduction(s.query / TeraEval::FINE_UNIT);
  rep->printf(
      "PARTIAL model to calculate final score. Strong reduction 4 points for x <= 8 and up to a maximum of "
      "128.\n");
  rep->printf("Entry reduction (%d): strong reduction (entry length (%d) / 255)\n", entryReduction, s.entry);
  rep->printf("Query reduction (%d): strong reduction (query length (%d) / 255)\n", queryReduction, s.query);
  if (s.query <= s.entry)
    rep->printf(
        "Quality (%d) = (255 - entry reduction (%d)) * match length (%d) / query length (%d) + query "
        "reduction(%d)\n",
        s.qual, entryReduction, s.match, s.query, queryReduction);
  else
    rep->printf(
        "Quality (%d) = (255 - query reduction (%d)) * match length (%d) / entry length (%d) + entry "
        "reduction(%d)\n",
        s.qual, queryReduction, s.match, s.entry, entryReduction);
  const VInt shorter = std::min(s.query, s.entry);
  const int shortReduction = s.query <= s.entry ? queryReduction : entryReduction;
  const int longReduction = s.query <= s.entry ? entryReduction : queryReduction;
  const bool isReduced =
      shorter != 0 && s.qual == TeraEval::PERFECT - 1 &&
      shortReduction + (TeraEval::PERFECT - longReduction) * VInt{s.match} / shorter >= TeraEval::PERFECT;
  if (!isReduced) return 0;
  return rep->printf("Reduced final quality to 254 to indicate it is not a perfect hit\n");
}

int explain_bias(AceReporter* rep, const Score& s, bool swap) {
  const char* name = swap ? "query" : "entry";
  const int length = swap ? s.query : s.entry;
  const int reduced = length > RED_MAX_FINE ? 255 : length / 256;
  rep->printf(swap ? "SWAP BIAS model to calculate final score\n" : "BIAS model to calculate final score\n");
  rep->printf("reduced length (%d) = %s length (%d) / 256\n", reduced, name, length);
  rep->printf("Bias length (%d) for reduced %s length (%d)\n", TeraEval::get_length_bias(reduced), name,
              reduced);
  const int original = s.longest() != 0 ? to_int(255L * s.match / s.longest()) : 0;
  return rep->printf(
      "original length (%d) = 255 * match_weight (%d) / (MAXIMUM(query length (%d), entry length (%d)) (MAX "
      "= %d) "
      ")\n",
      original, s.match, s.query, s.entry, s.longest());
}

int explain_var(AceReporter* rep, const Score& s) {
  Score redundant = s;
  while (std::max({redundant.query, redundant.match, redundant.entry}) > RED_MAX_FINE) {
    redundant.query >>= 8;
    redundant.match >>= 8;
    redundant.entry >>= 8;
  }
  redundant.query = fine_redundant(redundant.query);
  redundant.match = fine_redundant(redundant.match);
  redundant.entry = fine_redundant(redundant.entry);
  rep->printf("VAR model to calculate final score\n");
  rep->printf("Redundant query length (%d) = redundant (query length (%d))\n", redundant.query, s.query);
  rep->printf("Redundant entry length (%d) = redundant (entry length (%d))\n", redundant.entry, s.entry);
  rep->printf("Final score calculated by the internal model of the redundant lengths:\n");
  return TeraEval::print_fine_eval_model(TeraEval::get_var_model(), rep, s.qual, redundant.query,
                                         redundant.match, redundant.entry);
}

// Models of one length: of the query, or of the entry.
int explain_one_length(TeraEval::Model model, AceReporter* rep, const Score& s) {
  switch (model) {
    case TeraEval::QUERY:
      return rep->printf(
          "QUERY model to calculate final score: quality (%d) = (255 * match length (%d))  / query length "
          "(%d)\n",
          s.qual, s.match, s.query);
    case TeraEval::QUERY_RAW:
      return rep->printf(
          "QUERY RAW model to calculate final score: quality (%d) = 255 - (query length (%d) + match length "
          "(%d)) "
          "/ 255\n",
          s.qual, s.query, s.match);
    case TeraEval::SHORT: {
      rep->printf(
          "SHORT model to calculate final score: quality (%d) = (255 * match length (%d))  / query length "
          "(%d) - "
          "length reduction ((entry length (%d) - match_length (%d)) / 255)\n",
          s.qual, s.match, s.query, s.entry, s.match);
      const int diff = static_cast<int>((VInt{s.entry} - s.match) / TeraEval::FINE_UNIT);
      return rep->printf(
          "Length reduction (x = %d) = %d => x for x <= 8 decreasing cost for x > 8 to a maximum of 48.\n",
          diff, TeraEval::length_reduction(diff));
    }
    case TeraEval::LONG: {
      const int diff = static_cast<int>((VInt{s.query} - s.match) / TeraEval::FINE_UNIT);
      rep->printf(
          "LONG model to calculate final score: quality (%d) = (255 * match length(%d))  / entry length(%d) "
          "- "
          "length reduction (%d) ((query length (%d) - match_length(%d)) / 255)\n",
          s.qual, s.match, s.entry, TeraEval::length_reduction(diff), s.query, s.match);
      return rep->printf(
          "Length reduction (x = %d) = %d => x for x <= 8 decreasing cost for x > 8 to a maximum of 48.\n",
          diff, TeraEval::length_reduction(diff));
    }
    case TeraEval::ENTRY:
      return rep->printf(
          "ENTRY model to calculate final score: quality (%d) = (255 * match length(%d))  / entry length "
          "(%d)\n",
          s.qual, s.match, s.entry);
    case TeraEval::ENTRY_RAW:
      return rep->printf(
          "ENTRY_RAW model to calculate final score: quality(%d) = 255 - (entry length(%d) + match "
          "length(%d)) / "
          "255\n",
          s.qual, s.entry, s.match);
    default:
      return -1;
  }
}

// Models of both lengths.
int explain_both_lengths(TeraEval::Model model, AceReporter* rep, const Score& s) {
  switch (model) {
    case TeraEval::EM_QUERY:
      return rep->printf(
          "EM_QUERY model to calculate final score: quality (%d) = (255 * 8 * match length (%d))  / (7 * "
          "query "
          "length(%d) + entry length (%d))\n",
          s.qual, s.match, s.query, s.entry);
    case TeraEval::MEAN:
      return rep->printf(
          "MEAN model to calculate final score: quality (%d) = (255 * 2 * match length (%d))  / (query "
          "length (%d) "
          "+ entry length (%d))\n",
          s.qual, s.match, s.query, s.entry);
    case TeraEval::EM_ENTRY:
      return rep->printf(
          "EM_ENTRY model to calculate final score: quality (%d) = (255 * 8 * match length (%d))  / (7 * "
          "query "
          "length (%d) + entry length (%d))\n",
          s.qual, s.match, s.query, s.entry);
    case TeraEval::UNION:
      return rep->printf(
          "UNION model to calculate final score: quality (%d) = (255 * match length(%d))  / (query length "
          "(%d) + "
          "entry length (%d) - match length (%d))\n",
          s.qual, s.match, s.query, s.entry, s.match);
    case TeraEval::MAXIMUM:
      return rep->printf(
          "MAXIMUM model to calculate final score: quality (%d) = (255 * match length (%d))  / MAXIMUM(query "
          "length(%d), entry length(%d)) (MAX = %d)\n",
          s.qual, s.match, s.query, s.entry, s.longest());
    case TeraEval::MINIMUM:
      return rep->printf(
          "MINIMUM model to calculate final score: quality (%d) = (255 * match length (%d))  / MINIMUM(query "
          "length (%d), entry length (%d)) (MIN = %d)\n",
          s.qual, s.match, s.query, s.entry, std::min(s.query, s.entry));
    case TeraEval::PRODUCT:
      return rep->printf(
          "PRODUCT model to calculate final score: quality (%d) = (255 * match length (%d) * match length "
          "(%d))  / "
          "(query length (%d) * entry length (%d))\n",
          s.qual, s.match, s.match, s.query, s.entry);
    case TeraEval::GEO:
      return rep->printf(
          "GEO model to calculate final score: quality (%d) = (255 * match length(%d))  / square root(query "
          "length "
          "(%d) * entry length(%d)) (square root = %.2f)\n",
          s.qual, s.match, s.query, s.entry, std::sqrt(static_cast<double>(s.query) * s.entry));
    case TeraEval::RAW:
      return rep->printf(
          "RAW model to calculate final score: quality (%d) = 255 - (MAXIMUM(query length (%d), entry length "
          "(%d)) "
          "(MAX = %d) - match length (%d)) / 255\n",
          s.qual, s.query, s.entry, s.longest(), s.match);
    default:
      return -1;
  }
}

}  // namespace

int TeraEval::print_fine_eval_model(Model model, AceReporter* rep, int qual, int query_weight,
                                    int match_weight, int entry_weight) {
  const Score s{qual, query_weight, match_weight, entry_weight};
  switch (model) {
    case QUERY:
    case QUERY_RAW:
    case SHORT:
    case LONG:
    case ENTRY:
    case ENTRY_RAW:
      return explain_one_length(model, rep, s);
    case EM_QUERY:
    case MEAN:
    case EM_ENTRY:
    case UNION:
    case MAXIMUM:
    case MINIMUM:
    case PRODUCT:
    case GEO:
    case RAW:
      return explain_both_lengths(model, rep, s);
    case ERRORS:
      return explain_errors(rep, s);
    case REDUNDANT:
      return explain_redundant(rep, s);
    case PARTIAL:
      return explain_partial(rep, s);
    case BIAS:
    case SWAP_BIAS:
      return explain_bias(rep, s, model == SWAP_BIAS);
    case VAR:
      return explain_var(rep, s);
    case UNKNOWN:
    case NUM_MODELS:
    case CUSTOM_MODEL:
      break;
  }
  return rep->printf("Unknown or user specified model used to calculate final score.\n");
}
