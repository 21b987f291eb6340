#include "dast/dast_alias_generator.h"

#include <algorithm>

#include "ace/ace_tracer.h"
#include "dast/dast_alias_gen_cache.h"
#include "dast/dast_alias_gen_config.h"
#include "dast/dast_alias_kinds.h"
#include "gtest/gtest.h"
#include "support/recording_reporter.h"
#include "support/temp_folder.h"

namespace {

/// "alias penalty, alias penalty"
std::string shown(const DastAliasResult& result) {
  std::string text;
  for (const GeneratedAlias* alias = result.get_first(); alias != nullptr; alias = alias->nextAlias)
    text += (text.empty() ? "" : ", ") + std::string(alias->aliasString) + " " +
            std::to_string(alias->aliasPenalty);
  return text;
}
std::string aliases_of(const char* kind, const char* value, const char* options = nullptr) {
  support::RecordingReporter rep;
  const auto generator = DastAliasGenerator::create_generic_generator(kind, options, &rep);
  if (generator == nullptr) return "no generator: " + rep.all();
  DastAliasResult result;
  const int count = generator->clone()->generate_aliases(value, &result, &rep);
  EXPECT_EQ(count, result.get_num_aliases());
  return shown(result);
}

TEST(DastAliasGenerator, e_mail_addresses_give_their_local_part) {
  EXPECT_EQ(aliases_of("email", "  a.berg@home.org", "-alias_penalty 7"), "a.berg 7");
  for (const char* value : {"", "home.org", "@home.org", "a berg@home.org", "a@b@c", "a@", "a@ b", "a@b@"})
    EXPECT_EQ(aliases_of("EMAIL", value), "") << value;
}

TEST(DastAliasGenerator, telephone_numbers_lose_country_and_area) {
  EXPECT_EQ(aliases_of("TELEPHONE", "+49 30 123456"), "30 123456 5, 123456 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "0049-89/1234"), "89/1234 5, 1234 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "+49 (0)89 1234"), "89 1234 5, 1234 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "+491701234567"), "1701234567 5, 1234567 5");
  EXPECT_EQ(aliases_of("TELEPHONE", " 0301234"), "1234 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "07071/29 12"), "29 12 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "(07071) 2912"), "") << "begins with neither '+' nor '0'";
  EXPECT_EQ(aliases_of("TELEPHONE", "070712912"), "") << "nothing says where the area ends";
  EXPECT_EQ(aliases_of("TELEPHONE", "+4970712912"), "70712912 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "+1 212 555"), "212 555 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "0035312345"), "12345 5");
  EXPECT_EQ(aliases_of("TELEPHONE", "+27 11 22"), "11 22 5");
  for (const char* value :
       {"", "12", "+", "00", "+49", "+49 ", "+210 55", "+2", "+59", "0", "+999 1", "030", "0 /"})
    EXPECT_EQ(aliases_of("TELEPHONE", value), "") << value;
}

TEST(DastAliasGenerator, first_names_give_parts_spans_and_initials) {
  EXPECT_EQ(aliases_of("FIRSTNAME", "Karl-Heinz Maria"),
            "Karl 5, Heinz 5, Maria 5, Karl-Heinz 10, Heinz Maria 10");
  EXPECT_EQ(aliases_of("FIRSTNAME", "Karl"), "");
  EXPECT_EQ(aliases_of("FIRSTNAME", "Karl Karl", "-step_penalty 3"), "Karl 5");
  EXPECT_EQ(aliases_of("FIRSTNAME", "Karl-H."), "Karl 5, H. 5");
  EXPECT_EQ(aliases_of("FIRSTNAME", "Karl-H.", "-remove_initials"), "Karl 5");
  EXPECT_EQ(aliases_of("FIRSTNAME", "Émile-Ève", "-generate_initials"), "Émile 5, É 15, Ève 5, È 15, É-È 20");
  EXPECT_EQ(aliases_of("FIRSTNAME", "Karl", "-generate_initials"), "K 15");
  EXPECT_EQ(aliases_of("FIRSTNAME", "K", "-generate_initials"), "");
  EXPECT_EQ(aliases_of("FIRSTNAME", "K.", "-generate_initials"), "K 15");
  EXPECT_EQ(aliases_of("FIRSTNAME", "K. ", "-generate_initials"), "K. 5") << "a blank follows";
  EXPECT_EQ(aliases_of("FIRSTNAME", "  - "), "");
  EXPECT_EQ(aliases_of("FIRSTNAME", "\xC3 \xFFx", "-generate_initials"),
            "\xC3 5, \xFFx 5, \xFF 15, \xC3 \xFF 20");
  std::string many = "a0";
  for (int i = 1; i < 32; ++i) many += " a" + std::to_string(i);
  EXPECT_EQ(std::ranges::count(aliases_of("FIRSTNAME", many.c_str()), ','), 32 * 33 / 2 - 2);
  EXPECT_EQ(aliases_of("FIRSTNAME", (many + " b").c_str()), "");
}

TEST(DastAliasGenerator, last_names_give_words_and_the_phrase_behind_skip_words) {
  const support::TempFolder folder;
  support::write_file(folder.file("skip"), "Von\nder\r\n\n d' \n");
  const std::string options = "-alias_penalty 9 -skipwords_file " + folder.file("skip");
  EXPECT_EQ(aliases_of("LASTNAME", "von DER Tann-Alt", options.c_str()), "Tann 9, Alt 9, DER Tann-Alt 9");
  EXPECT_EQ(aliases_of("LASTNAME", "D'. Or", options.c_str()), "Or 9");
  EXPECT_EQ(aliases_of("LASTNAME", "von", options.c_str()), "");
  EXPECT_EQ(aliases_of("LASTNAME", "von der Tann"), "von 5, der 5, Tann 5");
  EXPECT_EQ(aliases_of("LASTNAME", "Meier"), "");
  EXPECT_NE(aliases_of("LASTNAME", "a b", "-skipwords_file /none/there").find("no generator"),
            std::string::npos);
}

TEST(DastAliasGenerator, unknown_kinds_and_bad_options_are_refused_and_defaults_are_told) {
  AceReporter::null()->set_as_default();
  EXPECT_EQ(aliases_of("STREET", ""), "no generator: Unrecognized Alias Generator: 'STREET'\n");
  EXPECT_NE(aliases_of("EMAIL", "", "-none 1").find("no generator"), std::string::npos);
  EXPECT_STREQ(DastAliasGenerator::get_defaults("firstname"),
               "-alias_penalty 5 -step_penalty 5 -initials_penalty 15");
  EXPECT_STREQ(DastAliasGenerator::get_defaults("LASTNAME"), "-alias_penalty 5 -skipwords_file {}");
  EXPECT_EQ(DastAliasGenerator::get_defaults(""), nullptr);
  EXPECT_EQ(aliases_of("LASTNAME", "a b", "-alias_penalty 5 -skipwords_file {}"), "a 5, b 5");
  AceReporter::clear_default();
}

TEST(DastAliasGenerator, the_configuration_of_a_field_names_its_generator) {
  const AliasGenConfig email(nullptr, "Email", "-alias_penalty 2", nullptr, nullptr);
  const auto generator = DastAliasGenerator::factory(&email, nullptr);
  DastAliasResult result;
  EXPECT_EQ(generator->generate_aliases("a@b", &result, nullptr), 1);
  EXPECT_EQ(shown(result), "a 2");
  const AliasGenConfig none(nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(DastAliasGenerator::factory(&none, nullptr), nullptr);
  EXPECT_EQ(DastAliasGenerator::factory(nullptr, nullptr), nullptr);
  EXPECT_TRUE(DastAliasGenerator::is_parallelizable(static_cast<const AliasGenConfig*>(nullptr)));
}

/// Answers every value with its commands.
struct EchoFactory : DastAliasScriptingGenerator::Factory {
  struct Echo : DastAliasGenerator {
    int configure(const char* options, AceReporter*) override {
      text += options;
      return 0;
    }
    int generate_aliases(const char* value, DastAliasResult* result, AceReporter*) const override {
      return result->add_alias((text + value).c_str(), 1);
    }
    std::unique_ptr<DastAliasGenerator> clone() const override { return std::make_unique<Echo>(*this); }
    std::string text;
  };
  std::unique_ptr<DastAliasGenerator> create(const char* configure_cmd, const char* generate_cmd) override {
    auto echo = std::make_unique<Echo>();
    echo->text = std::string(configure_cmd) + generate_cmd;
    return echo;
  }
  bool is_parallelizable(const char*, const char* generate_cmd) const override {
    return *generate_cmd == 'p';
  }
};

TEST(DastAliasGenerator, scripts_come_in_through_the_factory_of_the_host) {
  support::RecordingReporter rep;
  EXPECT_EQ(DastAliasGenerator::create_scripting_generator("c", "g", "o", &rep), nullptr);
  EXPECT_EQ(rep.all(), "Could not initialize alias generator with name 'scripting': Factory returned null\n");
  EXPECT_FALSE(DastAliasScriptingGenerator::is_parallelizable_scripting("c", "p"));
  EchoFactory factory;
  DastAliasScriptingGenerator::set_factory(&factory);
  const AliasGenConfig scripting("scripting", nullptr, "o", "c", "p");
  EXPECT_TRUE(DastAliasGenerator::is_parallelizable(&scripting));
  const auto generator = DastAliasGenerator::factory(&scripting, &rep);
  DastAliasResult result;
  EXPECT_EQ(generator->clone()->generate_aliases("value", &result, &rep), 1);
  EXPECT_EQ(shown(result), "cpovalue 1");
  EXPECT_TRUE(DastAliasScriptingGenerator::is_parallelizable_scripting("c", "p"));
  DastAliasScriptingGenerator::set_factory(nullptr);
}

TEST(DastAliasGenCache, what_is_written_is_read_back_and_broken_files_change_nothing) {
  const support::TempFolder folder;
  const std::string name = folder.file(DastAliasGenCache::FILE_NAME);
  DastAliasResult two, none;
  two.add_alias("x", 3);
  two.add_alias("y z", 4);
  DastAliasGenCache cache;
  EXPECT_EQ(cache.open_cache_file(folder.file("").c_str()), 0) << "not asked for";
  for (const int mode : {1, 2}) {
    AceTracer::set("ALIAS_GEN_WRITE_CACHE", mode);
    EXPECT_EQ(cache.open_cache_file(folder.file("").c_str()), 1);
    EXPECT_EQ(cache.add(mode == 1 ? "one" : "two", &two), 0);
    EXPECT_EQ(cache.add("none", &none), 0);
    EXPECT_EQ(cache.add("a\tb", &two), 0) << "left out";
    EXPECT_EQ(cache.close_cache_file(), 0);
  }
  AceTracer::set("ALIAS_GEN_WRITE_CACHE", 0);
  EXPECT_EQ(support::read_file(name), "one\tx\t3\ty z\t4\nnone\ntwo\tx\t3\ty z\t4\nnone\n");
  DastAliasGenCache read;
  EXPECT_EQ(read.read(name.c_str()), 4);
  DastAliasResult found;
  EXPECT_EQ(read.lookup("two", &found), 2);
  EXPECT_EQ(read.lookup("one", &found), 0) << "the same aliases";
  EXPECT_EQ(read.lookup("none", &found), 0);
  EXPECT_EQ(read.lookup("three", &found), -1);
  EXPECT_EQ(shown(found), "x 3, y z 4");
  AceReporter::null()->set_as_default();
  for (const char* broken :
       {"three\tx\n", "three\tx\ty\n", "three\tx\t3 \n", "three\t\n", "three\tx\t99999999999\n"}) {
    support::write_file(name, broken);
    EXPECT_EQ(read.read(name.c_str()), -1) << broken;
    EXPECT_EQ(read.lookup("three", &found), -1);
  }
  EXPECT_EQ(read.read(folder.file("absent").c_str()), -1);
  AceReporter::clear_default();
}

}  // namespace
