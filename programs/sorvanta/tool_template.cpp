#include "sorvanta/tool_template.h"

#include "sorvanta/tool_files.h"

namespace {

std::string block(const std::string& opener, const std::string& lines) {
  return opener + "\t{\n" + lines + "}\n";
}

}  // namespace

std::string session_template(const Settings& settings) {
  if (!settings.session.empty()) return file_start(settings.session, MOST_TEXT_BYTES);
  std::string fields, weights, logic;
  for (const FieldSettings& field : settings.fields) {
    const bool isAsked = !field.method.empty();
    const std::string free = isAsked ? block("FS_FIELDS", field.name + "\t{}\n") : "";  // words of a text
    fields += block(field.name, "BUILD_FIELD\t" + field.name + "\nQUERY_NORM\tTRIM_ALL\n" + free);
    if (!isAsked) continue;
    weights += block(field.name, "WEIGHT\t" + std::to_string(field.weight) + "\n");
    logic += (logic.empty() ? "" : "&") + field.name;
  }
  return block("FIELDS", fields) +
         block("COMBINATIONS",
               block("default",
                     "MIN_CONF\t" + std::to_string(settings.quality) + "\n" + "NUM_ALTS\t" +
                         std::to_string(settings.suggestions) + "\n" +
                         block("FIXED_CONFIG", "LOGIC\t(" + logic + ")\n" + block("FIELDS", weights))));
}
