/// Transforms: rewriting a string before it is indexed or queried.
///
/// A transform trims, cuts, transliterates, stems or codes a string. Transforms are made by name
/// (`factory`), chained with "<" ("TRIM_ALL<FIRST_WORD" applies FIRST_WORD first), and saved with the index
/// that uses them. A result may hold several variants separated by "|".
///
/// Saved form: the magic of the kind as an int, then what the kind's own `save` writes (see there). Kinds may
/// share a magic; the first whose `read` takes the payload wins.
///
/// Thread safety: a transform is constant once made, and `code` writes into the caller's attach only;
/// `is_parallelizable` tells whether one object may be used by several threads at once. Kinds register
/// while the library or a plug-in is loaded; the resource path is set before transforms are made.
#pragma once

#include <memory>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceFile;

class SORV_API TeraTransform {
 public:
  /// Longest chain that is made or read.
  static constexpr int MAX_CHAIN = 64;
  static constexpr char CHAIN_SIGN = '<';
  static constexpr char VARIANT_SIGN = '|';

  /// Registration of a kind by a prototype, which lives as long as the process. Kinds are asked in the order
  /// of `priority`, and in the order of registration where it is equal.
  class SORV_API Factory {
   public:
    Factory(const TeraTransform* prototype, int priority);
    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;
    ~Factory();

   private:
    friend class TeraTransform;
    const TeraTransform* prototypeTrafo;
    int priorityOrder;
    Factory* nextFactory;
  };

  TeraTransform() = default;
  TeraTransform(const TeraTransform&) = delete;
  TeraTransform& operator=(const TeraTransform&) = delete;
  virtual ~TeraTransform();

  /// The transformed string in `at`; null for null.
  virtual char* code(const char* text, AceAttach* at) const = 0;
  /// The same, split into its variants: stores an array of them and returns their number, 0 for null.
  virtual int code(const char* text, char*** variants, AceAttach* at) const;
  /// 1 when `code` gives another text, else 0.
  virtual int eval(const char* text) const;
  /// Reads the settings; negative when they are none of this kind. Kinds that share a magic consume nothing
  /// of what is not theirs, so that they can be read from a pipe.
  virtual VInt read(AceFile* file) = 0;
  virtual VInt save(AceFile* file) const = 0;
  /// `magic_number` of the kind's magic word.
  virtual int magic() const = 0;
  /// A transform of this kind for a name, or null. Null names give the kind's default; null encodings
  /// "utf-8". The caller owns what is made (`delete`).
  virtual TeraTransform* make(const char* name, const char* encoding) const = 0;
  virtual TeraTransform* copy() const = 0;
  /// 1 when texts should be normalised by a character map first.
  virtual int needs_map() const;
  virtual int is_parallelizable() const;

  /// The transform of a name, or null for an unknown, empty or null one, and for chains of more than
  /// `MAX_CHAIN` links. A backslash before "<" keeps it in the name.
  static TeraTransform* factory(const char* name, const char* encoding);
  /// The magic and the settings. Returns what `save` returns.
  int magic_save(AceFile* file) const;
  /// The transform that was saved; null for an unknown magic and, reported, for settings that no kind reads.
  static TeraTransform* magic_read(AceFile* file);

  /// Directory of rule files for transforms that load some; copied. Null until set.
  static void set_resource_path(const char* path);
  static const char* get_resource_path();

 protected:
  /// Whether the name of an encoding means UTF-8: null, "utf-8", "UTF_8", "utf8", ...
  static bool is_utf8(const char* encoding);

 private:
  static TeraTransform* make_by_name(const char* name, const char* encoding);
};
