/// Bit columns of edit indexes: 32-bit words, coded while they are not used.
///
/// A column is built as plain words (`init`, `set_full`), coded with the one of five fixed codes that needs
/// the fewest bits (`compress`), and decoded whole or in part (`decompress`, `get`). One without any bit
/// needs nothing (`clear_empty`), and reads as zeros.
///
/// The codes have symbols for the words that are frequent where bits are rare, or come in runs: no bit, one,
/// two, neighbouring ones, all, and all but one. Other words are coded as the escape symbol, and taken, in
/// their order, from `fullWords`.
///
/// Payload of `save`: docs/formats.md.
///
/// Words are those of the matrix (tera_bit_matrix.h), the low half of each 64-bit word first.
///
/// Thread safety: a column that nobody changes may be read by any number of threads.
#pragma once

#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_bit_stream.h"
#include "ace/ace_huffman.h"
#include "tera/tera_token_values.h"

class AceFile;

class SORV_API TeraModule {
 public:
  enum CompType : int {
    STANDARD_SPARSE = 0,
    STANDARD_DENSE = 1,
    FILTER_SPARSE = 2,
    FILTER_MEDIUM = 3,
    FILTER_DENSE = 4,
    NUM_TREES = 5,
  };
  static constexpr int NO_TYPE = -1;

  TeraModule() = default;
  TeraModule(const TeraModule&) = delete;
  TeraModule& operator=(const TeraModule&) = delete;

  /// A plain column of 64-bit words without bits, in place of what there was.
  void init(int words);
  /// Becomes empty.
  void clean();
  /// Drops the words of a plain column that has no bit. Returns 1 when it did.
  int clear_empty();

  // Plain columns only, `word` counting 64-bit words.

  void set_full(int word, VBit bits);
  /// Those of `bits` that are set.
  VBit get_full(int word, VBit bits) const;

  /// Chooses the code: the one that is given, or with -1 the one that makes the column smallest. Returns it;
  /// -1 when the plain words are smaller, or coded already.
  int comp_type(int type);
  /// Codes the column with `comp_type(-1)`, if that makes it smaller.
  void compress();
  bool is_compressed() const { return streamLen != 0; }
  bool is_empty() const { return streamLen == 0 && numWords == 0; }

  /// Writes the first `words` 64-bit words; zeros for what the column does not have. Returns 0; -1, with
  /// zeros from there on, when the stream does not hold that many.
  int decompress(VBit* out, int words) const;
  /// Reads a column from its start on, as far as it is asked for. The column must outlive it.
  class Reader {
   public:
    explicit Reader(const TeraModule& module);
    /// The next words, as `decompress` gives them.
    int read(VBit* out, int words);

   private:
    friend class TeraModule;
    template <class Use>
    int each(int words, Use use);

    const TeraModule& itsModule;
    BitSource source;
    int numRead = 0;  // 32-bit words
    int numEscaped = 0;
  };

  /// The 64-bit words from `from` on, in `at`. A stream is decoded up to there.
  const VBit* get(int from, int words, AceAttach* at) const;

  /// Bytes now, and as plain words.
  VInt get_comp_size() const { return streamLen + VInt{WORD_BYTES} * numWords; }
  VInt get_full_size() const { return VInt{WORD_BYTES} * columnWords; }
  int get_density() const { return bitDensity; }
  /// The name of the code; "NO TYPE YET" without.
  const char* comp_desc() const;

  VInt save(AceFile* file) const;
  /// Reads the column of a matrix of `words` 64-bit words. Returns 0; -1, explained on the default reporter,
  /// for what is not a payload.
  VInt read(AceFile* file, int words);

  /// The code of a type, with its encoding index. Made once per process, at the first call of any thread.
  static HuffmanTree* build_comp_trees(int type);

 private:
  static constexpr int WORD_BYTES = 4;

  static VInt coded_bits(int type, const Bit* words, int num);
  int streamLen = 0;
  const Token* bitStream = nullptr;
  int numWords = 0;
  const Bit* fullWords = nullptr;
  int compType = NO_TYPE;
  int bitDensity = 0;
  int columnWords = 0;           // of the whole column
  std::vector<Token> ownStream;  // bitStream, unless it was read
  std::vector<Bit> ownWords;     // fullWords, unless they were read
  AceAttach memAt;               // both, when they were read from a stream
};
