/// Files as the tool looks at them.
#pragma once

#include <string>
#include <string_view>

/// Settings, sessions and rules are smaller.
constexpr std::size_t MOST_TEXT_BYTES = 1 << 20;

/// At most `most` bytes from the start. Throws a `Failure` with the system's reason.
std::string file_start(const std::string& name, std::size_t most);
/// Writes a file, whole or not at all. Throws an `AceException` with the system's reason.
void write_file(const std::string& name, const std::string& text);
bool has_file(const std::string& name);
/// Which file, and how it is now: device, inode, size and time. "" when there is none.
std::string file_stamp(const std::string& name);
/// The file's size; 0 when there is none.
double file_size(const std::string& name);
/// "folder/people.csv" to "folder/people".
std::string without_ending(const std::string& name);
/// A name, in the folder of another file unless it is absolute.
std::string beside(const std::string& file, const std::string& name);
/// What is made of a file, by one process at a time: another one waits for it, and says so. It ends with the
/// process, however that ends. Where the file system has no locks nobody waits.
class FileLock {
 public:
  explicit FileLock(const std::string& file);
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  ~FileLock();

 private:
  int descriptor;
};
/// A digest that tells texts apart.
std::string text_sum(const std::string& text);
