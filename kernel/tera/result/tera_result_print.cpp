// How results print themselves.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>

#include "ace/ace_reporter.h"
#include "tera/result/tera_result_internal.h"
#include "tera/tera_index.h"

namespace {

/// Attribute numbers shown of a candidate.
constexpr Large MAX_SHOWN = 20;

const char* name_of(bool value) {
  return value ? "true" : "false";
}

/// A line that is delivered in one piece, however long its strings are.
class Line {
 public:
  __attribute__((format(printf, 2, 3))) void add(const char* format, ...) {
    va_list args;
    va_list again;
    va_start(args, format);
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    if (length > 0) {
      const std::size_t before = lineText.size();
      lineText.resize(before + static_cast<std::size_t>(length));
      std::vsnprintf(lineText.data() + before, static_cast<std::size_t>(length) + 1, format, again);
    }
    va_end(again);
  }
  void write(AceReporter* rep) {
    rep->print(lineText.c_str());
    lineText.clear();
  }

 private:
  std::string lineText;
};

/// The position of the first attribute number that is none, or not above the one before it; -1 for none.
int error_position(const TeraCand& cand) {
  const Large* infos = cand.get_infos();
  const Large num = cand.get_num_infos();
  for (Large i = 0; i < num; ++i)
    if (infos[i] == TeraCand::NO_INFO || (i > 0 && infos[i] <= infos[i - 1])) return static_cast<int>(i);
  return -1;
}

/// Of a collection, which is known by its size, none are listed.
void add_infos(const TeraCand& cand, Line* line) {
  const Large num = cand.get_num_infos();
  line->add(" num=%i infos=", static_cast<int>(num));
  if (cand.is(TeraCand::COLLECTION)) {
    line->add("...");
    return;
  }
  for (Large i = 0; i < std::min(num, MAX_SHOWN); ++i) line->add(i > 0 ? ",%u" : "%u", cand.get_info(i));
  if (num > MAX_SHOWN) line->add(",...");
}

class TaggedWriter {
 public:
  explicit TaggedWriter(AceReporter* rep) : reporter(rep) {}

  void write_head(const TeraResult& result, const char* source) {
    line.add("<result");
    if (source != nullptr) line.add(" source=\"%s\"", source);
    if (result.get_string() != nullptr)
      line.add(" query=\"%s\"", result.get_string());
    else
      line.add(" query=NULL");
    line.add(" min_value=%i max_dist=%i num_cands=%i", result.get_min_value(), result.get_max_dist(),
             result.get_num_cands());
    line.add(" is_artificial=%s is_unreliable=%s", name_of(result.is_artificial_cands()),
             name_of(result.is_unreliable()));
    line.add(">\n");
    line.write(reporter);
  }
  void write_group(const TeraCandGroup& group) {
    line.add("\t<group qual=%i num=%i>\n", group.get_value(), group.get_num_cands());
    line.write(reporter);
    numInvalid = 0;
    for (const TeraCand* cand = group.get_first_cand(); cand != nullptr; cand = cand->get_next())
      write_cand(*cand);
    if (numInvalid > 0) line.add("\t\t<errors num_invalid_infos=%i />\n", numInvalid);
    line.add("\t</group>\n");
    line.write(reporter);
  }
  void write_end() {
    if (numNoString > 0 || numNoInfos > 0)
      line.add("\t\t<warnings num_no_string=%i num_no_infos=%i />\n", numNoString, numNoInfos);
    line.add("</result>\n");
    line.write(reporter);
  }

 private:
  void write_cand(const TeraCand& cand) {
    const bool isNull = cand.is(TeraCand::NULL_CAND);
    if (!isNull && cand.get_string() == nullptr) ++numNoString;
    if (cand.get_num_infos() == 0) ++numNoInfos;
    const int error = error_position(cand);
    line.add("\t\t<cand string=\"%s\"", isNull ? "NULL" : cand.represent());
    line.add(" infos_ok=%s", name_of(error < 0));
    if (error >= 0) {
      ++numInvalid;
      line.add(" error_pos=%i", error);
    }
    add_infos(cand, &line);
    line.add(" />\n");
    line.write(reporter);
  }

  AceReporter* reporter;
  Line line;
  int numInvalid = 0;
  int numNoString = 0;
  int numNoInfos = 0;
};

}  // namespace

int TeraResult::print(AceReporter* rep, const char* source) const {
  if (is_null(rep)) return -1;
  TaggedWriter writer(rep);
  writer.write_head(*this, source);
  for (const TeraCandGroup* group = candGroups; group != nullptr; group = group->nextGroup)
    writer.write_group(*group);
  writer.write_end();
  return 0;
}

int TeraResult::print(const TeraIndex* strings) const {
  AceReporter* rep = AceReporter::use_default();
  rep->printf("Query: `%s'\n", queryString != nullptr ? queryString.get() : TeraCand::UNDEFINED);
  AceAttach at;
  int position = 0;
  for_each([&](int value, const TeraCand* cand) {
    const char* string = cand->represent();
    ++position;
    if (cand->is(TeraCand::RESOLVED) && cand->get_num_infos() > 0) {
      for (Large i = 0; i < cand->get_num_infos(); ++i)
        rep->printf("%4d: Info:%08x Qual:%3d String:`%s'\n", position, cand->get_info(i), value, string);
      return;
    }
    const bool isKnown = strings != nullptr && cand->get_entry() != TeraCand::NO_ENTRY;
    const char* info = isKnown ? strings->get_line(static_cast<Large>(cand->get_entry()), &at) : nullptr;
    rep->printf("%4d: Qual:%3d String:`%s' Info:`%s'\n", position, value, string,
                info != nullptr ? info : "");
  });
  return 0;
}
