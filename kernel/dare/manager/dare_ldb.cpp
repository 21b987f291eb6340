#include "dare/dare_ldb.h"

#include <memory>

#include <unistd.h>

#include "ace/ace_error.h"
#include "ace/ace_exception.h"
#include "ace/ace_input.h"
#include "ace/ace_reporter.h"

namespace {

constexpr int BUFFER_SIZE = 4096;

std::vector<std::string> split_tabs(const std::string& line) {
  std::vector<std::string> parts;
  for (std::size_t start = 0;;) {
    const std::size_t tab = line.find('\t', start);
    parts.push_back(line.substr(start, tab - start));
    if (tab == std::string::npos) return parts;
    start = tab + 1;
  }
}

}  // namespace

std::string DareLdbFile::join(const char* folder, const std::string& name) {
  if (folder == nullptr || *folder == '\0' || (!name.empty() && name[0] == '/')) return name;
  const std::string path = folder;
  return path.back() == '/' ? path + name : path + "/" + name;
}

int DareLdbFile::assign_var(const char* const* parts, int num_parts) {
  const struct {
    const char* key;
    std::string* value;
    List* list;
  } keys[] = {
      {"main_svd", &mainSvd, nullptr},     {"main_cfg", &mainCfg, nullptr},
      {"main_svfs", nullptr, &mainSvf},    {"main_svs", &mainSvs, nullptr},
      {"insert_svd", &incSvd, nullptr},    {"insert_svs", &incSvs, nullptr},
      {"delete_bin", &binDelSet, nullptr}, {"ses", nullptr, &sesFiles},
      {"sss", nullptr, &sssFiles},         {"ebd", nullptr, &ebdFiles},
      {"managed", nullptr, &managedFiles}, {"sss_dependencies", nullptr, &sssDependencies},
  };
  for (const auto& [key, value, list] : keys) {
    if (num_parts < 1 || std::string(parts[0]) != key) continue;
    List values;
    for (int i = 1; i < num_parts; ++i)
      if (*parts[i] != '\0') values.emplace_back(parts[i]);
    allFiles.clear();
    if (list != nullptr) {
      *list = values;
      return static_cast<int>(values.size());
    }
    *value = values.empty() ? "" : values.front();
    return values.empty() ? 0 : 1;
  }
  return -1;
}

int DareLdbFile::read_from_file(const char* file_name, const char* build_path, const char* run_path) {
  AceReporter* const rep = AceReporter::use_default();
  if (isRead || file_name == nullptr) return -1;
  std::string path;
  for (const char* folder : {run_path, build_path, ""}) {
    path = folder != nullptr ? join(folder, file_name) : "";
    if (!path.empty() && access(path.c_str(), R_OK) == 0) break;
    path.clear();
  }
  if (path.empty()) {
    rep->printf("Cannot open ldb file '%s'. File does not exist", file_name);
    return -1;
  }
  isRead = true;
  ldbName = file_name;
  AceInput input(path.c_str(), BUFFER_SIZE, false);
  char* line = nullptr;
  VInt number = 0;
  int assigned = 0;
  while (input.read_line(&line, &number) >= 0) {
    if (*line == '\0' || *line == '#') continue;
    const std::vector<std::string> parts = split_tabs(line);
    if (parts.size() < 2) continue;
    std::vector<const char*> texts;
    for (const std::string& part : parts) texts.push_back(part.c_str());
    if (assign_var(texts.data(), static_cast<int>(texts.size())) < 0) {
      rep->printf("%s:%ld: '%s' is no key of an ldb file\n", path.c_str(), number + 1, texts[0]);
      return ace_error(__FILE__, __LINE__, "assign_var(parts, num_parts)", -1, 0, -1);
    }
    ++assigned;
  }
  return input.read_error() != 0 ? -1 : assigned;
}

int DareLdbFile::get_file_list(const char*** files) const {
  if (allFiles.empty()) {
    const auto add = [this](const std::string& name) {
      if (!name.empty()) allFiles.push_back(name.c_str());
    };
    const auto add_all = [&add](const List& list) {
      for (const std::string& name : list) add(name);
    };
    for (const std::string* name : {&ldbName, &mainSvd, &mainCfg}) add(*name);
    add_all(mainSvf);
    for (const std::string* name : {&mainSvs, &incSvd, &incSvs, &binDelSet}) add(*name);
    for (const List* list : {&sesFiles, &sssFiles, &ebdFiles, &managedFiles, &sssDependencies})
      add_all(*list);
  }
  *files = allFiles.data();
  return static_cast<int>(allFiles.size());
}
