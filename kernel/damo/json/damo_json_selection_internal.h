/// The texts of selected members, from the events of a parser: no document is made.
///
///     paths     name, home.town
///     record    {"name": "Ann", "home": {"street": "x", "town": "Bern"}}
///                         taken              passed by       taken
///
/// What no path leads to is passed by. Whether an object has two members of the same name, wherever it lies,
/// is only guessed, by hashes of their names: never missed, and hardly ever said in vain. Such a record is
/// for the slow way, which knows.
#pragma once

#include <cstdint>
#include <jsoncons/json_visitor.hpp>
#include <memory>
#include <string>
#include <vector>

#include "damo/json/damo_json_path_internal.h"

/// What a value is as a field: a text, a truth value; nothing else.
enum class DamoJsonText { NONE, GOOD, NO_TEXT };

class DamoJsonSelection : public jsoncons::basic_default_json_visitor<char> {
 public:
  /// Null where a path is more than members.
  static std::unique_ptr<DamoJsonSelection> of(const std::vector<DamoJsonPath>& paths);

  /// Before each record.
  void reset();
  /// Whether the events were a value.
  bool is_valid() const { return isValid; }
  bool may_have_twins() const { return mayHaveTwins; }
  /// What path `i` gives, and its text if that is GOOD.
  DamoJsonText kind(std::size_t i) const { return nodes[ends[i]].kind; }
  const std::string& text(std::size_t i) const { return nodes[ends[i]].text; }

 private:
  static constexpr std::size_t ROOT = 0;
  static constexpr std::size_t PASSED = static_cast<std::size_t>(-1);

  struct Node {
    std::vector<std::pair<std::string, std::size_t>> members;
    std::size_t expected = 0;  // the member behind the one met last
    bool isEnd = false;        // of a path
    DamoJsonText kind = DamoJsonText::NONE;
    bool hasElement = false;
    std::string text;
  };
  /// An object or list around the value at hand.
  struct Level {
    std::size_t node;
    bool isList;
    std::size_t firstKey;
  };

  void add(const DamoJsonMembers& members);
  static std::size_t member(Node* node, std::string_view name);
  void scalar(DamoJsonText kind, std::string_view text);
  void put(DamoJsonText kind, std::string_view text);
  bool is_in_list() const { return !levels.empty() && levels.back().isList; }
  void begin(bool is_list);
  void end();
  void key(std::string_view name);
  void check_keys(std::size_t first);

  // Events.
  using Tag = jsoncons::semantic_tag;
  using Context = jsoncons::ser_context;
  using Error = std::error_code;

  JSONCONS_VISITOR_RETURN_TYPE visit_begin_object(Tag, const Context&, Error&) override {
    begin(false);
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_end_object(const Context&, Error&) override {
    end();
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_begin_array(Tag, const Context&, Error&) override {
    begin(true);
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_end_array(const Context&, Error&) override {
    end();
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_key(const string_view_type& name, const Context&, Error&) override {
    key(name);
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_null(Tag, const Context&, Error&) override {
    scalar(DamoJsonText::NONE, {});
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_bool(bool value, Tag, const Context&, Error&) override {
    scalar(DamoJsonText::GOOD, value ? "1" : "0");
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_string(const string_view_type& value, Tag, const Context&,
                                            Error&) override {
    scalar(DamoJsonText::GOOD, value);
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_uint64(std::uint64_t, Tag, const Context&, Error&) override {
    scalar(DamoJsonText::NO_TEXT, {});
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_int64(std::int64_t, Tag, const Context&, Error&) override {
    scalar(DamoJsonText::NO_TEXT, {});
    JSONCONS_VISITOR_RETURN;
  }
  JSONCONS_VISITOR_RETURN_TYPE visit_double(double, Tag, const Context&, Error&) override {
    scalar(DamoJsonText::NO_TEXT, {});
    JSONCONS_VISITOR_RETURN;
  }

  std::vector<Node> nodes;
  std::vector<std::size_t> ends;  // node of each path
  std::vector<Level> levels;
  std::vector<std::size_t> keys;  // hashes, of the objects around
  std::size_t now = ROOT;         // node of the value at hand, unless it is an element
  bool isValid = false;
  bool mayHaveTwins = false;
};
