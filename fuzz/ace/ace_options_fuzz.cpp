// Any option text. Paths: every kind of option, protected values, every error; what parsed without error
// parses again to the same values, and the defaults parse.
#include <cstdlib>
#include <cstring>
#include <string>

#include "ace/ace_attach.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

struct Options : AceOptionsParser {
  Options() {
    add_flag_option("a", "flag");
    add_int_option("i", 3, "integer");
    add_float_option("f", 1.5F, "float");
    add_double_option("d", 2.5, "double");
    add_char_option("c", 'x', "character");
    add_string_option("s", "text", "string", "{text}");
  }
  std::string values() const {
    const char* text = get_string_value("s");
    return std::string(get_bool_value("a") ? "a" : "-") + std::to_string(get_int_value("i")) + "/" +
           std::to_string(get_float_value("f")) + "/" + std::to_string(get_double_value("d")) + "/" +
           get_char_value("c") + "/" + (text != nullptr ? text : "(null)");
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, size_t size) {
  AceReporter::clear_default();
  const std::string text(bytes, bytes + size);
  Options options;
  const std::string defaults = options.values();
  const int rc = options.parse(text.c_str(), nullptr);
  const std::string values = options.values();
  require(options.parse(text.c_str(), nullptr) == rc && options.values() == values);
  require(options.parse(options.get_defaults_string(), nullptr) == 0 && options.values() == defaults);

  // The text as names, defaults and helps of declarations.
  AceOptionsParser declared;
  for (size_t at = 0; at < text.size(); at += 50) {
    const std::string piece = text.substr(at);
    declared.add_string_option(piece.c_str(), text.c_str(), piece.c_str());
    declared.add_char_option(piece.c_str() + 1, piece[0], text.c_str());
  }
  char out[AceOptionsParser::MAX_DEFAULTS];
  declared.create_defaults_string(out);
  const char* whole = declared.get_defaults_string();
  if (whole != nullptr) require(std::strncmp(out, whole, std::strlen(out)) == 0);
  AceAttach at;
  const char** lines = nullptr;
  require(declared.get_help_strings(&lines, &at) == declared.get_num_opts());
  return 0;
}
