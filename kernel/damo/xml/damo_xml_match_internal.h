/// Finds the elements that a path of steps selects while their document is read in a stream.
///
/// Each open element has a frame: the steps that its children may be, and how many of them each predicate has
/// been asked for.
///
///     //a[@x][2]/b      frame of    steps      counts
///                       document    a          [@x] 0  [2] 0
///                         a x=1     a, b       [@x] 1  [2] 1      <- in the frame around
///                         a x=2     a, b       [@x] 2  [2] 2      selected: b within
///
/// Cost: a look at the name of each element; expressions where the name fits.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "damo/xml/damo_xml_path_internal.h"
#include "damo/xml/damo_xml_xpath_internal.h"

class DamoXmlMatcher {
 public:
  /// Throws `AceException` for what is no path, or has a prefix that `xpath` does not know.
  DamoXmlMatcher(const std::vector<DamoXmlStep>& path, DamoXmlXpath* xpath);

  /// Reads the rest of the element at hand.
  using Expand = std::function<void()>;

  /// An element of a depth (0: the document element) begins. Returns whether it is selected. All elements of
  /// the document, but those in selected and in hopeless ones, must be shown in their order.
  bool enter(xmlNode* node, int depth, const Expand& expand);
  /// Whether none in the element that was entered last can be selected.
  bool is_hopeless() const { return frames[current].steps == 0; }

 private:
  struct Predicate {
    DamoXmlXpath::Compiled compiled;
    std::string name;
    bool needsContent;
    std::size_t index;  // of all predicates of the path
  };
  struct Step {
    bool isDeep;
    std::string name, uri;
    bool anyName, anyUri;
    std::vector<Predicate> predicates;
  };
  struct Frame {
    std::uint64_t steps = 0;  // bit k: a child may be step k
    std::vector<int> counts;
  };

  static bool fits(const Step& step, const xmlNode& node);
  bool holds(const Predicate& predicate, xmlNode* node, Frame* around, const Expand& expand);
  bool is_step(const Step& step, xmlNode* node, Frame* around, const Expand& expand);

  std::vector<Step> steps;
  DamoXmlXpath* xpath;
  std::size_t numPredicates = 0;
  std::vector<Frame> frames;  // of the document, the document element, ...
  std::size_t current = 0;
};
