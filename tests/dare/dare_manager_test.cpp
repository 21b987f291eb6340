#include "dare/dare_manager.h"

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "ace/ace_exception.h"
#include "ace/ace_managed_files.h"
#include "ace/ace_thread.h"
#include "dare/dare_datamanager.h"
#include "dare/dare_external.h"
#include "dare/dare_ldb.h"
#include "gtest/gtest.h"
#include "support/record_bases.h"
#include "support/recording_reporter.h"

namespace {

using support::RecordingReporter;
using support::Table;
using support::write_file;

const char* const TEMPLATE =
    "FIELDS\t{\nf0\t{\nBUILD_FIELD\tf0\n}\nf1\t{\nBUILD_FIELD\tf1\n}\n}\n"
    "COMBINATIONS\t{\ndefault\t{\nFIXED_CONFIG\t{\nLOGIC\t(f0&f1)\n}\n}\n}\n";

/// A folder with a base of one known record, session files and an ldb file.
struct Site {
  explicit Site(const char* extra = "") {
    dump_base("version1");
    write_file(folder.file("form.ses"), TEMPLATE);
    write_file(folder.file("other.ses"), TEMPLATE);
    write_file(
        folder.file("site.ldb"),
        std::string("# comment\n\nmain_svd\tpeople.base\tignored\nses\tform.ses\tother.ses\nkey alone\n") +
            extra);
  }
  void dump_base(const std::string& value) {
    support::Table table = support::table_of({"f0", "f1"});
    for (int i = 0; i < 50; ++i) table.records.push_back({value, "x" + std::to_string(i)});
    const support::TempFolder build;
    ASSERT_EQ(
        support::build_base(table, build)->dump(folder.file("people.base").c_str(), AceReporter::null()), 0);
  }
  int load(DareDataManager* data, DastSessionManager* sessions) {
    DareLdbFile ldb;
    EXPECT_GT(ldb.read_from_file("site.ldb", nullptr, folder.file("").c_str()), 0);
    return data->load(&ldb, 1, folder.file("").c_str(), 0, sessions, nullptr);
  }
  support::TempFolder folder;
};

std::string answer_of(DastSession* session, const char* query) {
  const std::unique_ptr<DastResult> result(session->update_result("f0", query, DastOptions::APPROX));
  return result != nullptr && result->get_num_alts(0) > 0 ? result->get_alt(0, 0)->repObj : "";
}

TEST(DareLdbFile, ReadsKeysAndListsFiles) {
  AceReporter::clear_default();
  const Site site("ses\ta.ses\t\tb.ses\nmanaged\tdir/maps.v1.names\n");
  DareLdbFile ldb;
  EXPECT_EQ(ldb.read_from_file("none.ldb", nullptr, site.folder.file("").c_str()), -1);
  EXPECT_EQ(ldb.read_from_file("site.ldb", site.folder.file("").c_str(), "/nowhere"), 4);
  EXPECT_EQ(ldb.read_from_file("site.ldb", site.folder.file("").c_str(), nullptr), -1);
  EXPECT_EQ(ldb.mainSvd, "people.base");
  EXPECT_EQ(ldb.sesFiles, (DareLdbFile::List{"a.ses", "b.ses"}));
  const char** files = nullptr;
  ASSERT_EQ(ldb.get_file_list(&files), 5);
  EXPECT_STREQ(files[1], "people.base");
  const Site broken("unknown\tvalue\nses\tz\n");
  DareLdbFile stopped;
  EXPECT_EQ(stopped.read_from_file("site.ldb", nullptr, broken.folder.file("").c_str()), -1);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DareDataManager, LoadsTemplatesAndSharesBases) {
  AceReporter::clear_default();
  Site site;
  RecordingReporter rep;
  DastSessionManager sessions(30, &rep);
  DareDataManager data(&rep);
  ASSERT_EQ(site.load(&data, &sessions), 0) << rep.all();
  const char** names = nullptr;
  ASSERT_EQ(sessions.get_template_names(&names), 2);
  EXPECT_STREQ(names[0], "form");
  EXPECT_NE(rep.all().find("Created 2 session(s)"), std::string::npos);
  EXPECT_EQ(data.get_num_records(), 51);
  const int first = sessions.create_session("default", 0, &rep);
  const int second = sessions.create_session("other", 0, &rep);
  EXPECT_EQ(second, first + 1);
  EXPECT_EQ(sessions.create_session("nobody", 0, &rep), DastSessionManager::UNKNOWN_TEMPLATE);
  EXPECT_STREQ(sessions.get_session(first, &rep)->get_config()->get_template_name(), "form");
  EXPECT_EQ(answer_of(sessions.get_session(first, &rep), "version1"), "version1");

  // The same files: the same base. Changed ones: a new base, beside that of the sessions that are there.
  const std::string path = site.folder.file("people.base");
  ASSERT_EQ(site.load(&data, &sessions), 0);
  EXPECT_EQ(sessions.get_base("form"), sessions.get_session(first, &rep)->get_base());
  site.dump_base("version2");
  ASSERT_EQ(site.load(&data, &sessions), 0);
  const int third = sessions.create_session("form", 0, &rep);
  EXPECT_NE(sessions.get_base("form"), sessions.get_session(first, &rep)->get_base());
  EXPECT_EQ(answer_of(sessions.get_session(third, &rep), "version2"), "version2");
  EXPECT_EQ(answer_of(sessions.get_session(first, &rep), "version1"), "version1");
  EXPECT_EQ(sessions.destroy_session(first), 0);
  EXPECT_EQ(data.maintenance(), 0);
  EXPECT_EQ(sessions.destroy_session(second), 0);
  EXPECT_EQ(sessions.destroy_session(second), -1);
  EXPECT_EQ(data.maintenance(), 1);
  EXPECT_EQ(sessions.destroy_timedout_sessions(0), 0);
  EXPECT_EQ(sessions.destroy_timedout_sessions(100000), 0);
  EXPECT_EQ(sessions.get_num_sessions(), 1);
  RecordingReporter listing;
  sessions.report(&listing);
  EXPECT_NE(listing.all().find("TEMPLATE\tother\n"), std::string::npos);
  EXPECT_NE(listing.all().find("\t+\t?version2.-\n"), std::string::npos);

  DareLdbFile ldb;
  ldb.read_from_file("site.ldb", nullptr, site.folder.file("").c_str());
  EXPECT_EQ(data.lock(&ldb, 1, site.folder.file("").c_str()), 0);
  const int count = data.check_ref_count(path.c_str(), nullptr);
  EXPECT_EQ(data.unlock(&ldb, site.folder.file("").c_str()), 0);
  EXPECT_EQ(data.check_ref_count(path.c_str(), nullptr), count - 1);
  EXPECT_EQ(data.unlock(&ldb, site.folder.file("").c_str()), 0);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DareDataManager, AFailedLoadChangesNothing) {
  AceReporter::clear_default();
  Site site;
  RecordingReporter rep;
  DastSessionManager sessions(30, &rep);
  DareDataManager data(&rep);
  ASSERT_EQ(site.load(&data, &sessions), 0);
  const auto fails = [&](const std::string& lines, int code) {
    DareLdbFile ldb;
    write_file(site.folder.file("bad.ldb"), lines);
    ldb.read_from_file("bad.ldb", nullptr, site.folder.file("").c_str());
    EXPECT_EQ(data.load(&ldb, 1, site.folder.file("").c_str(), 0, &sessions, nullptr), code) << lines;
    EXPECT_EQ(sessions.get_num_templates(), 2);
    EXPECT_TRUE(data.has_recall_base());
  };
  write_file(site.folder.file("junk.base"), "this is no base, whatever it may look like");
  write_file(site.folder.file("odd.bin"), std::string("\1\0\0\0\1\0\0\0", 8));
  fails("ses\tform.ses\n", DareDataManager::NO_MAIN_BASE);
  fails("main_svd\tnone.base\n", DareDataManager::NOT_OPENED);
  fails("main_svd\tjunk.base\n", DareDataManager::WRONG_MAJOR);
  fails("main_svd\tpeople.base\nmain_svfs\tx.tera\n", DareDataManager::BAD_FILE_NAME);
  fails("main_svd\tpeople.base\nebd\tnone\n", DareDataManager::NO_EXTERNAL_FILE);
  fails("main_svd\tpeople.base\nebd\tform.ses\n", DareDataManager::EXTERNAL_FAILED);
  fails("main_svd\tpeople.base\ninsert_svd\tx\n", -1);
  fails("main_svd\tpeople.base\nses\tform.ses\ndelete_bin\todd.bin\n", -1);
  // A session file that cannot be configured makes no template; without any, one of the base's fields.
  write_file(site.folder.file("bad.ses"), "NONSENSE\tx\n");
  write_file(site.folder.file("good.bin"), std::string("\2\0\0\0\5\0\0\0", 8));
  write_file(site.folder.file("plain.ldb"), "main_svd\tpeople.base\nses\tbad.ses\ndelete_bin\tgood.bin\n");
  DareLdbFile ldb;
  ldb.read_from_file("plain.ldb", nullptr, site.folder.file("").c_str());
  EXPECT_EQ(data.load(&ldb, 1, site.folder.file("").c_str(), 0, &sessions, nullptr), 0);
  EXPECT_EQ(sessions.get_num_templates(), 1);
  const int id = sessions.create_session("", 0, &rep);
  EXPECT_FALSE(sessions.get_session(id, &rep)->get_context()->has(5));
  EXPECT_EQ(sessions.get_session(id, &rep)->get_context()->get_size(), 48);
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DastSessionManager, TemplatesAndTheirNames) {
  AceReporter::clear_default();
  Site site;
  RecordingReporter rep;
  DastSessionManager sessions(30, &rep);
  EXPECT_EQ(sessions.create_session("x", 0, &rep), DastSessionManager::NO_TEMPLATES);
  const support::TempFolder folder;
  DastBase base;
  ASSERT_GE(base.load(site.folder.file("people.base").c_str(), 0, AceReporter::null()), 0);
  EXPECT_THROW(sessions.configure_template(&base, "m", "", &rep, 0), AceException);
  EXPECT_EQ(sessions.configure_template(&base, "m", TEMPLATE, &rep, 0), 1);
  EXPECT_EQ(sessions.configure_template(&base, "a", TEMPLATE, &rep, 0), 2);
  EXPECT_EQ(sessions.configure_template(&base, "m.ext", "NONSENSE\tx\n", &rep, 0), 3);
  EXPECT_EQ(sessions.configure_template(&base, "a", TEMPLATE, &rep, 0), -1);
  EXPECT_EQ(sessions.configure_template(&base, "a", TEMPLATE, &rep, 1), 3);
  const auto template_of = [&](const char* name) -> std::string {
    const int id = sessions.create_session(name, 0, &rep);
    return id > 0 ? sessions.get_session(id, &rep)->get_config()->get_template_name() : "none";
  };
  EXPECT_EQ(template_of(""), "m");
  EXPECT_EQ(template_of("new"), "m");
  EXPECT_EQ(template_of(".EXT"), "m.ext");
  EXPECT_EQ(template_of("default.Ext"), "m.ext");
  EXPECT_EQ(template_of("A"), "none");
  DastSession* const unusable = sessions.get_session(sessions.create_session("m.ext", 0, &rep), &rep);
  EXPECT_EQ(unusable->update("f0", "x", DastOptions::APPROX, 0), -1);
  EXPECT_EQ(unusable->suggest(0, nullptr, 0, -1), nullptr);
  EXPECT_GT(sessions.create_session(&base, &rep), 0);
  sessions.clean_all_templates();
  EXPECT_EQ(sessions.create_session("m", 0, &rep), DastSessionManager::NO_TEMPLATES);
  // A pinned session outlives its destruction.
  const int id = sessions.create_session(&base, &rep);
  const auto pinned = sessions.pin_session(id, &rep);
  sessions.destroy_session(id);
  EXPECT_EQ(sessions.get_session(id, &rep), nullptr);
  EXPECT_EQ(answer_of(pinned.get(), "version1"), "version1");
  // Sessions give their references to the base back before it goes.
  while (sessions.get_num_sessions() > 0) {
    RecordingReporter listing;
    sessions.report(&listing);
    const std::string text = listing.all();
    sessions.destroy_session(std::stoi(text.substr(text.find("SESSION\t", text.find("NUM_TEMPLATES")) + 8)));
  }
  static AceReporter standard;
  standard.set_as_default();
}

TEST(DareDataManager, ReloadsWhileSessionsRun) {
  AceReporter::clear_default();
  Site site;
  DastSessionManager sessions(30, AceReporter::null());
  DareDataManager data(AceReporter::null());
  ASSERT_EQ(site.load(&data, &sessions), 0);
  std::atomic<bool> stop = false;
  std::atomic<int> answers = 0, wrong = 0;
  std::vector<std::thread> users;
  for (unsigned user = 0; user < 4; ++user)
    users.emplace_back([&, user] {
      const AceThreadSafe registered;
      std::mt19937 random(user);
      while (!stop) {
        const int id = sessions.create_session("form", 0, AceReporter::null());
        const auto session = sessions.pin_session(id, nullptr);
        if (session == nullptr) continue;
        std::string seen;
        for (int i = 0; i < 5; ++i) {
          const std::string answer = answer_of(session.get(), random() % 2 == 0 ? "version" : "versio1");
          if (!seen.empty() && answer != seen) ++wrong;  // never a mixture
          seen = answer;
          ++answers;
        }
        sessions.destroy_session(id);
      }
    });
  for (int version = 2; version < 12; ++version) {
    site.dump_base("version" + std::to_string(version % 10));
    EXPECT_EQ(site.load(&data, &sessions), 0);
    sessions.destroy_timedout_sessions(100);
  }
  stop = true;
  for (auto& user : users) user.join();
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(answers, 20);
  data.maintenance();
  EXPECT_EQ(data.check_ref_count(site.folder.file("people.base").c_str(), nullptr),
            3);  // two templates, the manager's
  static AceReporter standard;
  standard.set_as_default();
}

}  // namespace
