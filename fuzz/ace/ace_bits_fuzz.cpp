// Hostile payloads of bit arrays (first byte even) and flags (odd), read in place and as a stream: what is
// accepted is read and written all over, and saved again is the same. Paths: widths with and without words
// straddled, refused sizes, cut arrays.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ace/ace_bits.h"
#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_flags.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"

namespace {

using fuzz::require;

void use(AceBits* bits) {
  for (VInt i = -1; i <= bits->get_num_keys(); ++i) {
    const VUint value = bits->get(i);
    require(value <= bits->get_max_value());
    if (bits->set(i, value) == 0) require(bits->get(i) == value);
    bits->search(value, static_cast<int>(i % 3) - 1);
  }
}

void use(AceFlags* flags) {
  for (VInt i = -1; i <= flags->get_num_ind(); ++i) {
    const bool isOn = flags->get(i);
    if ((isOn ? flags->set(i) : flags->clear(i)) == 0) require(flags->get(i) == isOn);
  }
}

template <class Object>
void load(const std::string& bytes) {
  std::vector<long> image(bytes.size() / 8 + 1);
  bytes.copy(reinterpret_cast<char*>(image.data()), bytes.size());
  for (const bool isStream : {false, true}) {
    Object object;
    try {
      AceFile file;
      if (isStream) {
        const std::string name = "/tmp/ace_bits_fuzz." + std::to_string(getpid());
        std::FILE* out = AceFile::open(name.c_str(), "wb");
        require(out != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size());
        std::fclose(out);
        require(file.prep(name.c_str(), nullptr) == 0);
        std::remove(name.c_str());
      } else {
        file.init_read(reinterpret_cast<const char*>(image.data()), static_cast<VInt>(bytes.size()));
      }
      if (object.read(&file) < 0) continue;
    } catch (const AceException&) {
      continue;
    }
    use(&object);
    std::vector<long> saved(image.size() + 4);
    AceFile file;
    file.init_write(reinterpret_cast<char*>(saved.data()), static_cast<Huge>(8 * saved.size()));
    object.save(&file);
    Object again;
    AceFile in;
    in.init_read(reinterpret_cast<const char*>(saved.data()), file.get_pos());
    require(again.read(&in) >= 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  AceReporter::clear_default();
  if (size < 2 || size > 4000) return 0;
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  if (data[0] % 2 == 0)
    load<AceBits>(bytes);
  else
    load<AceFlags>(bytes);
  return 0;
}
