#include "sorvanta/tool_records.h"

#include <cstdio>
#include <memory>
#include <vector>

#include "ace/ace_input.h"
#include "damo/damo_field.h"
#include "sorvanta/tool_failure.h"
#include "sorvanta/tool_reporter.h"
#include "sorvanta/tool_source.h"

namespace {

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
    DamoField* const whole = make(settings, field, sources[0]);
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

}  // namespace

RecordsMade make_records(const Settings& settings) {
  const SourceColumns columns(settings);
  const auto decoder = make_decoder(settings.source.encoding);
  OutputFields fields(settings, columns);
  DamoExtract run(columns.get_num_columns(), static_cast<int>(settings.fields.size()),
                  settings.records.c_str(), 0, 1);
  const std::string rejects = settings.records + ".rejected";
  run.set_rejects(rejects.c_str());
  run.set_for_build();
  run.set_encoding(decoder.get());
  select_source(&run, settings.source, columns.get_paths());
  for (DamoField* field : fields.get_fields()) run.add_field(field);
  RecordsMade made;
  made.numRecords =
      run.extract(corrections_of(settings.source), "", 0, &ToolReporter::get(), nullptr, nullptr, 0, 1);
  ToolReporter::get().end();
  made.numBad = count_lines(rejects + ".reasons");
  if (made.numBad > 0) made.rejects = rejects;
  for (const char* const ending : {"", ".reasons"})
    if (made.numBad == 0) std::remove((rejects + ending).c_str());
  return made;
}
