/// Alias readers: pairs of a string and another way to write it.
///
/// An alias file has a line for each group, with fields between tabs:
///
///     targets<TAB>penalty<TAB>aliases      Muller|Moller<TAB>3<TAB>Miller|Millar
///     targets<TAB>aliases                  Robert<TAB>Bob|Rob
///     aliases                              unknown|none             no target
///
/// Each alias of a line makes a pair with each of its targets. Empty members of the lists count for nothing,
/// and neither do empty lines. A list may have 64 members; what is behind them is dropped, with a warning.
///
/// Conventions of `read_entry` as in tera_reader.h.
/// Thread safety: a reader belongs to one thread.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"
#include "tera/tera_big_tree.h"

class AceReader;
class AceReporter;
class TeraMap;

class SORV_API TeraAliasReader {
 public:
  virtual ~TeraAliasReader() = default;
  /// The next pair; `*target` is null for an alias without target. Outputs may be null. Penalties are only
  /// read where `penalty` is asked for. Returns 1; 0 at the end; -1 on errors, explained on the default
  /// reporter.
  virtual int read_entry(const char** target, const char** alias, int* penalty, VInt* line) = 0;
  /// Back to the first pair. Returns 0, or -1 where that is impossible.
  virtual int rewind() = 0;

  /// Enters the strings of all pairs that are left: those that are not in the tree yet get a null list.
  /// Returns the number of pairs, or -1; the tree then has what was read before.
  int add_to_tree(TeraBigTree<AceBulk::List*>* tree, AceReporter* rep);
  /// Calls `use` for both strings of all pairs that are left. Returns as `add_to_tree`.
  int for_each_string(const std::function<void(const char*)>& use, AceReporter* rep);

 protected:
  TeraAliasReader() = default;
  TeraAliasReader(const TeraAliasReader&) = default;
  TeraAliasReader& operator=(const TeraAliasReader&) = default;
};

class SORV_API TeraAliasFileReader : public TeraAliasReader {
 public:
  static constexpr int MAX_MEMBERS = 64;

  /// Reads from `input`, which stays the caller's. With a map, strings are token strings (operators off), or
  /// texts normalised by the map when `normalize` is not 0.
  TeraAliasFileReader(AceReader* input, TeraMap* map, int normalize);
  /// Reads the named file, without a map. Throws an `AceException` when it cannot be opened.
  explicit TeraAliasFileReader(const char* filename);
  ~TeraAliasFileReader() override;

  /// A line of more than three fields, and a penalty that is asked for and is no int, are errors.
  int read_entry(const char** target, const char** alias, int* penalty, VInt* line) override;
  int rewind() override;

 private:
  int read_group(bool with_penalty);
  void read_members(char* list, std::vector<const char*>* members);
  int refuse(const char* reason, const char* text);

  std::unique_ptr<AceReader> ownInput;
  AceReader* itsInput;
  const TeraMap* teraMap = nullptr;
  bool isNormalized = false;
  AceAttach memAt;                   // the strings of the present line
  std::vector<const char*> targets;  // a null for a line without targets
  std::vector<const char*> aliases;
  std::size_t nextPair = 0;  // of targets.size() * aliases.size(), targets running faster
  int curPenalty = 0;
  VInt curLine = 0;
  int lastResult = 1;
};
