#include "tera/multi/multi_abbreviations_internal.h"

#include <string_view>

#include "ace/ace_id_map.h"
#include "ace/ace_reporter.h"
#include "tera/multi/multi_text_internal.h"
#include "tera/tera_multi.h"
#include "tera/tera_reader.h"

/// The abbreviations among the entries of an edit index, or among the words of an index with an automaton.
class MultiAbbreviations::Reader : public TeraReader {
 public:
  explicit Reader(const TeraMulti& multi)
      : index(multi),
        hasAuto(multi.autoStruct != nullptr),
        end(hasAuto ? static_cast<Large>(multi.numWords) : multi.editStruct->get_num_entries()) {}

  int get_line(const char** string, Large* info, VInt* line) override {
    for (; next < end; ++next) {
      at.release();
      const char* const text = hasAuto ? index.get_line(next, &at) : index.editStruct->get_string(next, &at);
      if (text == nullptr || !is_abbreviation(text)) continue;
      *string = text;
      if (info != nullptr) *info = hasAuto ? next : index.editStruct->get_info_handle()->get_first(next);
      if (line != nullptr) *line = next;
      ++next;
      return 1;
    }
    return 0;
  }
  int rewind() override {
    next = 0;
    return 0;
  }
  VInt get_estimate() override { return 0; }

 private:
  /// Only short texts can be a single letter.
  bool is_abbreviation(std::string_view text) const {
    constexpr std::size_t longestLetter = 4;
    const int tokens = text.size() <= longestLetter ? index.get_tera_map()->tok_len(text.data(), true) : 0;
    return multi_is_abbreviation(text, tokens, nullptr);
  }

  const TeraMulti& index;
  bool hasAuto;
  Large end;
  Large next = 0;
  AceAttach at;
};

const TeraEdit& MultiAbbreviations::get(const TeraMulti& multi) {
  if (const TeraEdit* const known = ready.load(std::memory_order_acquire); known != nullptr) return *known;
  const std::scoped_lock lock(making);
  if (made == nullptr) {
    auto edit = std::make_unique<TeraEdit>(multi.get_tera_map(), nullptr);
    Reader reader(multi);
    if (multi.autoStruct != nullptr || multi.editStruct->get_info_handle() != nullptr)
      edit->make(&reader, nullptr, 0, 0, 0, 0, AceReporter::null(), nullptr);
    made = std::move(edit);
  }
  ready.store(made.get(), std::memory_order_release);
  return *made;
}

void MultiAbbreviations::clean() {
  ready.store(nullptr, std::memory_order_release);
  made = nullptr;
}
