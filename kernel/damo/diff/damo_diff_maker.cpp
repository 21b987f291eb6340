#include "damo/damo_diff_maker.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_count.h"
#include "damo/damo_diff.h"
#include "damo/diff/damo_key_table_internal.h"
#include "damo/diff/damo_record_key_internal.h"
#include "damo/output/damo_output_internal.h"

namespace {

constexpr int BUFFER_SIZE = 4 << 20;
constexpr VInt MOST_PIECES = 250;
constexpr VInt LINE_OVERHEAD = 2;  // memory a byte of text, about
constexpr std::string_view DELETION_MARKER = "<del>";

[[noreturn]] void fail_on_temporary() {
  throw AceException("Cannot use a temporary file", "%s", std::strerror(errno));
}

struct Text {
  std::unique_ptr<char[]> bytes;
  std::size_t size;
};

/// Lines in a file without a name, in a folder.
class TempLines {
 public:
  TempLines(const std::string& folder, std::size_t buffer_size) : bufferSize(buffer_size) {
    file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0) {
      std::string name = folder + "/.sorvanta-difference-XXXXXX";
      file = mkostemp(name.data(), O_CLOEXEC);
      if (file >= 0) unlink(name.c_str());
    }
    if (file < 0)
      throw AceException("Cannot make a temporary file", "In '%s': %s", folder.c_str(), std::strerror(errno));
  }
  TempLines(const TempLines&) = delete;
  TempLines& operator=(const TempLines&) = delete;
  ~TempLines() { close(file); }

  void add(std::string_view line) {
    if (buffer.size() + line.size() >= bufferSize) flush();
    buffer.append(line).append(1, '\n');
  }
  /// All lines, to be cut at their ends. What is in memory else goes.
  Text get() {
    flush();
    buffer = std::string();
    Text text{std::make_unique_for_overwrite<char[]>(size), size};
    for (std::size_t done = 0; done < size;) {
      const ssize_t count = pread(file, text.bytes.get() + done, size - done, static_cast<off_t>(done));
      if (count == 0) errno = EIO;
      if (count == 0 || (count < 0 && errno != EINTR)) fail_on_temporary();
      done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return text;
  }

 private:
  void flush() {
    for (std::string_view left(buffer); !left.empty();) {
      const ssize_t count = write(file, left.data(), left.size());
      if (count < 0 && errno != EINTR) fail_on_temporary();
      left.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    size += buffer.size();
    buffer.clear();
  }

  int file = -1;
  std::string buffer;
  std::size_t bufferSize;
  std::size_t size = 0;
};

/// `visit(line)` for the records of files.
template <class Visit>
void for_each_record(const std::vector<std::string>& files, int num_fields, Visit visit) {
  for (const std::string& file : files) {
    AceInput input(file.c_str(), BUFFER_SIZE, false);
    char* line = nullptr;
    VInt line_num = 0;
    for (int length; (length = input.read_line(&line)) >= 0;) {
      std::string_view text(line, static_cast<std::size_t>(length));
      if (++line_num == 1 && text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
      const int found = strncount(text.data(), '\t', static_cast<int>(text.size())) + 1;
      if (found != num_fields)
        throw AceException("Wrong number of fields in a record file",
                           "'%s', line %ld: %d fields instead of %d expected", file.c_str(), line_num, found,
                           num_fields);
      visit(text);
    }
    if (input.read_error() != 0)
      throw AceException("Cannot read file", "'%s' cannot be read beyond line %ld", file.c_str(), line_num);
  }
}

VInt size_of(const std::vector<std::string>& files) {
  VInt size = 0;
  for (const std::string& file : files) size += AceInput(file.c_str(), 2, false).get_size();
  return size;
}

/// The records of some keys, old and new.
class Piece {
 public:
  /// With `lines_stay` lines are not copied.
  Piece(const std::vector<int>& id_cols, int num_fields, bool lines_stay)
      : idCols(id_cols), numFields(num_fields), linesStay(lines_stay) {}

  /// Before all new ones.
  void add_old(std::string_view line) {
    const std::string_view kept = linesStay ? line : texts.keep(line);
    const std::size_t number = keys.find(damo_key_of(kept, idCols, &room));
    groups[number != DamoKeyTable::NONE ? number : add_key(kept)].oldLines.add(kept, &rest);
  }
  /// Of a line that has not changed the old one is kept.
  void add_new(std::string_view line) {
    const std::size_t number = find(damo_key_of(line, idCols, &room));
    const bool isSame = number != DamoKeyTable::NONE && groups[number].oldLines.size > 0 &&
                        groups[number].oldLines.first == line;
    const std::string_view kept = isSame      ? groups[number].oldLines.first
                                  : linesStay ? line
                                              : texts.keep(line);
    groups[number != DamoKeyTable::NONE ? number : add_key(kept)].newLines.add(kept, &rest);
    expected = number + 1;
  }

  VInt write(DamoOutput* out) {
    VInt count = 0;
    for (Group& group : groups) count += write(&group, out);
    return count;
  }

 private:
  /// The lines of a key: nearly always one.
  struct Lines {
    std::string_view first;
    int size = 0;
    int more = -1;  // further ones, in `rest`

    void add(std::string_view line, std::vector<std::vector<std::string_view>>* others) {
      if (size++ == 0) {
        first = line;
        return;
      }
      if (more < 0) {
        more = static_cast<int>(others->size());
        others->emplace_back();
      }
      (*others)[static_cast<std::size_t>(more)].push_back(line);
    }
    std::vector<std::string_view> all(const std::vector<std::vector<std::string_view>>& others) const {
      std::vector<std::string_view> lines;
      if (size > 0) lines.push_back(first);
      if (more >= 0) {
        const auto& further = others[static_cast<std::size_t>(more)];
        lines.insert(lines.end(), further.begin(), further.end());
      }
      return lines;
    }
  };
  struct Group {
    Lines oldLines;
    Lines newLines;
  };

  /// Deliveries come in one order, more often than not: the key behind the one before is looked at first.
  std::size_t find(std::string_view key) const {
    return expected < keys.size() && keys.key(expected) == key ? expected : keys.find(key);
  }
  /// The key of a line that stays.
  std::size_t add_key(std::string_view line) {
    const std::string_view key = damo_key_of(line, idCols, &room);
    groups.emplace_back();
    return keys.add(idCols.size() == 1 ? key : texts.keep(key));
  }

  bool is_same(const Group& group) const {
    if (group.oldLines.size != group.newLines.size) return false;
    if (group.newLines.size == 1) return group.oldLines.first == group.newLines.first;
    auto before = group.oldLines.all(rest), after = group.newLines.all(rest);
    std::sort(before.begin(), before.end());
    std::sort(after.begin(), after.end());
    return before == after;
  }

  VInt write(Group* group, DamoOutput* out) const {
    if (is_same(*group)) return 0;
    if (group->newLines.size == 0) {
      out->write(DELETION_MARKER);
      out->put('\t');
      out->write(group->oldLines.first);
      out->put('\n');
      return 1;
    }
    for (const std::string_view line : group->newLines.all(rest)) {
      check(line);
      out->write(line);
      out->put('\n');
    }
    return group->newLines.size;
  }

  /// A line that would be read as something else.
  void check(std::string_view line) const {
    bool hasValue = idCols.size() == static_cast<std::size_t>(numFields);
    for (int i = 0; i < numFields && !hasValue; ++i)
      hasValue =
          std::find(idCols.begin(), idCols.end(), i) == idCols.end() && !damo_field_of(line, i).empty();
    if (!hasValue || line.empty() || damo_field_of(line, 0) == DELETION_MARKER)
      throw AceException("A difference file cannot say this record",
                         "'%.*s': expected a field that is not of the key, and no \"<del>\" at its start",
                         static_cast<int>(std::min<std::size_t>(line.size(), 200)), line.data());
  }

  const std::vector<int>& idCols;
  int numFields;
  bool linesStay;
  std::string room;
  DamoTexts texts;
  DamoKeyTable keys;
  std::vector<Group> groups;  // of each key
  std::size_t expected = 0;
  std::vector<std::vector<std::string_view>> rest;
};

/// `visit(line)` for the lines of a text.
template <class Visit>
void for_each_line(const Text& lines, Visit visit) {
  std::string_view text(lines.bytes.get(), lines.size);
  for (std::size_t end; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1))
    visit(text.substr(0, end));
}

std::string folder_of(const char* file) {
  const char* const slash = std::strrchr(file, '/');
  return slash == nullptr ? "." : slash == file ? "/" : std::string(file, slash);
}

/// What is compared, and how.
struct Deliveries {
  const std::vector<std::string>& oldFiles;
  const std::vector<std::string>& newFiles;
  const std::vector<int>& idCols;
  int numFields;

  VInt compare(DamoOutput* out) const;
  VInt compare_on_disk(VInt num_pieces, VInt memory, const std::string& folder, DamoOutput* out) const;
  template <class Pieces>
  void deal(const std::vector<std::string>& files, Pieces* pieces) const;
};

/// In memory.
VInt Deliveries::compare(DamoOutput* out) const {
  Piece piece(idCols, numFields, false);
  for_each_record(oldFiles, numFields, [&](std::string_view line) { piece.add_old(line); });
  for_each_record(newFiles, numFields, [&](std::string_view line) { piece.add_new(line); });
  return piece.write(out);
}

/// Lines of a key go to one piece.
template <class Pieces>
void Deliveries::deal(const std::vector<std::string>& files, Pieces* pieces) const {
  constexpr int UNUSED_BITS = 32;  // those below number the slots of a table of keys
  std::string room;
  for_each_record(files, numFields, [&](std::string_view line) {
    const std::size_t hash = DamoKeyTable::hash_of(damo_key_of(line, idCols, &room));
    (*pieces)[(hash >> UNUSED_BITS) % pieces->size()]->add(line);
  });
}

VInt Deliveries::compare_on_disk(VInt num_pieces, VInt memory, const std::string& folder,
                                 DamoOutput* out) const {
  constexpr VInt SMALLEST = 4096, LARGEST = 1 << 18, SHARE = 8;  // of the memory, for the buffers
  const auto bufferSize =
      static_cast<std::size_t>(std::clamp(memory / (SHARE * num_pieces), SMALLEST, LARGEST));
  std::vector<std::unique_ptr<TempLines>> before, after;
  for (VInt i = 0; i < num_pieces; ++i)
    for (auto* const pieces : {&before, &after})
      pieces->push_back(std::make_unique<TempLines>(folder, bufferSize));
  deal(oldFiles, &before);
  deal(newFiles, &after);
  VInt numLines = 0;
  for (std::size_t i = 0; i < before.size(); ++i) {
    const Text oldText = before[i]->get(), newText = after[i]->get();
    Piece piece(idCols, numFields, true);
    for_each_line(oldText, [&](std::string_view line) { piece.add_old(line); });
    for_each_line(newText, [&](std::string_view line) { piece.add_new(line); });
    numLines += piece.write(out);
    before[i].reset();
    after[i].reset();
  }
  return numLines;
}

}  // namespace

DamoDiffMaker::DamoDiffMaker(const int* id_cols, int num_ids, int num_fields) : numFields(num_fields) {
  const DamoDiff check(id_cols, num_ids, num_fields, 0, 0);
  idCols.assign(id_cols, id_cols + (id_cols != nullptr ? std::max(num_ids, 0) : 0));
}

void DamoDiffMaker::add_old(const char* file) {
  oldFiles.emplace_back(file != nullptr ? file : "");
}

void DamoDiffMaker::add_new(const char* file) {
  newFiles.emplace_back(file != nullptr ? file : "");
}

void DamoDiffMaker::set_memory(VInt bytes) {
  memory = std::max<VInt>(bytes, 1);
}

VInt DamoDiffMaker::make(const char* file, AceReporter* rep) {
  if (rep == nullptr) rep = AceReporter::use_default();
  DamoOutput out(file);
  const VInt numPieces =
      std::min(((size_of(oldFiles) + size_of(newFiles)) * LINE_OVERHEAD) / memory + 1, MOST_PIECES);
  const Deliveries deliveries{oldFiles, newFiles, idCols, numFields};
  const VInt numLines = numPieces > 1 ? deliveries.compare_on_disk(numPieces, memory, folder_of(file), &out)
                                      : deliveries.compare(&out);
  out.commit();
  rep->printf("Made %ld difference lines in file '%s'\n", numLines, file);
  return numLines;
}
