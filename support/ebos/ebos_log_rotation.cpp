/// The rotation of the process log: one file a month.

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "ace/ace_timer.h"

#include "ebos/ebos_log.h"
#include "ebos/ebos_log_writer.h"
#include "ebos/ebos_stop_cond.h"

namespace {

constexpr const char* ARCHIVE = "log_archive";
constexpr int FIRST_YEAR = 1900;  // of std::tm
constexpr int SECONDS_PER_HOUR = 3600;
constexpr mode_t FOLDER_MODE = 0777;

std::tm local_time(std::time_t time) {
  std::tm local = {};
  ace_localtime(&time, &local);
  return local;
}

std::tm local_now() {
  return local_time(std::time(nullptr));
}

std::chrono::system_clock::time_point next_full_hour() {
  std::tm hour = local_now();
  hour.tm_min = hour.tm_sec = 0;
  return std::chrono::system_clock::from_time_t(std::mktime(&hour) + SECONDS_PER_HOUR);
}

}  // namespace

/// Takes the month of the file from its last change.
bool EbosLog::find_period() {
  struct stat info {};
  if (fileWriter->fstat(&info) != 0) return false;
  const std::tm changed = local_time(info.st_mtime);
  fileYear = changed.tm_year + FIRST_YEAR;
  fileMonth = changed.tm_mon + 1;
  return true;
}

int EbosLog::check_file_rotation_condition() {
  const std::scoped_lock lock(logLock);
  if (fileWriter == nullptr) return NO_LOCAL_FILE;
  if (fileYear < 0 && !find_period()) return CANNOT_STAT;
  const std::tm now = local_now();
  return fileYear != now.tm_year + FIRST_YEAR || fileMonth != now.tm_mon + 1 ? 1 : 0;
}

/// The name in the archive, whose folder is made. The period is this month from now on.
std::string EbosLog::prepare_rotated_filename() {
  const std::string path = fileWriter->get_filename();
  const std::size_t slash = path.rfind('/');
  const std::size_t start = slash == std::string::npos ? 0 : slash + 1;
  const std::string folder = path.substr(0, start) + ARCHIVE;
  mkdir(folder.c_str(), FOLDER_MODE);
  char period[32];
  std::snprintf(period, sizeof period, ".%04d.%02d", fileYear, fileMonth);
  const std::tm now = local_now();
  fileYear = now.tm_year + FIRST_YEAR;
  fileMonth = now.tm_mon + 1;
  return folder + "/" + path.substr(start) + period;
}

int EbosLog::perform_file_rotation() {
  const std::scoped_lock lock(logLock);
  if (fileWriter == nullptr) return NO_LOCAL_FILE;
  if (fileYear < 0 && !find_period()) return CANNOT_STAT;
  const int year = fileYear;
  const int month = fileMonth;
  const int rc = fileWriter->savefile(prepare_rotated_filename().c_str());
  if (rc == EEXIST) return FILE_EXISTS;  // the period stays: one warning a month
  if (rc == 0) return 0;
  fileYear = year;  // the next hour tries again
  fileMonth = month;
  return CANNOT_MOVE;
}

int EbosLog::housekeeping() {
  const int condition = check_file_rotation_condition();
  if (condition == NO_LOCAL_FILE) return 0;
  if (condition < 0) wprintf("Failed to check log file rotation condition: %s\n", translate_error(condition));
  if (condition <= 0) return 0;
  const int rc = perform_file_rotation();
  if (rc < 0) wprintf("Failed to rotate log file: %s\n", translate_error(rc));
  return 0;
}

int EbosLog::housekeeping_thread(void* stop_cond) {
  auto* const stop = static_cast<EbosStopCond*>(stop_cond);
  EbosLog* const log = instance();
  log->iprintf("Starting housekeeping thread\n");
  while (!stop->get()) {
    log->housekeeping();
    stop->wait_until(next_full_hour());
  }
  return 0;
}

const char* EbosLog::translate_error(int code) {
  static constexpr std::array TEXTS = {
      "Logger is already initialized", "Logger failed to initialize", "No local log file",
      "Cannot stat log file",          "File already exists",         "Cannot move log file"};
  const bool isKnown = code < 0 && code >= -static_cast<int>(TEXTS.size());
  return isKnown ? TEXTS[static_cast<std::size_t>(-code - 1)] : "Unknown error";
}
