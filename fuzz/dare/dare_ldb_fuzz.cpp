// ldb files: a text is refused, or names files, none of them with a tab or a line end; it is read once.
#include <cstdlib>
#include <cstring>

#include "ace/ace_reporter.h"
#include "dare/dare_ldb.h"
#include "support/temp_folder.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  AceReporter::null()->set_as_default();
  static const support::TempFolder folder;
  support::write_file(folder.file("x.ldb"), {reinterpret_cast<const char*>(data), size});
  DareLdbFile ldb;
  const int numLines = ldb.read_from_file("x.ldb", nullptr, folder.file("").c_str());
  const char** files = nullptr;
  const int numFiles = ldb.get_file_list(&files);
  if (numFiles < 1 && numLines >= 0) std::abort();
  for (int i = 0; i < numFiles; ++i)
    if (std::strpbrk(files[i], "\t\n") != nullptr) std::abort();
  if (ldb.read_from_file("x.ldb", nullptr, folder.file("").c_str()) >= 0 && numLines >= 0) std::abort();
  return 0;
}
