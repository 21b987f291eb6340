/// Data files: entry lines (tera_reader.h) written, and files of them made for tests and training.
///
/// The files made depend on their arguments alone: the same seed gives the same file everywhere.
///
/// Errors: those that return int give -1, explained on the default reporter. A write that fails, and an
/// input file that is not there, throw an `AceException`.
#pragma once

#include <cstddef>
#include <cstdio>

#include "ace/ace_types.h"

class AceReporter;

/// "%08x\t%s\n" of attribute and string. Returns the length, 0 (and an empty text) for an empty or null
/// string; -1 when it does not fit with its terminator, and for a string that contains a line end.
SORV_API int tera_entry_print(char* buf, std::size_t buf_size, Large info, const char* string);
/// Writes the same line. Returns its length, or as above. A short write throws "Error writing into .tera
/// file!".
SORV_API int tera_simple_print(std::FILE* file, unsigned info, const char* string);

/// Makes sure that all lines have been written; throws the same when they cannot be.
SORV_API void tera_flush(std::FILE* file);

/// Writes `num` strings with the attributes 1, 2, ... Lengths are equally distributed over
/// `min_length`..`max_length`, characters over those of `characters` (null: "a" to "z"). Returns `num`.
SORV_API int tera_random_file(const char* filename, int num, int min_length, int max_length, int seed,
                              const char* characters);
/// Writes `num` strings made from a template: "[...]" gives one of the characters between the brackets, where
/// "a-e" stands for a range; a backslash makes the next character plain; all others stand for themselves.
/// Returns `num`; -1 also for a bracket that is not closed, an empty one, and a range that falls.
SORV_API int tera_template_file(const char* filename, const char* pattern, int num, int seed);
/// The distinct words of a text, in byte order, each with the number of its occurrences as its attribute.
///
/// text         read to its end; words are cut at white space and at the characters of `separators`
/// words        receives the words
/// rejected     receives, in the same form, the words that are shorter than `min_length` bytes or have
///              characters that are not in `characters`; null drops them
/// separators, characters   null for none, and for all
///
/// Reports "%d different words in %ld words\n" on `rep`. Returns the number of words written to `words`.
SORV_API int tera_extract_words(std::FILE* text, std::FILE* words, std::FILE* rejected,
                                const char* separators, int min_length, const char* characters,
                                AceReporter* rep);
/// Writes all lines of two files into a third, in random turns that keep the order of each: as long as both
/// have lines, `percent` of 100 come from the first. Returns the number of lines.
SORV_API int tera_mix_files(const char* first, const char* second, const char* mixed, int percent, int seed);
