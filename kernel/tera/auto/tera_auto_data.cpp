#include "tera/tera_auto_data.h"

#include <cstring>

#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_read_or_clean.h"
#include "ace/ace_reporter.h"
#include "tera/tera_scan.h"
#include "tera/tera_utf.h"

namespace {

constexpr int ARRAY_ALIGNMENT = 8;
constexpr Large MAX_LOAD = 100;
constexpr Large LINES_AHEAD = 8;

}  // namespace

TeraAutoDataInterface::~TeraAutoDataInterface() = default;

Large TeraAutoDataInterface::get_path_index(const char* string) const {
  return string != nullptr ? get_internal_id(TeraAutoData::START, 0, string) : 0;
}

// ---------------------------------------------------------------- numbers and strings
// The paths left of a string's own are counted on its way: their number is its place in the list.

Large TeraAutoData::extra_count(const TeraAutoTrans& slot) const {
  const Large at =
      extraLimit == SMALL_LIMIT ? static_cast<Large>(&slot - transArray) : slot.hashIndex - extraLimit;
  return at < numExtra ? extraArray[at] : 0;
}

Large TeraAutoData::token_path_index(const Token* tokens) const {
  if (arrSize == 0 || tokens == nullptr || *tokens == 0) return 0;
  Large state = START;
  Large index = 0;
  for (; *tokens != 0; ++tokens) {
    state = next(state, *tokens, &index);
    if (!is_state(state)) return 0;
  }
  return is_accepting(state) && index < numPaths ? index : 0;
}

Large TeraAutoData::get_internal_id(Large state, Large index, const char* rest) const {
  if (!is_state(state) || rest == nullptr || mapConfigRef == nullptr) return 0;
  TeraScan scan(mapConfigRef, rest, true);
  while (const Token token = scan.get_next_token(0)) {
    state = next(state, token, &index);
    if (!is_state(state)) return 0;
  }
  return is_accepting(state) && index < numPaths ? index : 0;
}

/// The last transition with at most `limit` paths before it. False when there is none.
bool TeraAutoData::last_transition(Large state, Large limit, Token* token, Large* count,
                                   Large* target) const {
  if (state >= arrSize) {
    *token = next_of_chain(&state);
    *count = 0;
    *target = state;
    return *token != 0;
  }
  const VInt base = get_base(state);
  const TeraAutoTrans* slot = transArray + state;
  const TeraAutoTrans* found = nullptr;
  // Where each next one is, only the one before says: what lies behind is fetched side by side.
  constexpr Large LINE = 64 / sizeof(TeraAutoTrans);
  for (Large line = 1; line <= LINES_AHEAD && slot->nextToken != 0 && state + line * LINE < arrSize; ++line)
    __builtin_prefetch(slot + line * LINE);
  for (Token following = slot->transToken;;) {
    if (following != 0) {
      const Large before = count_of(*slot);
      if (before > limit) break;
      found = slot;
      *token = following;
      *count = before;
    }
    const Token next = slot->nextToken;
    const VInt place = base + next;
    if (next <= following || place < 0 || place >= VInt{arrSize}) break;
    slot = transArray + place;
    following = next;
  }
  if (found != nullptr) *target = found->nextState;
  return found != nullptr;
}

int TeraAutoData::get_tokens(Large index, Token* out) const {
  if (index >= numPaths) return -1;
  Large state = START;
  int length = 0;
  while (!(is_accepting(state) && index == 0)) {
    Large before = 0;
    if (length == longestPath || !last_transition(state, index, out + length, &before, &state)) return -1;
    if (!is_state(state)) return -1;
    index -= before;
    ++length;
  }
  out[length] = 0;
  return length;
}

/// One pass, where `convert_reverse` takes two.
char* TeraAutoData::text_of(const Token* tokens, AceAttach* at) const {
  char text[TeraUtf::MAX_SIZE * MAX_TOKENS];
  char* end = text;
  for (; *tokens != 0; ++tokens) end += mapConfigRef->token2utf(*tokens, end);
  return at->attach(text, end - text);
}

const char* TeraAutoData::get_literal_string(int index, AceAttach* at) const {
  Token tokens[MAX_TOKENS + 1];
  if (index < 0 || mapConfigRef == nullptr || get_tokens(static_cast<Large>(index), tokens) < 0)
    return nullptr;
  return text_of(tokens, at);
}

Large TeraAutoData::count_paths(Large state) const {
  Large paths = 0;
  for (int length = 0; length <= longestPath; ++length) {
    Token token = 0;
    Large before = 0;
    const bool accepts = is_accepting(state);
    if (!last_transition(state, NOWHERE, &token, &before, &state)) return paths + (accepts ? 1 : 0);
    paths += before;
    if (!is_state(state)) break;
  }
  return 0;
}

int TeraAutoData::for_each(const GetEntry& get) const {
  Token tokens[MAX_TOKENS + 1];
  for (Large index = 1; index < numPaths; ++index) {
    if (get_tokens(index, tokens) < 0) continue;
    if (const int rc = get(static_cast<int>(index), tokens); rc < 0) return rc;
  }
  return numPaths > 0 ? static_cast<int>(numPaths - 1) : 0;
}

// ---------------------------------------------------------------- persistence
// Arrays stay where they are mapped: walking checks each step, so that reading looks at the sizes only.

void TeraAutoData::clean() {
  memAt.release();
  longestPath = isMapped = 0;
  loadFactor = MAX_LOAD;
  numPaths = numNodes = numCompressed = arrSize = numExtra = seqSize = 0;
  dictSize = 0;
  extraLimit = SMALL_LIMIT;
  transArray = nullptr;
  extraArray = nullptr;
  seqHeap = nullptr;
}

VInt TeraAutoData::save(AceFile* file) const {
  file->mem_info("Automaton with %d paths and %d nodes", static_cast<int>(numPaths),
                 static_cast<int>(numNodes));
  for (const Large number : {loadFactor, numPaths, numNodes, numCompressed}) file->put_int(number);
  file->put_int(longestPath);
  file->put_vint(dictSize);
  for (const Large number : {arrSize, numExtra, extraLimit, seqSize}) file->put_int(number);
  file->mem_info("Transition Array: %d transitions, load %d", static_cast<int>(arrSize),
                 static_cast<int>(loadFactor));
  if (arrSize > 0) file->write(VInt{arrSize} * VInt{sizeof(TeraAutoTrans)}, transArray, ARRAY_ALIGNMENT);
  file->mem_info("Extra Array: %d transitions", static_cast<int>(numExtra));
  if (numExtra > 0) file->write(VInt{numExtra} * VInt{sizeof(Large)}, extraArray, ARRAY_ALIGNMENT);
  file->mem_info("Compressed Transition Array: %d Segments", static_cast<int>(numCompressed));
  if (seqSize > 0) file->write(seqSize, seqHeap, ARRAY_ALIGNMENT);
  return numPaths;
}

VInt TeraAutoData::read(AceFile* file) {
  return ace_read_or_clean([this] { clean(); }, [&] { return read_payload(file); });
}

int TeraAutoData::refuse(const char* reason) const {
  AceReporter::use_default()->printf(
      "Automaton broken, %s: %u paths of up to %d tokens, %u nodes, %u slots, %u extra counts, %u bytes of "
      "chains\n",
      reason, numPaths, longestPath, numNodes, arrSize, numExtra, seqSize);
  return -1;
}

VInt TeraAutoData::read_payload(AceFile* file) {
  for (Large* number : {&loadFactor, &numPaths, &numNodes, &numCompressed}) *number = file->get_large();
  longestPath = file->get_int();
  dictSize = file->get_vint();
  for (Large* number : {&arrSize, &numExtra, &extraLimit, &seqSize}) *number = file->get_large();
  if (file->is_short()) return refuse("its numbers are cut");
  if (const char* reason = check_numbers(); reason != nullptr) return refuse(reason);
  transArray = file->read_array<TeraAutoTrans>(arrSize, &memAt, ARRAY_ALIGNMENT);
  if (transArray == nullptr) return refuse("its slots are cut");
  if (numExtra > 0) extraArray = file->read_array<Large>(numExtra, &memAt, ARRAY_ALIGNMENT);
  if (numExtra > 0 && extraArray == nullptr) return refuse("its extra counts are cut");
  if (seqSize > 0) seqHeap = file->read_array<Token>(seqSize, &memAt, ARRAY_ALIGNMENT);
  if (seqSize > 0 && seqHeap == nullptr) return refuse("its chains are cut");
  if (transArray[START].transToken != 0) return refuse("its start does not accept");
  isMapped = file->is_mapped() ? 1 : 0;
  return numPaths;
}

/// What is wrong with the numbers in front; null for nothing.
const char* TeraAutoData::check_numbers() const {
  if (loadFactor < 1 || loadFactor > MAX_LOAD) return "its load is no percentage";
  if (numPaths < 1 || numPaths > 0x7FFFFFFF || numNodes < 1) return "it has no paths or too many";
  if (longestPath < 0 || longestPath > MAX_TOKENS || dictSize < 0) return "its longest path is none";
  if (arrSize < 1 || VUint{arrSize} + seqSize >= NOWHERE) return "it has no slots or too many";
  if (extraLimit > SMALL_LIMIT || numExtra > std::max(arrSize, SMALL_LIMIT))
    return "its extra counts are none";
  if (extraLimit == SMALL_LIMIT && numExtra != 0 && numExtra != arrSize)
    return "its extra counts are not those of its slots";
  return nullptr;
}

// ---------------------------------------------------------------- checks
// Walking needs none of them; `verify` looks at every state once.

int TeraAutoData::verify(AceReporter* rep) const {
  const char* const reason = arrSize > 0 ? find_fault() : nullptr;
  if (reason == nullptr) return 0;
  rep->printf("Automaton of %u paths and %u slots broken: %s\n", numPaths, arrSize, reason);
  return -1;
}

/// Looks at every state that can be reached once; counts of states that were left are known.
const char* TeraAutoData::find_fault() const {
  struct Frame {
    Large state;
    std::vector<Large> targets;
    std::vector<Large> before;
    std::size_t at = 0;
  };
  constexpr Large UNKNOWN = 0;
  std::vector<Large> paths(std::size_t{arrSize} + seqSize, UNKNOWN);
  std::vector<Frame> stack;
  std::vector<VBit> bases(std::size_t{arrSize} / 64 + 1);
  const char* fault = nullptr;
  const auto enter = [&](Large state) {
    if (state < arrSize && fault == nullptr) fault = check_slot(state, &bases);
    Frame frame{state, {}, {}};
    for_each_transition(state, [&](Token, Large before, Large to) {
      frame.targets.push_back(to);
      frame.before.push_back(before);
      return true;
    });
    stack.push_back(std::move(frame));
  };
  enter(START);
  while (!stack.empty() && fault == nullptr) {
    if (stack.size() > static_cast<std::size_t>(longestPath) + 1) return "a path is longer than the longest";
    Frame& frame = stack.back();
    if (frame.at < frame.targets.size()) {
      const Large target = frame.targets[frame.at];
      if (!is_state(target)) return "a transition leads out of it";
      if (paths[target] == UNKNOWN)
        enter(target);
      else
        ++frame.at;
      continue;
    }
    Large count = is_accepting(frame.state) ? 1 : 0;
    for (std::size_t i = 0; i < frame.targets.size(); ++i) {
      if (frame.before[i] != count) return "paths are not counted densely";
      count += paths[frame.targets[i]];
    }
    if (count == 0) return "a state leads to no entry";
    paths[frame.state] = count;
    stack.pop_back();
  }
  if (fault != nullptr) return fault;
  return paths[START] == numPaths ? nullptr : "it has not the paths that it says";
}

/// A state in the array has a base of its own, and each token of its chain in the slot for it.
const char* TeraAutoData::check_slot(Large state, std::vector<VBit>* bases) const {
  const VInt base = get_base(state);
  if (base < 0) return "a state begins before the array";
  VBit& word = (*bases)[static_cast<std::size_t>(base / 64)];
  const VBit bit = VBit{1} << base % 64;
  if ((word & bit) != 0) return "two states have the same base";
  word |= bit;
  for (Token token = transArray[state].transToken;;) {
    const VInt place = base + token;
    if (place >= VInt{arrSize} || transArray[place].transToken != token) return "a slot is not its state's";
    const Token following = transArray[place].nextToken;
    if (following == 0) return nullptr;
    if (following <= token) return "the tokens of a state do not ascend";
    token = following;
  }
}

void TeraAutoData::print(AceReporter* rep) const {
  rep->printf("Paths %u, nodes %u, longest %d, tokens %ld\n", numPaths, numNodes, longestPath, dictSize);
  rep->printf("Slots %u of load %u, extra counts %u from %u on, %u chains in %u bytes\n", arrSize, loadFactor,
              numExtra, extraLimit, numCompressed, seqSize);
}
