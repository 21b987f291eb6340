// Man page and completion, made of what the help says.
#include "sorvanta/tool_verbs.h"

namespace {

/// A text as roff takes it: no line starts with a control character, backslashes and hyphens are literal.
std::string roff(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if ((c == '.' || c == '\'') && (result.empty() || result.back() == '\n')) result += "\\&";
    result += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
  }
  return result;
}

/// "--to FILE", "words"
std::string spelling(const CLI::Option& option) {
  const std::string type =
      option.get_type_size() > 0 && !option.get_positional() ? " " + option.get_type_name() : std::string();
  return option.get_name(option.get_positional(), true) + type;
}

std::string options_of(const CLI::App& app) {
  std::string page;
  for (const CLI::Option* option : app.get_options())
    page += ".TP\n.B " + roff(spelling(*option)) + "\n" + roff(option->get_description()) + "\n";
  return page;
}

/// A footer of examples stays as it is written.
std::string verbatim(const std::string& text) {
  return text.empty() ? "" : ".PP\n.nf\n" + roff(text) + "\n.fi\n";
}

std::vector<const CLI::App*> verbs_of(const CLI::App& tool) {
  return tool.get_subcommands(nullptr);
}

}  // namespace

std::string manual_page(const CLI::App& tool) {
  std::string page = ".TH SORVANTA 1 \"\" \"sorvanta " SORVANTA_VERSION "\"\n.SH NAME\n" +
                     roff("sorvanta - find words and records in spite of typing errors") +
                     "\n.SH SYNOPSIS\n.B sorvanta\n.I verb\n[options]\n.SH DESCRIPTION\n" +
                     roff(tool.get_description()) + "\n" + verbatim(tool.get_footer()) + ".SH OPTIONS\n" +
                     options_of(tool) + ".SH VERBS\n";
  for (const CLI::App* verb : verbs_of(tool))
    page += ".SS " + verb->get_name() + "\n" + roff(verb->get_description()) + "\n" + options_of(*verb) +
            verbatim(verb->get_footer());
  return page;
}

std::string bash_completion(const CLI::App& tool) {
  std::string verbs, cases;
  for (const CLI::App* verb : verbs_of(tool)) {
    verbs += (verbs.empty() ? "" : " ") + verb->get_name();
    std::string options;
    for (const CLI::Option* option : verb->get_options())
      for (const std::string& name : option->get_lnames()) options += " --" + name;
    cases += "    " + verb->get_name() + ") options=\"" + options.substr(options.empty() ? 0 : 1) + "\" ;;\n";
  }
  return "# Completion of sorvanta for bash.\n_sorvanta() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} options\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"" +
         verbs +
         " --help --version\" -- \"$word\")\n    return\n  fi\n"
         "  case ${COMP_WORDS[1]} in\n" +
         cases +
         "  esac\n"
         "  case $word in\n"
         "    -*) mapfile -t COMPREPLY < <(compgen -W \"$options\" -- \"$word\") ;;\n"
         "    *) mapfile -t COMPREPLY < <(compgen -f -- \"$word\") ;;\n  esac\n}\n"
         "complete -o filenames -F _sorvanta sorvanta\n";
}
