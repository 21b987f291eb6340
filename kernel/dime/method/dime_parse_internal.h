/// The parsers of a method's options, and parsing.
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

/// A parser that is listed under a method's name when it is made.
class DimeListedParser {
 public:
  /// `list` is one of `dast_recall_options_parser` and `dast_build_options_parser`; `declare` adds the
  /// options.
  DimeListedParser(AceOptionsParser* list(const char*, AceOptionsParser*), const char* name,
                   void declare(AceOptionsParser*)) {
    declare(&listedParser);
    list(name, &listedParser);
  }
  AceOptionsParser* get() { return &listedParser; }

 private:
  AceOptionsParser listedParser;
};
