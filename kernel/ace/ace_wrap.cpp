#include "ace/ace_wrap.h"

#include <unistd.h>

#include <cstring>
#include <limits>
#include <utility>

#include "ace/ace_alloc.h"
#include "ace/ace_error.h"
#include "ace/ace_file.h"
#include "ace/ace_mem_point.h"
#include "ace/ace_reporter.h"
#include "ace/ace_sum.h"

template class MagicFactory<AceWrap>;

namespace {

constexpr VInt NO_VERSION = -1;
constexpr VInt OTHER_VERSION = -4;  // less the reason, 1 to 4
constexpr int NOT_ITS_SUM = -9;

/// Reads the version word. 0, or why it is not the right one.
VInt check_version(AceFile* file) {
  const int found = file->get_int();
  if (found == AceFile::get_version_magic()) return 0;
  const int reason = AceFile::get_version_magic_reason(found);
  return reason > 0 ? OTHER_VERSION - reason : NO_VERSION;
}

/// A result of `save` or `read` as an error code.
int error_code(VInt rc) {
  return rc < std::numeric_limits<int>::min() ? -1 : static_cast<int>(rc);
}

VInt report(int line, const char* call, VInt rc) {
  ace_error_msg(__FILE__, line, call, error_code(rc));
  return rc;
}

/// Says why a file is not loaded. Returns the code.
VInt refuse(const char* name, const char* reason, VInt rc, AceReporter* rep) {
  if (rep != nullptr) rep->printf("Cannot load '%s': %s\n", name, reason);
  return rc;
}

/// Opens the file in a mode of `AceWrap::load`, and reports what failed.
int open_for_load(AceFile* afile, const char* name, int mode, AceReporter* rep) {
  int rc = -1;
  const char* call = "mode";
  switch (mode) {
    case 0:
      rc = afile->prep(name, nullptr);
      call = "afile->prep(file)";
      break;
    case 1:
      rc = afile->map(name, nullptr, nullptr, 0, nullptr, rep);
      call = "afile->map (file, nullptr, nullptr, 0, nullptr, rep)";
      break;
    case 2:
      rc = afile->map(name, nullptr, nullptr, -1, nullptr, rep);
      call = "afile->map (file, nullptr, nullptr, -1, nullptr, rep)";
      break;
    case 3:
      rc = afile->map(name, nullptr, nullptr, getpagesize(), nullptr, rep);
      call = "afile->map (file, nullptr, nullptr, getpagesize(), nullptr, rep)";
      break;
    default:
      break;
  }
  return rc < 0 ? ace_error(__FILE__, __LINE__, call, rc, 0, rc) : rc;
}

}  // namespace

void AceWrap::ImageDelete::operator()(char* image) const {
  ace_delete(image);
}

AceWrap::AceWrap() = default;

AceWrap::~AceWrap() = default;

VInt AceWrap::save_with_magic(AceFile* file) {
  file->put_int(AceFile::get_version_magic());
  return save(file);
}

VInt AceWrap::read_with_magic(const char* image, std::size_t size) {
  if (image == nullptr || size == 0) return NO_VERSION;
  std::unique_ptr<char, ImageDelete> copied(static_cast<char*>(ace_alloc(size)));
  std::memcpy(copied.get(), image, size);
  AceFile file;
  file.init_read(copied.get(), static_cast<VInt>(size));
  if (const VInt rc = check_version(&file); rc < 0) return rc;
  // What the object has read before may be in use until `read` has replaced it.
  const auto old = std::exchange(staticBuffer, std::move(copied));
  return read(&file);
}

VInt AceWrap::load_checked(const char* name, int mode, AceReporter* rep) {
  if (const int rc = AceSum::check(name, rep); rc < 0)
    return ace_error(__FILE__, __LINE__, "AceSum::check(name, rep)", rc, 0, NOT_ITS_SUM);
  return load(name, mode, rep);
}

VInt AceWrap::load(const char* name, int mode, AceReporter* rep) {
  auto file = std::make_unique<AceFile>();
  AceFile* afile = file.get();
  if (const int rc = open_for_load(afile, name, mode, rep); rc < 0) return rc;
  if (const VInt rc = check_version(afile); rc < 0)
    return refuse(name, "expected a file of this version of the library, found another one", rc, rep);

  // From here on the object may point into the new mapping, even if reading fails halfway, and it points into
  // the old one until `read` has replaced what it had.
  std::unique_ptr<AceFile> old;
  if (mode != 0) old = std::exchange(mapFile, std::move(file));
  VInt rc = read(afile);
  if (rc >= 0 && afile->is_short()) rc = -1;  // the stream ended within a value
  if (rc < 0) {
    refuse(name, "found another kind of object than expected, or a damaged one", rc, rep);
    return report(__LINE__, "rc = read(afile)", rc);
  }
  if (mode == 0) mapFile.reset();
  return rc;
}

int AceWrap::dump(const char* name, AceReporter* rep) {
  if (rep != nullptr) {
    const VInt total = size();
    if (total < 0) return error_code(total);
    rep->pscale(total, "");
  }
  AceFile file;
  if (const int rc = file.build_atomic(name, rep); rc < 0)
    return ace_error(__FILE__, __LINE__, "file.build(name, rep)", rc, 0, rc);
  if (const VInt rc = save_with_magic(&file); rc < 0)
    return error_code(report(__LINE__, "save_with_magic(&file)", rc));
  file.close();
  return AceSum::remove(name, rep);  // which would be that of the old file
}

int AceWrap::dump_with_sum(const char* name, AceReporter* rep) {
  const int rc = dump(name, rep);
  return rc < 0 ? rc : AceSum::write(name, rep);
}

VInt AceWrap::size() {
  AceFile file;
  if (const int rc = file.scan(nullptr); rc < 0) return report(__LINE__, "file.scan()", rc);
  if (const VInt rc = save_with_magic(&file); rc < 0) return report(__LINE__, "save_with_magic(&file)", rc);
  return file.get_pos();
}

VInt AceWrap::copy(void* (*alloc)(long)) {
  const VInt total = size();
  if (total < 0) return total;
  char* buffer = static_cast<char*>(alloc(total + 1));
  AceFile file;
  if (const int rc = file.init_write(buffer, total); rc < 0)
    return report(__LINE__, "file.init_write(buffer,sz)", rc);
  buffer[total] = '\0';
  if (const VInt rc = save_with_magic(&file); rc < 0) return report(__LINE__, "save_with_magic(&file)", rc);
  return file.get_pos();
}

VInt AceWrap::collect(char* buffer, Huge size) {
  AceFile file;
  if (const int rc = file.init_write(buffer, size); rc < 0) return rc;
  const VInt rc = save_with_magic(&file);
  return rc < 0 ? rc : file.get_pos();
}

AceMemPoint* AceWrap::memory_usage(const char* title) {
  AceFile file;
  if (const int rc = file.scan(title); rc < 0) {
    report(__LINE__, "file.scan(title)", rc);
    return nullptr;
  }
  if (const VInt rc = save_with_magic(&file); rc < 0) {
    report(__LINE__, "save_with_magic(&file)", rc);
    return nullptr;
  }
  file.mem_point("END_OF_OBJECT");
  return file.get_points();
}

AceWrap* AceWrap::factory(AceFile* file, const char** type_name) {
  if (check_version(file) != 0) return nullptr;
  const Huge start = file->get_pos();
  for (const auto* entry = MagicFactory<AceWrap>::factoryList; entry != nullptr; entry = entry->nextFactory) {
    std::unique_ptr<AceWrap> object(entry->magicFunc(file));
    if (object != nullptr && !file->is_short()) {
      if (type_name != nullptr) *type_name = entry->typeName;
      return object.release();
    }
    if (file->seek(start) != 0) break;  // a type that did not recognise the payload has moved the stream
  }
  return nullptr;
}

AceWrap* AceWrap::factory(const char* file, const char* type_name) {
  AceFile afile;
  if (afile.prep(file, nullptr) < 0 || type_name == nullptr) return nullptr;
  const char* found = nullptr;
  std::unique_ptr<AceWrap> object(factory(&afile, &found));
  return object != nullptr && std::strcmp(found, type_name) == 0 ? object.release() : nullptr;
}
