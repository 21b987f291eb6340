#include "sorvanta/tool_target.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "ace/ace_file.h"
#include "ace/ace_magic.h"
#include "dare/dare_ldb.h"
#include "dare/dare_manager.h"
#include "dast/dast_base.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_source.h"

namespace {

constexpr std::size_t LDB_START = 1 << 16;
constexpr int MAPPED = 1;

/// The magic code of an index file; "" for other files.
std::string magic_of(const std::string& start) {
  int words[2] = {0, 0};
  if (start.size() < sizeof words) return "";
  std::memcpy(words, start.data(), sizeof words);
  char code[MAGIC_STRING_SIZE] = "";
  const bool isMagic = words[0] == AceFile::get_version_magic() && words[1] > 0 && (words[1] & 1) != 0;
  return isMagic ? magic_string(words[1], code) : "";
}

}  // namespace

Target::Target(const std::string& file) : fileName(file), dataManager(&ToolReporter::get()) {
  const std::string start = file_start(file, LDB_START);
  const std::string magic = magic_of(start);
  if (magic.starts_with("EDIT")) {
    wordIndex = std::make_unique<TeraEdit>();
    if (wordIndex->load(file.c_str(), MAPPED, &ToolReporter::get()) < 0)
      throw Failure(printable(file) + ": expected a word index, found a damaged one");
    return;
  }
  if (start.find('\0') == std::string::npos && start.find("main_svd") != std::string::npos)
    load_ldb(file);
  else if (magic.starts_with("BASE"))
    load_base(file);
  else
    throw Failure(
        printable(file) + ": expected a base, a word index or an ldb file, found " +
        (start.empty() ? "an empty file" : "another file; `sorvanta build` makes a base of records"));
  SorvantaSession session = make_session();
  const DastSession* const internal = session.get_internal_session();
  for (int i = 0; i < session.get_num_fields(); ++i) {
    const char* const method = session.get_field_method(i);  // null: shown only
    sessionFields.push_back({session.get_field_name(i), method != nullptr ? method : "",
                             internal->get_config()->get_session_field(i)->get_base_field() != nullptr});
  }
  hasRules = internal->get_config()->get_rules() != nullptr;
  ToolReporter::get().take_messages();
}

void Target::Release::operator()(DastBase* base) const {
  base->destroy();
}

void Target::load_base(const std::string& file) {
  recordBase.reset(new DastBase);
  if (recordBase->load(file.c_str(), MAPPED, &ToolReporter::get()) < 0)
    throw Failure(printable(file) + ": expected a base, found a damaged one");
}

void Target::load_ldb(const std::string& file) {
  DareLdbFile ldb;
  const std::string folder = std::filesystem::absolute(file).parent_path().string();
  if (ldb.read_from_file(file.c_str(), nullptr, nullptr) < 0 ||
      dataManager.load(&ldb, MAPPED, folder.c_str(), 0, manager.get_internal_manager(), nullptr) < 0)
    throw Failure(printable(file) + ": what it names cannot be loaded");
  if (const int faulty = dataManager.get_num_faulty_templates(); faulty > 0)
    throw Failure(printable(file) + ": of its session templates " + std::to_string(faulty) +
                  " cannot be used");
}

SorvantaSession Target::make_session() {
  const int id = recordBase != nullptr
                     ? manager.get_internal_manager()->create_session(recordBase.get(), &ToolReporter::get())
                     : manager.create_session("", 0);
  SorvantaSession session;
  if (id < 0 || manager.get_session(id, &session) < 0)
    throw Failure(printable(fileName) + ": its session template cannot be used");
  return session;
}

std::vector<std::string> Target::get_field_names() const {
  std::vector<std::string> names;
  for (const TargetField& field : sessionFields) names.push_back(field.name);
  return names;
}

std::size_t Target::find_field(const std::string& name) const {
  const auto find = [&](auto is_named) {
    return std::find_if(sessionFields.begin(), sessionFields.end(), is_named) - sessionFields.begin();
  };
  auto index = static_cast<std::size_t>(find([&](const TargetField& field) { return field.name == name; }));
  if (index == sessionFields.size())
    index = static_cast<std::size_t>(
        find([&](const TargetField& field) { return plain_name(field.name) == plain_name(name); }));
  if (index < sessionFields.size()) return index;
  throw Failure(refusal("field of the base", name, get_field_names()) + " Its fields are " +
                listed(get_field_names()));
}
