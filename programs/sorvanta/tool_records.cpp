#include "sorvanta/tool_records.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <vector>

#include "ace/ace_input.h"
#include "damo/damo_field.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_files.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_source.h"

namespace {

constexpr int NO_SOURCE = -1;  // of a field that is empty

/// The output fields of settings; each owns its parts.
class OutputFields {
 public:
  OutputFields(const Settings& settings, const SourceColumns& columns) {
    for (std::size_t i = 0; i < settings.fields.size(); ++i) add(settings, columns, i);
  }
  const std::vector<DamoField*>& get_fields() const { return fields; }

 private:
  DamoField* make(const Settings& settings, const FieldSettings& field, int source) {
    parts.push_back(std::make_unique<DamoField>(field.name.c_str()));
    parts.back()->set_source(source);
    if (field.transform.empty()) return parts.back().get();
    transforms.emplace_back(TeraTransform::factory(field.transform.c_str(), nullptr));
    if (transforms.back() == nullptr)
      throw Failure(settings.name + ":" + std::to_string(field.line) + ": field " + field.name +
                    ": expected a transform, such as TRIM_ALL, found '" + printable(field.transform) + "'");
    parts.back()->set_transform(transforms.back().get());
    return parts.back().get();
  }

  void add(const Settings& settings, const SourceColumns& columns, std::size_t index) {
    const FieldSettings& field = settings.fields[index];
    const std::vector<int>& sources = columns.of_field(index);
    DamoField* const whole = make(settings, field, sources.empty() ? NO_SOURCE : sources[0]);
    fields.push_back(whole);
    if (sources.size() < 2) return;
    whole->set_concat(field.between.c_str());
    for (const int source : sources) whole->add_subfield(make(settings, field, source));
  }

  std::vector<std::unique_ptr<TeraTransform>> transforms;
  std::vector<std::unique_ptr<DamoField>> parts;
  std::vector<DamoField*> fields;
};

VInt count_lines(const std::string& file) {
  VInt count = 0;
  AceInput lines(file.c_str(), 1 << 16, false);
  for (const char* line = nullptr; lines.read_line(&line) >= 0;) ++count;
  return count;
}

/// Extracts one source. Returns the number of records.
VInt extract(const Settings& settings, const SourceSettings& source, const std::string& records,
             const std::string& rejects) {
  const SourceColumns columns(settings, source);
  const auto decoder = make_decoder(source.encoding);
  OutputFields fields(settings, columns);
  DamoExtract run(columns.get_num_columns(), static_cast<int>(settings.fields.size()), records.c_str(), 0, 1);
  run.set_rejects(rejects.c_str());
  run.set_for_build();
  run.set_encoding(decoder.get());
  select_source(&run, source, columns.get_paths());
  for (DamoField* field : fields.get_fields()) run.add_field(field);
  const VInt count = run.extract(corrections_of(source), "", 0, &ToolReporter::get(), nullptr, nullptr, 0, 1);
  ToolReporter::get().end();
  return count;
}

/// Files that go.
struct PassingFiles {
  explicit PassingFiles(std::vector<std::string> passing = {}) : names(std::move(passing)) {}
  PassingFiles(const PassingFiles&) = delete;
  PassingFiles& operator=(const PassingFiles&) = delete;
  ~PassingFiles() {
    for (const std::string& name : names) std::remove(name.c_str());
  }

  std::vector<std::string> names;
};

/// One file of several, in their order; whole or not at all.
void join(const std::vector<std::string>& parts, const std::string& whole) {
  const std::string aside = whole + ".joined";
  const PassingFiles passing({aside});
  std::ofstream output(aside, std::ios::binary);
  for (const std::string& part : parts)
    if (file_size(part) > 0) output << std::ifstream(part, std::ios::binary).rdbuf();
  output.close();
  if (!output || std::rename(aside.c_str(), whole.c_str()) != 0)
    throw Failure(printable(whole) + ": " + std::strerror(errno));
}

}  // namespace

RecordsMade make_records(const Settings& settings) {
  RecordsMade made;
  PassingFiles parts;
  const bool isOne = settings.sources.size() == 1;
  for (std::size_t i = 0; i < settings.sources.size(); ++i) {
    const SourceSettings& source = settings.sources[i];
    const std::string number = isOne ? "" : "." + std::to_string(i + 1);
    const std::string rejects = settings.records + number + ".rejected";
    if (!isOne) parts.names.push_back(settings.records + number);
    made.numRecords += extract(settings, source, isOne ? settings.records : parts.names.back(), rejects);
    const VInt numBad = count_lines(rejects + ".reasons");
    if (numBad > 0)
      made.rejects.push_back({source.file, rejects, numBad});
    else
      for (const char* const ending : {"", ".reasons"}) std::remove((rejects + ending).c_str());
  }
  if (!isOne) join(parts.names, settings.records);
  return made;
}
