/// Collations: the orders in which sorted string heaps keep and search their strings.
///
///     name                              kind              order
///     "ascii", null or empty            TeraAscii         bytes
///     "date: " and a format             TeraDate          dates in that format
///     "numeric_en", "_ch", "_de"        TeraNumeric       numbers with separators ". ,", ". '", ", ."
///     "multi_price_en", "_de"           TeraMultiPrice    a text, then numbers, separated by "="
///     base "." encoding                 TeraUnicode       the weights of the table base.txt (tera_unicode.h)
///
/// A collation is made by name (`factory`), shared by everything in the process that asks for that name, and
/// saved by name. It is given back with `destroy`.
///
/// Every kind compares in two ways, both with the sign of the result as `strcmp` has it:
///
/// - `compare_sort` with `prefix` 0 is a strict weak order over all texts: whatever the bytes, sorting with
/// it
///   is well defined. All kinds but TeraUnicode give 0 for identical texts only.
/// - `compare_limit` compares a key with a stored string and gives 0 for all that start with the key, in the
///   sense of the kind. In a sorted heap the signs never increase from one string to the next, so that these
///   strings are one run, which a binary search finds.
///
/// `compare_sort` with `prefix` not 0 is `compare_limit`, except that it gives 1 instead of 0: the key as a
/// border that lies above all strings that start with it.
///
/// Texts are terminated and not null. Neither comparison allocates or throws.
/// Thread safety: comparing is constant and reentrant. `factory`, `read` and `destroy` may be called by any
/// thread; a table is loaded by one of them while the others wait.
#pragma once

#include <cstddef>
#include <string_view>

#include "ace/ace_types.h"

class AceFile;

class SORV_API TeraCollation {
 public:
  /// With a name (copied) and one reference, which is the caller's.
  explicit TeraCollation(const char* name);
  TeraCollation(const TeraCollation&) = delete;
  TeraCollation& operator=(const TeraCollation&) = delete;
  virtual ~TeraCollation();

  /// Orders two strings for sorting; with `prefix`, see above.
  virtual int compare_sort(const char* a, const char* b, int prefix) const = 0;
  /// Compares the key `a` with the stored string `b`: 0 when `b` starts with it. The third argument is
  /// unused.
  virtual int compare_limit(const char* a, const char* b, int unused) const = 0;

  /// The shared collation of that name with one more reference, made on first use. Null for a name of no
  /// kind; and for a table that cannot be loaded, with the error report "uni_coll->load(filename,encoding)".
  static TeraCollation* factory(const char* name);
  /// Gives a reference back; the last one frees the collation.
  void destroy();

  const char* get_name() const { return collationName; }
  /// Writes the name. Returns the bytes written.
  VInt save(AceFile* file) const;
  /// The collation whose name comes next, with a reference for the caller. Null for a stored null (which
  /// marks an unsorted heap), and where `factory` gives null.
  static TeraCollation* read(AceFile* file);

  const char* collationName;  ///< own copy
  int refCount = 1;           ///< changed by `factory` and `destroy` only
};

/// Byte order. A string starts with a key whose bytes it starts with.
class SORV_API TeraAscii final : public TeraCollation {
 public:
  explicit TeraAscii(const char* name) : TeraCollation(name) {}
  int compare_sort(const char* a, const char* b, int prefix) const override;
  int compare_limit(const char* a, const char* b, int unused) const override;
};

/// Dates: by year, month and day, then by bytes; the empty string first.
///
/// What a text lacks of its format counts as 0 from there on, so that texts that are no dates come before
/// the dates. A string starts with a key if the key's date is the same; a key that names only a year, or a
/// year and a month, takes all their days; a key that is no date is compared by bytes with strings that
/// are none either.
class SORV_API TeraDate final : public TeraCollation {
 public:
  /// How dates are written, and what `scanf` would be given to read them.
  enum Format {
    YMD = 0,       ///< "yyyy-mm-dd", "yyyy-m-d", and all that is not known; "%d-%d-%d"
    DMYd = 1,      ///< "dd.mm.yyyy", "d.m.yyyy"; "%d.%d.%d"
    DMYs = 2,      ///< "dd/mm/yyyy", "d/m/yyyy"; "%d/%d/%d"
    DMonthY = 3,   ///< "dd month yyyy", "d month yyyy"; "%d %s %d"
    MonthDY = 4,   ///< "month dd yyyy", "month d yyyy"; "%s %d %d"
    DdMonthY = 5,  ///< "dd. month yyyy", "d. month yyyy"; "%d. %s %d"
    MonthDdY = 6,  ///< "month ddst yyyy", "month dst yyyy"; "%s %d%s %d"
  };
  struct Date {
    int year = 0;
    int month = 0;
    int day = 0;
  };

  TeraDate(const char* name, Format format) : TeraCollation(name), dateFormat(format) {}
  int compare_sort(const char* a, const char* b, int prefix) const override;
  int compare_limit(const char* a, const char* b, int unused) const override;

  /// The value of a format's text.
  static Format get_format(const char* text);
  /// 1..12 from the first letters of an English or German name that starts in upper case, else 0.
  static int get_month(const char* name);
  /// What the text says, by the format. Numbers stop at the limits of int.
  Date parse(const char* text) const;

  Format dateFormat;
};

/// Numbers without signs: by their number of integer digits, these digits, and the fraction without trailing
/// zeros, then by bytes; the empty string first.
///
/// Blanks, zeros and thousands separators at the start are skipped, and thousands separators between digits.
/// All other characters count as digits. A string starts with a key of equal value.
class SORV_API TeraNumeric final : public TeraCollation {
 public:
  TeraNumeric(const char* name, char floating, char thousand)
      : TeraCollation(name), itsFloating(floating), itsThousand(thousand) {}
  int compare_sort(const char* a, const char* b, int prefix) const override;
  int compare_limit(const char* a, const char* b, int unused) const override;
  /// The order by value of two texts that need no terminator.
  int compare_values(std::string_view a, std::string_view b) const;

  /// Number of characters before the decimal separator that are not thousands separators.
  int count(const char* text) const;

  char itsFloating;  ///< decimal separator
  char itsThousand;

 private:
  std::string_view skip_leading(std::string_view text) const;
  std::size_t count_digits(std::string_view text) const;
};

/// A text and values behind it, all separated by `sepChar`: by the bytes of the text, then value by value as
/// numbers (fewer values first), then by bytes.
///
/// A key without separator is compared by the bytes of the text only; with one, the texts must be the same,
/// and a string starts with the key if its first values equal the key's. An empty last value of the key
/// counts as none.
class SORV_API TeraMultiPrice final : public TeraCollation {
 public:
  TeraMultiPrice(const char* name, char floating, char thousand)
      : TeraCollation(name), numericFacet(name, floating, thousand) {}
  int compare_sort(const char* a, const char* b, int prefix) const override;
  int compare_limit(const char* a, const char* b, int unused) const override;

  char sepChar = '=';
  TeraNumeric numericFacet;

 private:
  int compare_parts(std::string_view a, std::string_view b, bool isKey) const;
};
