#include <algorithm>
#include <bit>
#include <cstdio>
#include <memory>
#include <numeric>
#include <vector>

#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "tera/tera_data_file.h"
#include "tera/tera_edit.h"

namespace {

struct FileClose {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileClose>;

OpenFile open_output(const char* filename) {
  OpenFile out(AceFile::open(filename, "w"));
  if (out == nullptr)
    AceReporter::use_default()->printf("Cannot write '%s'\n", filename != nullptr ? filename : "");
  return out;
}

/// Bits and words of a column, by their number of bits.
struct ColumnStats {
  static constexpr int NUM_CLASSES = 5;  // 0, 1, 2, 3 and more bits in 32

  ColumnStats(const TeraModule& module, int num_words) {
    std::vector<VBit> words(static_cast<std::size_t>(num_words));
    module.decompress(words.data(), num_words);
    for (const VBit word : words)
      for (const VBit half : {word & 0xFFFFFFFF, word >> 32}) {
        const int count = std::popcount(half);
        bits += count;
        ++wordsWith[std::min(count, NUM_CLASSES - 1)];
      }
  }

  int bits = 0;
  int wordsWith[NUM_CLASSES] = {};
};

}  // namespace

int TeraEdit::write(const char* filename, int mode) const {
  if (stringHandle == nullptr) return -1;
  const OpenFile out = open_output(filename);
  if (out == nullptr) return -1;
  int numLines = 0;
  AceAttach at;
  for (Large slot = 0; slot < numEntry; ++slot) {
    const char* string = get_string(slot, &at);
    const auto write_line = [&](Large info) {
      numLines += tera_simple_print(out.get(), info, string) > 0 ? 1 : 0;
    };
    const IdList infos = infoHandle != nullptr ? infoHandle->get(slot) : IdList{};
    if (mode == 0)
      for (Large i = 0; i < infos.count; ++i) write_line(infos[i]);
    else if (mode != 1)
      write_line(slot);
    else if (!infos.empty())
      write_line(infos[0]);
    at.release();
  }
  tera_flush(out.get());
  return numLines;
}

int TeraEdit::write_filter(const char* filename) const {
  if (filterEdit == nullptr || stringHandle == nullptr) return -1;
  const OpenFile out = open_output(filename);
  if (out == nullptr) return -1;
  int numLines = 0;
  AceAttach at;
  for (int length = 1; length < maxLength; ++length)
    for (int slot = first_slot(length); slot < lengthSum[length]; slot += 1 << filterLog) {
      bool isFirst = true;
      for (int k = slot; k < std::min(slot + (1 << filterLog), lengthSum[length]); ++k) {
        const char* string = get_string(static_cast<Large>(k), &at);
        if (string == nullptr || *string == '\0') continue;
        std::fprintf(out.get(), "%s%s", isFirst ? "" : "\t", string);
        isFirst = false;
      }
      if (!isFirst) {
        std::fputc('\n', out.get());
        ++numLines;
      }
      at.release();
    }
  tera_flush(out.get());
  return numLines;
}

int TeraEdit::write_phonetic(const char* filename, int mode) const {
  return phoneEdit != nullptr ? phoneEdit->write(filename, mode) : -1;
}

void TeraEdit::print(AceReporter* rep) const {
  long numCompressed = 0;
  VInt bytes = 0;
  VInt full = 0;
  for (int tok = 0; tok < num_modules(); ++tok) {
    const TeraModule& module = get_module(tok);
    numCompressed += module.is_compressed() ? 1 : 0;
    bytes += module.is_compressed() ? module.get_comp_size() : 0;
    full += module.is_compressed() ? 0 : module.get_comp_size();
  }
  rep->printf("EDIT STRUCTURE:\n");
  for (int length = 0; length < maxLength; ++length)
    rep->printf("LENGTH %d\t%d\n", length, lengthSum[length]);
  rep->printf("NUM_MODULES\t%d\n", numCols);
  rep->printf("MODULE_LENGTH\t%d\n", num_words());
  rep->printf("COMPRESSED\t%ld\n", numCompressed);
  rep->printf("COMP_BYTES\t%ld\n", bytes);
  rep->printf("FULL_BYTES\t%ld\n", full);
  rep->printf("MODUL_SPACE\t%ld\n", bytes + full);
  rep->printf("PHONETIC %p", static_cast<const void*>(phoneEdit.get()));
  rep->printf("\n");
  if (filterEdit == nullptr) return;
  rep->printf("filtered edit structure\n");
  filterEdit->print(rep);
}

void TeraEdit::stats(AceReporter* rep) const {
  const TeraBitMatrix& matrix = has_words() || filterEdit == nullptr
                                    ? static_cast<const TeraBitMatrix&>(*this)
                                    : static_cast<const TeraBitMatrix&>(*filterEdit);
  std::vector<ColumnStats> columns;
  columns.reserve(static_cast<std::size_t>(numCols));
  for (int tok = 0; tok < matrix.num_modules(); ++tok)
    columns.emplace_back(matrix.get_module(tok), matrix.num_words());
  std::vector<std::size_t> order(columns.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return columns[a].bits > columns[b].bits; });
  const auto sum = std::accumulate(columns.begin(), columns.end(), VInt{0},
                                   [](VInt total, const ColumnStats& column) { return total + column.bits; });
  rep->printf("Token statistics(sorted by frequency)\n");
  VInt covered = 0;
  for (const std::size_t tok : order) {
    if (columns[tok].bits == 0) break;
    covered += columns[tok].bits;
    rep->printf("TOKEN:%2d\tBITS:%6d\tDENSITY: %4d\tCOVERAGE: %4.1f%%\n", static_cast<int>(tok),
                columns[tok].bits, matrix.get_module(static_cast<int>(tok)).get_density(),
                100.0 * static_cast<double>(covered) / static_cast<double>(sum));
  }
  long numCompressed = 0;
  long compressed = 0;
  long uncompressed = 0;
  long original = 0;
  for (int tok = 0; tok < matrix.num_modules(); ++tok) {
    const TeraModule& module = matrix.get_module(tok);
    const int* words = columns[static_cast<std::size_t>(tok)].wordsWith;
    rep->printf("%s: Density %3d  %5d.0 %5d.1 %5d.2 %5d.3 %5d.more\n", module.comp_desc(),
                module.get_density(), words[0], words[1], words[2], words[3], words[4]);
    numCompressed += module.is_compressed() ? 1 : 0;
    (module.is_compressed() ? compressed : uncompressed) += module.get_comp_size();
    original += module.get_full_size();
  }
  rep->printf(
      "Number of compressed modules: %ld\nCompressed :    %8ld\nUncompressed :  %8ld\nTotal size :    %8ld\n"
      "Original size:  %8ld\n",
      numCompressed, compressed, uncompressed, compressed + uncompressed, original);
}
