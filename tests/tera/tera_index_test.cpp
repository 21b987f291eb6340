#include "tera/tera_index.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <set>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_tracer.h"
#include "gtest/gtest.h"
#include "support/damage.h"
#include "support/recording_reporter.h"
#include "support/sealed_image.h"
#include "support/temp_folder.h"
#include "tera/tera_collation.h"
#include "tera/tera_reader.h"
#include "tera/tera_string_comp.h"

namespace {

using Strings = std::vector<std::string>;
using Pointers = std::vector<const char*>;

Pointers pointers(const Strings& strings) {
  Pointers all;
  for (const std::string& string : strings) all.push_back(string.c_str());
  return all;
}

int make(TeraIndex* index, const Strings& strings, int logBlock = 0, int sorted = 0) {
  Pointers all = pointers(strings);
  const int rc = index->make(static_cast<int>(all.size()), all.data(), false, sorted, nullptr);
  return rc == 0 && logBlock != 0 ? index->compress(logBlock) : rc;
}

/// Every string by every way to read it.
Strings read_all(const TeraIndex& index) {
  Strings lines;
  AceAttach at;
  for (Large id = 0; id < index.get_size(); ++id) lines.emplace_back(index.get_line(id, &at));
  Strings visited;
  index.for_each([&](const char* string, int id) {
    EXPECT_EQ(id, static_cast<int>(visited.size()));
    visited.emplace_back(string);
  });
  EXPECT_EQ(visited, lines);
  for (Large first = 0; first < index.get_size(); first += 7) {
    char* block[50];
    const Large count = index.get_block(first, block, 50, &at);
    EXPECT_EQ(count, std::min<Large>(50, index.get_size() - first));
    for (Large i = 0; i < count; ++i) EXPECT_EQ(block[i], lines[first + i]);
    EXPECT_EQ(index.get_line_len(first), static_cast<int>(lines[first].size()));
    EXPECT_EQ(index.get_line_copy(first, &at), lines[first]);
  }
  EXPECT_EQ(index.get_line(index.get_size(), &at), nullptr);
  EXPECT_EQ(index.get_block(index.get_size(), nullptr, 1, &at), 0U);
  EXPECT_EQ(index.get_line_len(index.get_size()), -1);
  return lines;
}

/// Mostly words of few letters; some are empty, some long, some of any bytes.
Strings random_strings(std::mt19937* random, int count) {
  std::mt19937& r = *random;
  Strings strings;
  for (int i = 0; i < count; ++i) {
    std::string text;
    const unsigned kind = r() % 40;
    for (unsigned length = kind == 0 ? r() % 3000 : r() % 9; length > 0; --length)
      text += static_cast<char>(kind == 1 ? 1 + r() % 255 : 'a' + r() % (1 + r() % 6));
    strings.push_back(text);
  }
  return strings;
}

std::string image_of(TeraIndex* index) {
  std::vector<long> buffer(static_cast<std::size_t>(index->size()) / 8 + 1);
  const VInt size = index->collect(reinterpret_cast<char*>(buffer.data()), index->size());
  return {reinterpret_cast<const char*>(buffer.data()), static_cast<std::size_t>(size)};
}

TEST(TeraIndex, every_form_gives_back_its_strings_built_mapped_and_read) {
  std::mt19937 random(1);
  const support::TempFolder folder;
  for (int round = 0; round < 120; ++round) {
    const Strings strings = random_strings(&random, static_cast<int>(random() % 200));
    const int logBlock = round % 8;  // 0: plain; 6 and 7: blocks of one string
    AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", round % 3 == 0 ? 1 : 0);
    TeraIndex index;
    ASSERT_EQ(make(&index, strings, logBlock), 0);
    ASSERT_EQ(read_all(index), strings);
    ASSERT_EQ(index.get_block_size(), logBlock >= 1 && logBlock <= 5 ? 1 << logBlock : 1);
    if (logBlock == 0) ASSERT_EQ(index.is_int_aligned(), round % 3 == 0 && index.get_heap_size() > 1024);
    const std::string name = folder.file("index");
    ASSERT_EQ(index.dump(name.c_str(), nullptr), 0);
    for (const int mode : {0, 1}) {
      TeraIndex read;
      ASSERT_EQ(read.load(name.c_str(), mode, nullptr), 0);
      ASSERT_EQ(read_all(read), strings);
      ASSERT_EQ(image_of(&read), image_of(&index));
      // A mapped heap is copied before it changes.
      if (logBlock == 0 && !strings.empty()) {
        ASSERT_EQ(read.update(0, "new", 0), 0);
        ASSERT_EQ(read.get_line(0, nullptr), std::string("new"));
        ASSERT_EQ(read.compress(5), 0);
        ASSERT_EQ(read_all(read).size(), strings.size());
      }
    }
  }
  AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", 0);
}

TEST(TeraIndex, a_saved_index_is_made_by_the_registry_and_has_its_documented_bytes) {
  TeraIndex index;
  ASSERT_EQ(make(&index, {"b", "a"}, 0, 1), 0);
  const std::string image = image_of(&index);
  const std::string expected(
      "\x5A\x00\x08\xFF"
      "\xC9\x8C\x42\x01"                  // TIDX
      "\0\0\0\0\2\0\0\0\1\0\0\0\0\0\0\0"  // heapMode, numEntry, blockSize, a gap
      "\4\0\0\0\0\0\0\0"                  // bufferUsedSize
      "\0\0\0\0\0\0\0\0"                  // not compressed, not aligned, a gap
      "\2\0\0\0\0\0\0\0"                  // offsets
      "b\0a\0\6\0\0\0ascii\0",
      62);
  EXPECT_EQ(image, expected);
  const support::TempFolder folder;
  support::write_file(folder.file("index"), image);
  const std::unique_ptr<AceWrap> made(AceWrap::factory(folder.file("index").c_str(), "TeraIndex"));
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(static_cast<TeraIndex*>(made.get())->search("b", 0, 0), 1U);
  TeraIndex packed;
  ASSERT_EQ(make(&packed, {"ab", "b", "abb"}, 1), 0);
  EXPECT_EQ(std::string(packed.get_string_heap(), 2), "\x0E\x1F");
  EXPECT_EQ(packed.get_heap_size(), 2);
  support::RecordingReporter rep;
  index.print(&rep);
  EXPECT_EQ(
      rep.all(),
      "NUM_STRINGS\t 2\nNUM_BLOCS\t 2\nBUF_SIZE\t 4\nINT_ALIGNED\t 0\nHEAP_MODE\t 0\nSORT_MODE\t ascii\n");
}

TEST(TeraIndex, a_text_file_is_cut_into_lines_by_any_line_end) {
  const support::TempFolder folder;
  const std::string name = folder.file("lines");
  support::write_file(name, std::string("one\r\ntwo\n\nthree\rfour\nlast"));
  for (const int kilobytes : {0, 1}) {
    AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", kilobytes);
    TeraIndex index;
    ASSERT_EQ(index.make(name.c_str(), false, nullptr), 0);
    EXPECT_EQ(read_all(index), (Strings{"one", "two", "", "three", "four", "last"}));
    support::write_file(name, "one\r\ntwo\n\nthree\rfour\nlast\n" + std::string(2000, '\n'));
    ASSERT_EQ(index.make(name.c_str(), false, nullptr), 0);
    EXPECT_EQ(index.get_size(), 2006U);
    EXPECT_EQ(index.is_int_aligned(), kilobytes == 1);
    support::write_file(name, std::string(1023, 'x') + '\n');
    ASSERT_EQ(index.make(name.c_str(), false, nullptr), 0);
    EXPECT_FALSE(index.is_int_aligned()) << "not larger than the threshold";
    support::write_file(name, std::string("one\r\ntwo\n\nthree\rfour\nlast"));
  }
  AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", 0);
  support::write_file(name, "one\r\n" + std::string(5000, 'x') + "\n\nlast\r\r");
  TeraIndex packed;
  ASSERT_EQ(packed.make(name.c_str(), true, nullptr), 0);
  EXPECT_EQ(read_all(packed), (Strings{"one", std::string(4095, 'x'), std::string(905, 'x'), "", "last"}));
  EXPECT_TRUE(packed.is_compressed());
  support::RecordingReporter rep;
  for (const bool compress : {false, true})
    for (const std::string& other : {folder.file("no"), std::string("/dev/zero")})
      EXPECT_EQ(packed.make(other.c_str(), compress, &rep), -2);
  EXPECT_NE(rep.all().find("no' but file does not exist"), std::string::npos);
  EXPECT_NE(rep.all().find("/dev/zero' but it is no regular file"), std::string::npos);
  EXPECT_EQ(packed.get_size(), 5U) << "a failed make leaves the index";
}

TEST(TeraIndex, finds_what_a_scan_of_the_sorted_strings_finds) {
  std::mt19937 random(2);
  for (int round = 0; round < 60; ++round) {
    Strings strings = random_strings(&random, 1 + static_cast<int>(random() % 150));
    TeraIndex index;
    ASSERT_EQ(make(&index, strings, round % 6, 1), 0);
    std::sort(strings.begin(), strings.end());
    ASSERT_EQ(read_all(index), strings);
    Strings keys = random_strings(&random, 40);
    keys.insert(keys.end(), strings.begin(), strings.begin() + static_cast<long>(strings.size() / 3));
    for (const std::string& key : keys) {
      const auto not_before = [&](const std::string& s) { return s.c_str() >= key; };
      const auto starts = [&](const std::string& s) { return s.compare(0, key.size(), key) == 0; };
      const auto place = std::find_if(strings.begin(), strings.end(), not_before) - strings.begin();
      const auto end =
          strings.rend() - std::find_if(strings.rbegin(), strings.rend(),
                                        [&](const std::string& s) { return s < key || starts(s); });
      const bool isThere =
          place < static_cast<long>(strings.size()) && strings[static_cast<std::size_t>(place)] == key;
      const bool isStart =
          place < static_cast<long>(strings.size()) && starts(strings[static_cast<std::size_t>(place)]);
      ASSERT_EQ(index.search(key.c_str(), 0, 0), isThere ? place : TeraIndex::NONE) << key;
      ASSERT_EQ(index.search(key.c_str(), 1, 0), place) << key;
      ASSERT_EQ(index.search_interval(key.c_str(), 0, 0), isStart ? place : TeraIndex::NONE) << key;
      ASSERT_EQ(index.search_interval(key.c_str(), 1, 0), place) << key;
      ASSERT_EQ(index.search(key.c_str(), 1, 1), end) << key;
    }
  }
  TeraIndex unsorted;
  ASSERT_EQ(make(&unsorted, {"a", "b"}), 0);
  EXPECT_EQ(unsorted.search("a", 1, 0), TeraIndex::NONE);
  EXPECT_EQ(unsorted.search_interval("a", 1, 0), TeraIndex::NONE);
  EXPECT_EQ(unsorted.cmp("b", "a", 0), -1);
  EXPECT_EQ(unsorted.resort("nothing of the kind"), -1);
  ASSERT_EQ(unsorted.resort("numeric_en"), 0);
  EXPECT_GT(unsorted.cmp("1,000", "999", 0), 0);
}

TEST(TeraIndex, follows_any_row_of_changes_as_an_array_of_strings_does) {
  AceReporter::clear_default();  // refusals are asked for
  std::mt19937 random(3);
  for (int round = 0; round < 80; ++round) {
    AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", round % 2);
    Strings strings = random_strings(&random, 30);
    TeraIndex index;
    ASSERT_EQ(make(&index, strings), 0);
    for (int step = 0; step < 40; ++step) {
      const auto id = static_cast<Large>(random() % (strings.size() + 3));
      const bool isNew = id >= strings.size();
      switch (random() % 4) {
        case 0: {  // also with a string of the index itself
          const char* own = index.get_line(static_cast<Large>(random() % strings.size()), nullptr);
          const std::string text = random() % 2 == 0 ? own : random_strings(&random, 1)[0];
          ASSERT_EQ(index.update(id, text == own ? own : text.c_str(), 1), 0);
          if (isNew) strings.resize(id + 1);
          strings[id] = text;
          break;
        }
        case 1:
          ASSERT_EQ(index.update(id, "fixed", 0), isNew ? -1 : 0);
          if (!isNew) strings[id] = "fixed";
          break;
        case 2: {
          std::vector<int> order(strings.size());
          for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
          std::shuffle(order.begin(), order.end(), random);
          ASSERT_EQ(index.reorder(order.data()), 0);
          Strings reordered;
          for (const int from : order) reordered.push_back(strings[static_cast<std::size_t>(from)]);
          strings = reordered;
          order[0] = order.back();
          ASSERT_EQ(index.reorder(order.data()), -1);
          break;
        }
        default: {
          const VInt before = index.get_heap_size();
          support::RecordingReporter rep;
          const Large saved = index.optimize(&rep);
          ASSERT_EQ(rep.all(), "Saved " + std::to_string(saved) + " bytes in TeraIndex\n");
          ASSERT_EQ(index.get_heap_size(), before - saved);
        }
      }
      ASSERT_EQ(read_all(index), strings);
    }
    index.optimize(nullptr);
    VInt needed = 0;
    for (const std::string& text : std::set<std::string>(strings.begin(), strings.end())) {
      const VInt size = static_cast<VInt>(text.size()) + 1;
      needed += index.is_int_aligned() ? TeraIndex::align_offset(size) : size;
    }
    EXPECT_EQ(index.get_heap_size(), needed) << "each string once";
    ASSERT_EQ(index.compress(3), 0);
    EXPECT_EQ(index.update(0, "x", 0), -1);
    EXPECT_EQ(index.reorder(nullptr), -1);
    EXPECT_EQ(index.resort("ascii"), -1);
    EXPECT_EQ(read_all(index), strings);
  }
  AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", 0);
}

TEST(TeraIndex, is_built_from_heaps_readers_and_trees) {
  char heap[] = "one\0two\0three";
  const char* strings[] = {heap + 4, nullptr, heap, heap + 10};
  TeraIndex index;
  ASSERT_EQ(index.heap_make(4, strings, sizeof heap, heap), 0);
  EXPECT_EQ(read_all(index), (Strings{"two", "", "one", "ree"}));
  EXPECT_EQ(index.get_heap_pos(1), 7U);
  EXPECT_EQ(index.heap_make(4, strings, sizeof heap - 1, heap), -1) << "no zero byte at the end";
  EXPECT_EQ(index.heap_make(4, strings, 4, heap), -1) << "strings behind the heap";

  // Side by side, the tails of one long string would take 20 GB.
  const std::string tails(200000, 'x');
  std::string owner(tails.c_str(), tails.size() + 1);
  Pointers starts;
  for (const char& c : tails) starts.push_back(owner.data() + (&c - tails.data()));
  ASSERT_EQ(index.heap_make(200000, starts.data(), static_cast<Large>(owner.size()), owner.data()), 0);
  AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", 1);
  EXPECT_EQ(index.update(0, "new", 0), 0);
  AceTracer::set("INDEX_ALIGN_THRESHOLD_KB", 0);
  EXPECT_FALSE(index.is_int_aligned());
  EXPECT_EQ(index.get_line_len(0), 3);
  EXPECT_EQ(index.get_line_len(199997), 3);

  char text[] = "2a\tz\nb\na\nb";
  AceInput input(text, false);
  TeraStandardReader reader(&input, 16);
  EXPECT_EQ(index.reader_make(&reader), 4);
  EXPECT_EQ(read_all(index), (Strings{"z", "b", "a", "b"}));

  for (const int logBlock : {0, 2}) {
    AceBigTree<long> tree(0);
    for (const char* string : {"z", "b", "a", "b"}) ++tree[string];
    EXPECT_EQ(index.tree_make(&tree, logBlock), 3U);
    EXPECT_EQ(read_all(index), (Strings{"a", "b", "z"}));
    EXPECT_EQ(index.search("z", 0, 0), 2U);
    EXPECT_EQ(index.get_block_size(), 1 << logBlock);
  }
}

/// Everything that may be asked of an index whose file was damaged.
void use(TeraIndex* index, std::size_t fileSize) {
  AceAttach at;
  std::size_t total = 0;
  index->for_each([&](const char* string, int) { total += std::strlen(string); });
  EXPECT_LE(total, std::max<std::size_t>(64, index->get_size()) * fileSize);
  index->search("a", 1, 0);
  index->search_interval("b", 1, 0);
  if (index->get_size() > 0) index->get_line(index->get_size() - 1, &at);
  index->optimize(nullptr);
  index->compress(2);
}

TEST(TeraIndex, a_cut_file_is_refused_and_a_flipped_bit_never_reads_out_of_bounds) {
  AceReporter::clear_default();
  const support::TempFolder folder;
  for (const int logBlock : {0, 2}) {
    TeraIndex index;
    ASSERT_EQ(make(&index, {"ab", "abba", "", "b", "cabab"}, logBlock, 1), 0);
    std::string image = image_of(&index);
    const std::string first = image.substr(0, 4000);  // of the coder a part; then the arrays behind it
    const std::size_t behind = image.size() > 4000 ? image.size() - 200 : image.size();
    const auto try_one = [&](const std::string& bytes) {
      TeraIndex read;
      try {
        if (read.read_with_magic(bytes.data(), bytes.size()) < 0) return false;
      } catch (const AceException&) {
        return false;
      }
      use(&read, bytes.size());
      return true;
    };
    for (std::size_t length = 0; length < image.size(); length += length < 1000 ? 1 : 13)
      EXPECT_FALSE(try_one(support::cut(image, length))) << "cut at " << length;
    for (std::size_t bit = 0; bit < 8 * image.size(); ++bit) {
      if (bit / 8 > 1200 && bit / 8 < behind && bit % 11 != 0) continue;
      try_one(support::flip(image, bit));
    }
    std::mt19937 random(4);
    for (int round = 0; round < 2000; ++round) {
      std::string damaged = image;
      const std::size_t from = round % 2 == 0 ? 0 : std::min(behind, image.size() - 50);
      for (int i = 0; i < 4; ++i)
        damaged[from + random() % (round % 2 == 0 ? 60 : image.size() - from)] = static_cast<char>(random());
      try_one(damaged);
    }
  }
}

TEST(StringComp, codes_that_would_be_too_deep_are_evened_out) {
  StringStats stats(1);
  // Lengths with Fibonacci frequencies, and one context of a single byte.
  VInt before = 1;
  VInt now = 1;
  Strings strings;
  for (int length = 1; length <= 27; ++length) {
    strings.emplace_back(static_cast<std::size_t>(length), 'q');
    for (VInt i = 0; i < now; ++i) ASSERT_EQ(stats.insert(strings.back().c_str()), 0);
    before = std::exchange(now, before + now);
  }
  const std::unique_ptr<StringComp> comp(stats.make(nullptr));
  std::reverse(strings.begin(), strings.end());
  const Pointers all = pointers(strings);
  const VInt bits = comp->measure(all.data(), 27);
  std::vector<Token> block(static_cast<std::size_t>(bits + 7) / 8);
  ASSERT_EQ(comp->code(all.data(), 27, block.data()), static_cast<VInt>(block.size()));
  AceAttach at;
  char* out[27];
  ASSERT_EQ(comp->decode(block.data(), static_cast<VInt>(block.size()), 27, out, &at), 27);
  for (std::size_t i = 0; i < 27; ++i) EXPECT_EQ(out[i], strings[i]);
  EXPECT_EQ(comp->decode(block.data(), 20, 27, out, &at) < 27, true);
  EXPECT_STREQ(out[26], "");
  const char* unknown = "r";
  EXPECT_EQ(comp->code(&unknown, 1, block.data()), -1);
}

TEST(TeraIndex, reading_does_not_walk_through_the_offsets_and_verify_does) {
  AceReporter::clear_default();
  Strings strings;
  for (int i = 0; i < 20'000; ++i) strings.push_back("string " + std::to_string(i));
  TeraIndex good;
  ASSERT_EQ(make(&good, strings), 0);
  const std::string image = image_of(&good);
  for (const bool isDamaged : {false, true}) {
    const support::SealedImage sealed(isDamaged ? support::overwrite(image, 40'000, Large{0xFFFF0000})
                                                : image);
    sealed.seal();
    AceFile file;
    file.init_read(sealed.data(), sealed.size());
    file.get_int();  // the version word
    TeraIndex index;
    ASSERT_EQ(index.read(&file), 0);
    sealed.open();
    EXPECT_EQ(index.verify(AceReporter::null()), isDamaged ? -1 : 0);
    int numEmpty = 0;
    for (Large i = 0; i < 20'000; ++i)
      if (*index.get_line(i, nullptr) == '\0') ++numEmpty;
    EXPECT_EQ(numEmpty, isDamaged ? 1 : 0);
  }
}
}  // namespace
