/// A driver manager that answers as it is told, in place of the real one: for what real drivers rarely do.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct FakeOdbc {
  struct Value {
    std::string text;
    bool isNull = false;
    std::optional<long> told = std::nullopt;  // as length, instead of the right one
    bool tellsNothing = false;
  };
  struct Result {
    std::vector<std::string> columns;
    std::vector<std::vector<Value>> rows;
    int executed = 0;     // what SQLExecDirect returns
    int fetched = 0;      // what SQLFetch returns for each row
    int numColumns = -1;  // if it is not that of `columns`
  };
  struct Record {
    std::string state;
    int native;
    std::string text;
  };

  std::map<std::string, Result> results;  // of statements
  std::map<std::string, int> failing;     // functions, and what they return
  std::vector<Record> records;            // that SQLGetDiagRec gives, the last one for ever if `isEndless`
  bool isEndless = false;
  std::vector<std::pair<std::string, std::string>> sources;

  std::vector<std::string> statements;  // that were executed
  std::string login;
  int numHandles = 0;  // that are open
};

FakeOdbc& fake_odbc();
