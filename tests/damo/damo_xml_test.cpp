#include "damo/damo_xml_input.h"

#include <random>

#include "ace/ace_exception.h"
#include "ace/ace_reporter.h"
#include "damo/damo_xml.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

const char* const NAMESPACES[] = {"p", "urn:p", "q", "urn:q"};

/// The records of a file, a line each; what is wrong behind them.
std::string read_all(const std::string& file, const std::string& record_path,
                     const std::vector<const char*>& paths, AceReporter* rep = AceReporter::null(),
                     const DamoXmlLimits& limits = {}) {
  std::string text;
  try {
    _DamoXmlInput input(file.c_str(), record_path.c_str(), paths.data(), static_cast<int>(paths.size()),
                        NAMESPACES, 4, rep, limits);
    while (input.read_line(nullptr, 0) != DamoInput::AT_END) {
      for (int i = 0; i < input.get_num_fields(); ++i)
        text += std::string(i > 0 ? ";" : "") + input.get_field(i);
      text += '\n';
    }
    EXPECT_TRUE(input.eof());
  } catch (const AceException& exception) {
    AceAttach at;
    text += std::string("!") + exception.what(&at);
  }
  return text;
}

class Documents {
 public:
  explicit Documents(unsigned seed) : random(seed) {}

  template <std::size_t N>
  std::string one_of(const char* const (&texts)[N]) {
    return texts[random() % N];
  }
  unsigned below(unsigned n) { return static_cast<unsigned>(random() % n); }

  std::string document() {
    return one_of({"", "<?xml version='1.0' encoding='UTF-8'?>\n"}) +
           "<!DOCTYPE a [<!ENTITY e 'E&amp;'><!ENTITY f '&e;\xC3\xBC&#38;#65;'><!ATTLIST b y CDATA 'd'>]>" +
           element(0) + one_of({"", "<!-- end -->", "\n"});
  }
  /// Child and descendant steps with predicates that can be told in a stream.
  std::string record_path() {
    std::string path;
    const unsigned numSteps = 1 + below(3);
    for (unsigned i = 0; i < numSteps; ++i) {
      path += one_of({"/", "//", "//"}) + one_of({"", "", "child::"}) + name();
      for (unsigned k = below(3); k > 0; --k) path += "[" + predicate(i + 1 == numSteps) + "]";
    }
    return path;
  }
  std::string field_path() {
    return one_of({"@x",
                   "../@x",
                   "ancestor::*/@y",
                   ".",
                   "text()",
                   ".//text()",
                   "a",
                   "p:b/@x",
                   "*[last()]",
                   "a[2]/b[@y]",
                   ".//b[c='t']",
                   "count(.//*)",
                   "string(b)",
                   "*/..",
                   "a/following-sibling::b",
                   "comment()",
                   "a | b | @x",
                   "name()",
                   "descendant::c[2]",
                   "boolean(a)",
                   "*[position() < 3]",
                   "concat(@x, '-', a)",
                   "ancestor::*[1]/@x",
                   "self::a/b",
                   "@*",
                   "c//a",
                   "a/text()"});
  }

 private:
  std::mt19937 random;

  std::string name() { return one_of({"a", "b", "c", "*", "p:a", "p:b", "q:*", "a"}); }
  std::string predicate(bool may_look_inside) {
    if (may_look_inside && below(3) == 0)
      return one_of({"a", "b='t'", ".//c", "text()", "count(*) > 1", "string-length() > 3", "b[last()]/@x"});
    return one_of({"@x", "@x='1'", "not(@y)", "1", "2", "position() > 1", "../@x", "position() mod 2 = 1",
                   "local-name() != 'b'", "@x and @y", "count(@*)", "@x > 1 or position()=1"});
  }
  std::string element(int depth) {
    const std::string tag = one_of({"a", "b", "c", "p:a", "p:b", "q:c"});
    std::string text = "<" + tag;
    if (depth == 0) text += " xmlns:p='urn:p' xmlns:q='urn:q'";
    if (depth > 0 && below(8) == 0) text += one_of({" xmlns='urn:p'", " xmlns=''", " xmlns:p='urn:q'"});
    if (below(2) == 0) text += " x='" + one_of({"1", "2", "&e;", "", "u&f;v"}) + "'";
    if (below(4) == 0) text += " y='&lt;'";
    if (below(6) == 0) return text + "/>";
    text += ">";
    for (unsigned n = depth > 5 ? 0 : below(6); n > 0; --n)
      text += below(3) != 0 ? element(depth + 1)
                            : one_of({"t", "t", " ", "&e;", "u&f;&e;v", "<![CDATA[<c>]]>",
                                      "v<![CDATA[&]]>&#x416;", "<!-- c -->", "<?pi p?>", "\n"});
    return text + "</" + tag + ">";
  }
};

TEST(DamoXmlInput, reads_in_a_stream_what_is_in_the_document) {
  const support::TempFolder folder;
  const std::string file = folder.file("xml");
  Documents documents(7);
  int numRecords = 0;
  for (int round = 0; round < 1500; ++round) {
    std::string text = documents.document();
    support::write_file(file, text);
    const std::string path = documents.record_path();
    const std::string first = documents.field_path(), second = documents.field_path();
    support::RecordingReporter rep, wholeRep;
    const std::string streamed = read_all(file, path, {first.c_str(), second.c_str()}, &rep);
    const std::string whole = read_all(file, "(" + path + ")", {first.c_str(), second.c_str()}, &wholeRep);
    ASSERT_EQ(streamed, whole) << path << " " << first << " " << second << "\n" << text;
    ASSERT_EQ(rep.all(), "") << path;
    ASSERT_NE(wholeRep.all().find("is read into memory as a whole: record path"), std::string::npos)
        << whole << text;
    numRecords += streamed.find('\n') != std::string::npos ? 1 : 0;
  }
  EXPECT_GT(numRecords, 250);
}

/// The parser is handed pieces of the file: whatever lies at their borders reads the same.
TEST(DamoXmlInput, reads_the_same_behind_any_padding) {
  const support::TempFolder folder;
  const std::string file = folder.file("xml");
  std::string records, expected;
  for (int i = 0; i < 40; ++i) {
    const std::string n = std::to_string(i);
    records += "<r id='" + n + "&amp;&e;'><v>\xC3\xBC&#x20AC;" + n + "<![CDATA[<]]>&e;</v><v/><!-- c --></r>";
    expected += n + "&E;\xC3\xBC\xE2\x82\xAC" + n + "<E|;\xC3\xBC\xE2\x82\xAC" + n + "<E\n";
  }
  for (std::size_t padding = 0; padding <= 600; ++padding) {
    support::write_file(
        file, "<!DOCTYPE a [<!ENTITY e 'E'>]><a><!--" + std::string(padding, ' ') + "-->" + records + "</a>");
    for (const char* path : {"/a/r", "/a/r[v]"}) {
      ASSERT_EQ(read_all(file, path, {"@id", "v", "v/text()"}), expected) << padding;
    }
  }
}

TEST(DamoXmlInput, gives_the_texts_of_what_fields_select) {
  const support::TempFolder folder;
  const std::string file = folder.file("xml");
  const std::string body =
      "<people xmlns='urn:p' date='1.1.'>\n<q:person xmlns:q='urn:q' "
      "id='1'><name>Ann<b/>e</name>\n<tag>a</tag>"
      "<tag><![CDATA[b|]]></tag></q:person><q:person xmlns:q='urn:q' id='2'><q:person "
      "id='3'/></q:person></people>";
  const std::vector<const char*> paths = {"@id",      "p:name",       "p:name/text()",  "p:tag",
                                          "../@date", "count(p:tag)", "boolean(p:tag)", "name"};
  const std::string expected = "1;Anne;Ann|e;a|b|;1.1.;2;true;\n2;;;;1.1.;0;false;\n";
  support::write_file(file, body);
  for (const char* path :
       {"/p:people/q:person", "//q:person", "//q:person | //q:person/@id", "*/q:person[@id]"})
    EXPECT_EQ(read_all(file, path, paths), expected) << path;
  EXPECT_EQ(read_all(file, "//q:person[last()]", {"@id"}), "2\n");
  EXPECT_EQ(read_all(file, "//q:person[not(p:name)]", {"@id"}), "2\n");
  EXPECT_EQ(read_all(file, "//q:person[not(*)]", {"@id", "preceding::p:tag"}), "3;a|b|\n");
  EXPECT_EQ(read_all(file, "/nothing", {"@id"}), "");
  // Other encodings.
  support::write_file(file, "<?xml version='1.0' encoding='ISO-8859-1'?><a><b>\xFC</b></a>");
  EXPECT_EQ(read_all(file, "//b", {"."}), "\xC3\xBC\n");
  std::string wide("\xFF\xFE", 2);
  for (const char c : std::string("<a><b>x&#252;</b></a>")) wide += std::string(1, c) + '\0';
  support::write_file(file, wide);
  EXPECT_EQ(read_all(file, "//b", {"."}), "x\xC3\xBC\n");
  // What is handed over, and back.
  support::write_file(file, "<a><b k='1'>x<c/></b><b/></a>");
  const char* one[] = {"."};
  AceAttach at;
  support::RecordingReporter rep;
  const std::unique_ptr<DamoInput> input(DamoXmlInput(file.c_str(), "/a/b", one, 1, nullptr, 0, &rep));
  VInt line = 0;
  EXPECT_EQ(input->partition(0, 2), -1);
  EXPECT_EQ(rep.all(), "XML sources do not support multiple parts!");
  EXPECT_GT(input->read_line(&line, 0), 0);
  EXPECT_STREQ(input->get_source_text(&at), "<b k=\"1\">x<c/></b>");
  EXPECT_GE(input->read_line(&line, 0), 0);
  EXPECT_EQ(line, 2);
  EXPECT_FALSE(input->eof());
  EXPECT_EQ(input->read_line(&line, 0), DamoInput::AT_END);
  EXPECT_EQ(input->read_line(&line, 0), DamoInput::AT_END);
  EXPECT_TRUE(input->eof());
}

/// Entities in entities, ten each.
std::string laughs(int levels, const std::string& first) {
  std::string text = "<!ENTITY e0 '" + first + "'>";
  for (int i = 1; i <= levels; ++i) {
    text += "<!ENTITY e" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) text += "&e" + std::to_string(i - 1) + ";";
    text += "'>";
  }
  return text;
}

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

/// Documents and what is said of them.
TEST(DamoXmlInput, refuses_hostile_documents) {
  const support::TempFolder folder;
  const std::string file = folder.file("xml");
  support::write_file(folder.file("other"), "secret");
  const std::string other = "SYSTEM '" + folder.file("other") + "'";
  std::string parameters = "<!ENTITY % p0 '<!ENTITY z \"y\">'>";
  for (int i = 1; i < 12; ++i)
    parameters += "<!ENTITY % p" + std::to_string(i) + " '" +
                  repeated("<!ENTITY z \"y\">&#37;p" + std::to_string(i - 1) + ";", 10) + "'>";
  std::string defaults;
  for (int i = 0; i < 300; ++i) defaults += "<!ATTLIST b a" + std::to_string(i) + " CDATA 'x'>";
  const auto typed = [](const std::string& type, const std::string& record) {
    return "<!DOCTYPE a [" + type + "]>\n<a>\n<b>" + record + "</b></a>";
  };
  const std::pair<std::string, const char*> samples[] = {
      {typed(laughs(8, "0123456789"), "&e8;"), "!"},
      {typed(laughs(5, "0123456789"), "&e5;"), "!"},
      {typed(laughs(5, ""), repeated("&e5;", 30)), "!"},
      {typed(laughs(8, "0123456789"), "<c x='&e8;'/>"), "!"},
      {typed("<!ENTITY e '" + std::string(80000, 'x') + "'>", repeated("&e;", 25000)),
       "line 3: entity 'e' lets the document grow beyond ten times its size"},
      {typed("<!ENTITY e '" + std::string(80000, 'x') + "'>", "<c x='" + repeated("&e;", 25000) + "'/>"),
       "!"},
      {typed("<!ENTITY e '<c/>" + std::string(8000, 'x') + "'>", repeated("&e;", 25000)),
       "entity 'e' lets the document grow"},
      {typed(parameters + " %p11; ", ""),
       "line 1: the document type grows beyond ten times its size with parameter entity 'p"},
      {typed("<!ENTITY e " + other + ">", "&e;"), "line 3: entity 'e' is in another file, which is not read"},
      {typed("<!ENTITY e " + other + "><!ENTITY f '&e;'>", "&f;"), "!"},
      {typed("<!ENTITY e " + other + ">", "<c x='&e;'/>"), "!"},
      {typed("<!ENTITY % e " + other + "> %e;", ""),
       "line 1: other files are not read: parameter entity 'e'"},
      {"<!DOCTYPE a " + other + "><a><b>x&uuml;</b></a>", "Entity 'uuml' not defined"},
      {typed("<!ENTITY e '&f;'><!ENTITY f '&e;'>", "&e;"), "!"},
      {typed("<!ENTITY e '&f;'><!ENTITY f '&e;'>", "<c x='&e;'/>"), "!"},
      {typed(defaults, repeated("<b/>", 1000)),
       "too many attributes have values by default: attribute 'a256'"},
      {repeated("<a>", 300), "Excessive depth in document"},
      {"<a><b>" + std::string(10'000'001, 'x') + "</b></a>", "!"},
      {"<a><b x='" + std::string(10'000'001, 'x') + "'/></a>", "!"},
      {"<a><b></a>", "line 1, column 11: Opening and ending tag mismatch: b line 1 and a"},
      {"<a><b x=1/></a>", "AttValue: \" or ' expected"},
      {"<a><z:b/></a>", "Namespace prefix z on b is not defined"},
      {"<?xml version='1.0' encoding='none'?><a/>", "!"},
      {"<a><b>\xFF</b></a>", "!"},
      {"", "Document is empty"},
  };
  for (const auto& [text, expected] : samples) {
    support::write_file(file, text);
    for (const char* path : {"//b", "(//b)"}) {
      const std::string found = read_all(file, path, {".", "*/@x"});
      EXPECT_NE(found.find(expected), std::string::npos) << expected << "\n"
                                                         << found.substr(0, 500) << "\n"
                                                         << text.substr(0, 200);
      EXPECT_EQ(found.find("secret"), std::string::npos);
    }
    EXPECT_THROW(
        {
          DamoXml xml(file.c_str());
          xml.get_structure(nullptr, 0);
          throw AceException("entities in texts do no harm there");
        },
        AceException);
  }
  // Broken off anywhere: an exception behind the records in front.
  const std::string whole = "<!DOCTYPE a [<!ENTITY e 'E'>]><a><b>1</b><b x='&e;'>2<![CDATA[3]]></b></a>";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    support::write_file(file, whole.substr(0, size));
    EXPECT_NE(read_all(file, "//b", {"."}).find('!'), std::string::npos) << size;
  }
}

TEST(DamoXmlInput, has_limits_that_can_be_set) {
  const support::TempFolder folder;
  const std::string file = folder.file("xml");
  support::write_file(file, "<a><b>" + repeated("<c>0123456789</c>", 2000) + "</b><b/></a>");
  DamoXmlLimits limits;
  limits.fieldBytes = 19'999;
  EXPECT_NE(read_all(file, "//b", {"."}, AceReporter::null(), limits)
                .find("field path 0, '.': more than 19999 bytes, which is the limit of a field"),
            std::string::npos);
  limits.fieldBytes = 20'000;
  limits.heldBytes = 20'000;
  for (const char* path : {"//b", "(//b)", "//b[c]"})
    EXPECT_NE(
        read_all(file, path, {"."}, AceReporter::null(), limits).find(" bytes that may be in memory at once"),
        std::string::npos);
  limits.heldBytes = 50'000;
  EXPECT_EQ(read_all(file, "//b", {"count(c)"}, AceReporter::null(), limits), "2000\n0\n");
  limits.xpathSteps = 100'000;
  EXPECT_EQ(read_all(file, "//b", {".//c[count(../c) > 0]"}, AceReporter::null(), limits),
            "!Cannot evaluate XPath: '" + file +
                "', record 1: field path 0, './/c[count(../c) > 0]': it takes too many steps");
}

TEST(DamoXmlInput, refuses_what_is_not_configured) {
  const support::TempFolder folder;
  const std::string file = folder.file("xml");
  support::write_file(file, "<a><b>1</b></a>");
  const char* paths[] = {".", nullptr};
  const char* odd[] = {"p", "urn:p", "q"};
  const char* unnamed[] = {"", "urn:p"};
  const auto fault = [&](const char* name, const char* path, const char** fields, int num,
                         const char** spaces, int num_spaces) {
    try {
      const std::unique_ptr<DamoInput> input(
          DamoXmlInput(name, path, fields, num, spaces, num_spaces, AceReporter::null()));
      while (input->read_line(nullptr, 0) != DamoInput::AT_END) continue;
    } catch (const AceException& exception) {
      return std::string(exception.get_cond()) + ": " + exception.get_info();
    }
    return std::string();
  };
  const std::string begin = "Cannot instantiate XML input reader: ";
  EXPECT_EQ(fault(file.c_str(), "", paths, 1, nullptr, 0), begin + "Record XPath must not be empty.");
  EXPECT_EQ(fault(file.c_str(), "//b", nullptr, 0, nullptr, 0), begin + "There must be field XPaths.");
  EXPECT_EQ(fault(file.c_str(), "//b", paths, 2, nullptr, 0), begin + "Field XPath 1 must not be empty.");
  EXPECT_EQ(fault(file.c_str(), "//b", paths, 1, odd, 3),
            begin + "XPath namespace list has 3 elements but an even number is required.");
  EXPECT_EQ(fault(file.c_str(), "//b", paths, 1, unnamed, 2),
            begin + "XPath namespace 0: prefix '' for 'urn:p'");
  EXPECT_EQ(fault("/nowhere", "//b", paths, 1, nullptr, 0),
            begin + "XML input file '/nowhere' does not exist");
  EXPECT_EQ(fault(file.c_str(), "//b[", paths, 1, nullptr, 0),
            "Cannot evaluate XPath: record path '//b[': it is no XPath expression, at character 5");
  EXPECT_NE(fault(file.c_str(), "//z:b", paths, 1, nullptr, 0).find("prefix 'z' is not among the namespaces"),
            std::string::npos);
  EXPECT_NE(fault(file.c_str(), "count(//b)", paths, 1, nullptr, 0).find("selects no elements"),
            std::string::npos);
  const char* wrong[] = {"f(.)"};
  testing::internal::CaptureStderr();
  for (const char* path : {"//b[f()]", "(//b)[f()]"})
    EXPECT_NE(fault(file.c_str(), path, paths, 1, nullptr, 0).find("there is no such function"),
              std::string::npos);
  EXPECT_EQ(fault(file.c_str(), "//b", wrong, 1, nullptr, 0),
            "Cannot evaluate XPath: '" + file +
                "', record 1: field path 0, 'f(.)': there is no such function, at character 1");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

/// Depth, key and sample of each node.
std::string shown(DamoXml* xml, const std::vector<const char*>& namespaces) {
  std::string text;
  for (const JsonOutput& node : xml->get_structure(namespaces.data(), static_cast<int>(namespaces.size())))
    text +=
        std::string(static_cast<std::size_t>(node.nodeDepth), ' ') + node.nodeKey + "=" + node.nodeVal + "\n";
  return text;
}

TEST(DamoXml, shows_every_path_once) {
  const support::TempFolder folder;
  support::write_file(
      folder.file("xml"),
      "<?xml version='1.0' encoding='ISO-8859-1'?><!DOCTYPE list PUBLIC '-//x' 'list.dtd' [<!ENTITY e "
      "'&f;'><!ENTITY f 'E'>]>"
      "<list xmlns='urn:d' xmlns:p='urn:p'> <p:i k='1' p:k='&e;'> \xFC </p:i><p:i><n xmlns=''>&e;</n>"
      "</p:i><p:i xmlns:p='urn:q' k='2'>t</p:i></list>");
  DamoXml xml(folder.file("xml").c_str());
  xml.init();
  EXPECT_EQ(xml.get_encoding(), "ISO-8859-1");
  EXPECT_EQ(xml.get_dtd(), "list\t-//x\tlist.dtd");
  EXPECT_EQ(xml.get_namespaces(), "ns1\turn:d\np\turn:p\nns2\turn:q\n");
  EXPECT_EQ(shown(&xml, {}),
            ":docRoot=\n ns1:list=\n  ns2:i=\n   @k=2\n   __content =t\n  p:i=\n   @k=1\n   @p:k=E\n"
            "   __content =\xC3\xBC \n   n=\n    __content =E\n");
  EXPECT_EQ(shown(&xml, {"d", "urn:d"}).substr(0, 18), ":docRoot=\n d:list=");
  DamoXml start(folder.file("xml").c_str(), 1);
  EXPECT_EQ(shown(&start, {}), ":docRoot=\n ns1:list=\n");
  // Paths lead to their samples.
  const std::string path =
      DamoXml::concat(DamoXml::concat(DamoXml::concat("", "ns1:list"), "ns2:i"), DamoXml::CONTENT);
  EXPECT_EQ(path, "/ns1:list/ns2:i/text()");
  const char* fields[] = {"text()", "@k"};
  const char* spaces[] = {"ns1", "urn:d", "ns2", "urn:q"};
  const std::unique_ptr<DamoInput> input(
      DamoXmlInput(folder.file("xml").c_str(), "/ns1:list/ns2:i", fields, 2, spaces, 4, AceReporter::null()));
  input->read_line(nullptr, 0);
  EXPECT_STREQ(input->get_field(0), "t");
  EXPECT_STREQ(input->get_field(1), "2");
  xml.cleanup();
  support::write_file(folder.file("xml"), "<!DOCTYPE a [<!ENTITY e '<b/>'>]><a>&e;</a>");
  EXPECT_THROW(xml.get_namespaces(), AceException);
  xml.cleanup();
  support::write_file(folder.file("xml"), "<a>");
  EXPECT_EQ(xml.get_dtd(), "");
  EXPECT_THROW(xml.get_structure(nullptr, 0), AceException);
  EXPECT_THROW(DamoXml("/nowhere").init(), AceException);
}

}  // namespace
