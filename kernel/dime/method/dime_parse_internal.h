/// Parsing the options of a method.
#pragma once

#include <mutex>

#include "ace/ace_error.h"
#include "ace/ace_options_parser.h"
#include "ace/ace_reporter.h"
#include "dast/dast_options.h"

/// A parser that has parsed a text, held while its values are taken.
class DimeParse {
 public:
  /// Reports `call` when the text cannot be parsed.
  DimeParse(AceOptionsParser* parser, const char* text, AceReporter* rep,
            const char* call = "parser->parse(config_string, rep)")
      : parserLock(dast_options_mutex()), usedParser(parser), parseCode(parser->parse(text, rep)) {
    if (parseCode < 0) ace_error_msg(__FILE__, __LINE__, call, parseCode);
  }

  bool has_failed() const { return parseCode < 0; }
  const AceOptionsParser* get() const { return usedParser; }
  const AceOptionsParser* operator->() const { return usedParser; }
  const AceOptionsParser& operator*() const { return *usedParser; }

 private:
  std::scoped_lock<std::recursive_mutex> parserLock;
  AceOptionsParser* usedParser;
  int parseCode;
};
