#include "damo/damo_diff_maker.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_str_count.h"
#include "damo/damo_diff.h"
#include "damo/diff/damo_record_key_internal.h"
#include "damo/output/damo_output_internal.h"

namespace {

constexpr int BUFFER_SIZE = 4 << 20;
constexpr VInt MOST_PIECES = 250;
constexpr VInt LINE_OVERHEAD = 2;  // memory a byte of text, about
constexpr std::string_view DELETION_MARKER = "<del>";

/// Lines without a name, in a folder.
class TempLines {
 public:
  explicit TempLines(const std::string& folder) {
    int file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0) {
      std::string name = folder + "/.sorvanta-difference-XXXXXX";
      file = mkostemp(name.data(), O_CLOEXEC);
      if (file >= 0) unlink(name.c_str());
    }
    stream.reset(file >= 0 ? fdopen(file, "w+") : nullptr);
    if (stream == nullptr)
      throw AceException("Cannot make a temporary file", "In '%s': %s", folder.c_str(), std::strerror(errno));
  }
  void add(std::string_view line) {
    isFailed = isFailed || std::fwrite(line.data(), 1, line.size(), stream.get()) != line.size() ||
               std::putc('\n', stream.get()) == EOF;
    size += line.size() + 1;
  }
  std::string get() {
    std::string text(size, '\0');
    if (isFailed || std::fflush(stream.get()) != 0 || std::fseek(stream.get(), 0, SEEK_SET) != 0 ||
        std::fread(text.data(), 1, size, stream.get()) != size)
      throw AceException("Cannot use a temporary file", "%s", std::strerror(errno));
    return text;
  }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  std::unique_ptr<std::FILE, Close> stream;
  std::size_t size = 0;
  bool isFailed = false;
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
  Piece(const std::vector<int>& id_cols, int num_fields) : idCols(id_cols), numFields(num_fields) {}

  /// The text stays.
  void add(std::string_view line, bool is_new) {
    std::string_view key = damo_key_of(line, idCols, &room);
    auto found = byKey.find(key);
    if (found == byKey.end()) {
      if (idCols.size() != 1) {
        char* const copy = static_cast<char*>(keys.alloc(static_cast<VInt>(key.size() + 1)));
        std::memcpy(copy, key.data(), key.size());
        key = {copy, key.size()};
      }
      found = byKey.emplace(key, groups.size()).first;
      groups.emplace_back();
    }
    (is_new ? groups[found->second].newLines : groups[found->second].oldLines).add(line, &rest);
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
  std::string room;
  AceAttach keys;
  std::unordered_map<std::string_view, std::size_t> byKey;
  std::vector<Group> groups;
  std::vector<std::vector<std::string_view>> rest;
};

void add_lines(Piece* piece, std::string_view text, bool is_new) {
  for (std::size_t end; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1))
    piece->add(text.substr(0, end), is_new);
}

std::string folder_of(const char* file) {
  const char* const slash = std::strrchr(file, '/');
  return slash == nullptr ? "." : slash == file ? "/" : std::string(file, slash);
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
  VInt numLines = 0;
  std::vector<std::unique_ptr<TempLines>> before, after;
  std::string room, all[2];
  const auto deal = [&](const std::vector<std::string>& files,
                        std::vector<std::unique_ptr<TempLines>>* pieces, std::string* whole) {
    for (VInt i = 0; i < numPieces && numPieces > 1; ++i)
      pieces->push_back(std::make_unique<TempLines>(folder_of(file)));
    for_each_record(files, numFields, [&](std::string_view line) {
      if (pieces->empty()) {
        whole->append(line).append(1, '\n');
        return;
      }
      const std::size_t place = std::hash<std::string_view>()(damo_key_of(line, idCols, &room));
      (*pieces)[place % pieces->size()]->add(line);
    });
  };
  deal(oldFiles, &before, &all[0]);
  deal(newFiles, &after, &all[1]);
  for (VInt i = 0; i < numPieces; ++i) {
    const auto place = static_cast<std::size_t>(i);
    const std::string oldText = before.empty() ? std::move(all[0]) : before[place]->get();
    const std::string newText = after.empty() ? std::move(all[1]) : after[place]->get();
    Piece piece(idCols, numFields);
    add_lines(&piece, oldText, false);
    add_lines(&piece, newText, true);
    numLines += piece.write(&out);
  }
  out.commit();
  rep->printf("Made %ld difference lines in file '%s'\n", numLines, file);
  return numLines;
}
