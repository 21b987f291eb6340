#include "tera/tera_alias_reader.h"

#include <charconv>
#include <cstring>
#include <string_view>

#include "ace/ace_error.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_split.h"
#include "tera/store/tera_read_error_internal.h"
#include "tera/tera_map.h"

namespace {

constexpr int FILE_BUFFER = 10000;
constexpr char MEMBER_SIGN = '|';
constexpr int MAX_FIELDS = 3;

template <class T>
void put(T* place, T value) {
  if (place != nullptr) *place = value;
}

}  // namespace

int TeraAliasReader::add_to_tree(TeraBigTree<AceBulk::List*>* tree, AceReporter* rep) {
  return for_each_string([tree](const char* string) { tree->insert(string); }, rep);
}

int TeraAliasReader::for_each_string(const std::function<void(const char*)>& use, AceReporter* rep) {
  const char* target = nullptr;
  const char* alias = nullptr;
  int count = 0;
  int rc = 0;
  for (; (rc = read_entry(&target, &alias, nullptr, nullptr)) > 0; ++count) {
    if (target != nullptr) use(target);
    use(alias);
  }
  if (rc < 0)
    return ace_error(__FILE__, __LINE__, "read_entry(&target, &alias, nullptr, nullptr)", rc, 0, -1);
  rep->printf("%d alias pairs read\n", count);
  return count;
}

TeraAliasFileReader::TeraAliasFileReader(AceReader* input, TeraMap* map, int normalize)
    : itsInput(input), teraMap(map), isNormalized(normalize != 0) {}

TeraAliasFileReader::TeraAliasFileReader(const char* filename)
    : ownInput(std::make_unique<AceInput>(filename, FILE_BUFFER, false)), itsInput(ownInput.get()) {}

TeraAliasFileReader::~TeraAliasFileReader() = default;

int TeraAliasFileReader::read_entry(const char** target, const char** alias, int* penalty, VInt* line) {
  while (nextPair == targets.size() * aliases.size()) {
    if (lastResult <= 0) return lastResult;
    lastResult = read_group(penalty != nullptr);
  }
  put(target, targets[nextPair % targets.size()]);
  put(alias, aliases[nextPair / targets.size()]);
  put(penalty, curPenalty);
  put(line, curLine);
  ++nextPair;
  return 1;
}

int TeraAliasFileReader::rewind() {
  targets.clear();
  aliases.clear();
  nextPair = 0;
  lastResult = 1;
  return itsInput->rewind() < 0 ? -1 : 0;
}

/// Reads the next line. Returns 1, 0 at the end, -1 for a line that cannot be read.
int TeraAliasFileReader::read_group(bool with_penalty) {
  targets.clear();
  aliases.clear();
  nextPair = 0;
  curPenalty = 0;
  const char* text = nullptr;
  if (itsInput->read_line(&text, &curLine) < 0 || text == nullptr)
    return check_read(*itsInput, "alias file", curLine + 1);
  memAt.release();
  char* fields[MAX_FIELDS + 1];
  const int count = strsplit(memAt.attach(text), '\t', fields, MAX_FIELDS + 1);
  if (count > MAX_FIELDS) return refuse("it has more than three fields", text);
  if (count == MAX_FIELDS && with_penalty) {
    const std::string_view digits(fields[1]);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), curPenalty);
    if (error != std::errc() || *end != '\0') return refuse("its penalty is no number", text);
  }
  read_members(fields[count - 1], &aliases);
  if (count > 1)
    read_members(fields[0], &targets);
  else
    targets.push_back(nullptr);
  return 1;
}

void TeraAliasFileReader::read_members(char* list, std::vector<const char*>* members) {
  char* fields[MAX_MEMBERS + 1];
  int count = strsplit(list, MEMBER_SIGN, fields, MAX_MEMBERS + 1);
  if (count > MAX_MEMBERS) {
    AceReporter::use_default()->ev_wprintf(
        "Line %ld of the aliases has a list of more than %d: '%s' and what follows is dropped", curLine,
        MAX_MEMBERS, fields[MAX_MEMBERS]);
    count = MAX_MEMBERS;
  }
  for (int i = 0; i < count; ++i) {
    const char* member = fields[i];
    if (teraMap != nullptr && isNormalized)
      member = teraMap->normalize(member, true, &memAt);
    else if (teraMap != nullptr)
      member = reinterpret_cast<const char*>(teraMap->convert(member, true, &memAt));
    if (*member != '\0') members->push_back(member);
  }
}

int TeraAliasFileReader::refuse(const char* reason, const char* text) {
  AceReporter::use_default()->printf("Error reading alias file, line %ld: %s: %s\n", curLine, reason, text);
  return -1;
}
