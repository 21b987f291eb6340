#include "dast/dast_alias_gen_cache.h"

#include <charconv>
#include <cstring>
#include <string_view>
#include <vector>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"
#include "ace/ace_tracer.h"

namespace {

bool is_plain(const char* text) {
  return std::strpbrk(text, "\t\r\n") == nullptr;
}

/// The aliases of a line behind its value; null for what is no alias and penalty.
std::unique_ptr<DastAliasResult> parse_aliases(std::string_view rest) {
  auto result = std::make_unique<DastAliasResult>();
  while (!rest.empty()) {  // tab, alias, tab, penalty
    const std::size_t middle = rest.find('\t', 1);
    if (middle == rest.npos) return nullptr;
    const std::size_t end = std::min(rest.find('\t', middle + 1), rest.size());
    int penalty = 0;
    const auto [stop, error] = std::from_chars(rest.data() + middle + 1, rest.data() + end, penalty);
    if (error != std::errc() || stop != rest.data() + end) return nullptr;
    result->add_alias(std::string(rest.substr(1, middle - 1)).c_str(), penalty);
    rest.remove_prefix(end);
  }
  return result;
}

}  // namespace

int DastAliasGenCache::open_cache_file(const char* cache_dir) {
  static const AceTraceFlag writeCache("ALIAS_GEN_WRITE_CACHE", __FILE__, __LINE__);
  const std::lock_guard<std::mutex> lock(cacheMutex);
  const int mode = writeCache.get();
  if (mode <= 0 || cache_dir == nullptr) return 0;
  const std::string name = std::string(cache_dir) + "/" + FILE_NAME;
  cacheFile.reset(AceFile::open(name.c_str(), mode == 1 ? "wb" : "ab"));
  if (cacheFile != nullptr) return 1;
  AceReporter::use_default()->printf("The alias cache '%s' cannot be opened for writing\n", name.c_str());
  return -1;
}

int DastAliasGenCache::close_cache_file() {
  const std::lock_guard<std::mutex> lock(cacheMutex);
  if (cacheFile == nullptr) return 0;
  const bool isWritten = std::ferror(cacheFile.get()) == 0;
  return std::fclose(cacheFile.release()) == 0 && isWritten ? 0 : -1;
}

int DastAliasGenCache::read(const char* filename) try {
  AceInput input(filename, 0, false);
  decltype(valueTree) lines;
  int numLines = 0;
  const char* line = nullptr;
  for (int length = 0; (length = input.read_line(&line, nullptr)) >= 0; ++numLines) {
    const std::string_view text(line, static_cast<std::size_t>(length));
    const std::size_t tab = std::min(text.find('\t'), text.size());
    auto aliases = parse_aliases(text.substr(tab));
    if (aliases == nullptr) {
      AceReporter::use_default()->printf(
          "%s:%d: expected a value and pairs of alias and penalty, with tabs between, found '%s'\n", filename,
          numLines + 1, line);
      return -1;
    }
    lines[std::string(text.substr(0, tab))] = std::move(aliases);
  }
  if (input.read_error() != 0) return -1;
  const std::lock_guard<std::mutex> lock(cacheMutex);
  for (auto& [value, aliases] : lines) valueTree[value] = std::move(aliases);
  return numLines;
} catch (const AceException&) {
  AceReporter::use_default()->printf("The alias cache '%s' cannot be read\n", filename);
  return -1;
}

int DastAliasGenCache::lookup(const char* value, DastAliasResult* result) const {
  const std::lock_guard<std::mutex> lock(cacheMutex);
  const auto found = valueTree.find(std::string_view(value));
  return found != valueTree.end() ? result->merge_results(found->second.get()) : -1;
}

int DastAliasGenCache::add(const char* value, const DastAliasResult* result) {
  if (!is_plain(value)) return 0;
  std::string line = value;
  auto kept = std::make_unique<DastAliasResult>();
  for (const GeneratedAlias* alias = result->get_first(); alias != nullptr; alias = alias->nextAlias) {
    if (!is_plain(alias->aliasString)) continue;
    kept->add_alias(alias->aliasString, alias->aliasPenalty);
    line += std::string("\t") + alias->aliasString + "\t" + std::to_string(alias->aliasPenalty);
  }
  line += "\n";
  const std::lock_guard<std::mutex> lock(cacheMutex);
  valueTree[value] = std::move(kept);
  if (cacheFile == nullptr) return 0;
  return std::fwrite(line.data(), 1, line.size(), cacheFile.get()) == line.size() ? 0 : -1;
}
