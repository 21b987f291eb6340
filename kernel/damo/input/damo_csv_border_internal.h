/// Where a record starts in the middle of a CSV file.
///
/// A line start may lie in a quoted field, which depends on all quotes before it. But not all of them need to
/// be followed: behind a quote between an ordinary byte and one that is not a quote, as at the end of most
/// quoted fields, the text is plain whatever was before, because such a quote closes a quoted field and is an
/// ordinary byte in plain text:
///
///     quoted before:   ...xxx"yyy      closes the field; y is plain
///     plain before:    ...xxx"yyy      an ordinary byte in the middle of a field; y is plain
///
/// So the last such quote is searched for, backwards from the line start, and followed from there; quotes
/// before it do not matter. Where there is none, the search goes back to the start of the part that is
/// divided.
#pragma once

#include <cstdio>

#include "ace/ace_types.h"

/// What has a meaning in a CSV file. Without an escape character `escape` is the quote.
struct DamoCsvSyntax {
  char separator;
  char quote;
  char escape;
};

/// The first start of a record at or behind the line start `pos`, in a file in which a record starts at
/// `from`. -1 on read errors.
Huge damo_csv_record_start(std::FILE* file, const DamoCsvSyntax& syntax, Huge from, Huge pos);
