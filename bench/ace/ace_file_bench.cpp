/// Loading a large object by mapping against reading it, and dumping against plain writing.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "ace/ace_file.h"
#include "ace/ace_mem_info.h"
#include "ace/ace_wrap.h"
#include "ratio.h"

namespace {

/// One array, used in place when mapped.
class Numbers : public AceWrap {
 public:
  VInt save(AceFile* file) override {
    file->put_vint(count);
    file->write(count * VInt{sizeof(Huge)}, values, 8);
    return 0;
  }
  VInt read(AceFile* file) override {
    count = file->get_vint();
    values = file->read_array<Huge>(count, &memory, 8);
    return values != nullptr ? 0 : -1;
  }

  VInt count = 0;
  const Huge* values = nullptr;

 private:
  AceAttach memory;
};

/// A file of a bench, removed with the object.
struct TempFile {
  TempFile() {
    const char* folder = std::getenv("TMPDIR");
    name = std::string(folder != nullptr ? folder : "/tmp") + "/sorvanta_bench_XXXXXX";
    const int file = mkstemp(name.data());
    if (file < 0) throw std::runtime_error("no temporary file");
    close(file);
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() { unlink(name.c_str()); }

  std::string name;
};

/// A file of `Numbers` with `count` zeros, which take no room on disk.
void write_sparse(const std::string& name, VInt count) {
  Numbers numbers;
  AceFile file;
  file.build(name.c_str(), nullptr);
  numbers.save_with_magic(&file);
  file.close();
  if (truncate(name.c_str(), 16 + count * VInt{sizeof(Huge)}) != 0) throw std::runtime_error("no room");
  const int descriptor = ::open(name.c_str(), O_WRONLY | O_CLOEXEC);
  const bool counted = pwrite(descriptor, &count, sizeof count, 8) == sizeof count;
  ::close(descriptor);
  if (!counted) throw std::runtime_error("not written");
}

long resident() {
  long size = 0;
  ace_mem_info(nullptr, &size, nullptr);
  return size;
}

/// Resident bytes that loading adds while the object lives.
double resident_after_load(const std::string& name, int mode) {
  Numbers numbers;
  const long before = resident();
  if (numbers.load(name.c_str(), mode, nullptr) < 0) throw std::runtime_error("not loaded");
  return static_cast<double>(resident() - before);
}

void load_one_gigabyte(benchmark::State& state) {
  const TempFile file;
  write_sparse(file.name, (VInt{1} << 30) / VInt{sizeof(Huge)});
  const auto load = [&](int mode) {
    Numbers numbers;
    if (numbers.load(file.name.c_str(), mode, nullptr) < 0) throw std::runtime_error("not loaded");
    benchmark::DoNotOptimize(numbers.values[numbers.count / 2]);
  };
  bench::compare(
      state, 1, [&] { load(1); }, [&] { load(0); });
  state.counters["ours_resident_bytes"] = resident_after_load(file.name, 1);
  state.counters["peer_resident_bytes"] = resident_after_load(file.name, 0);
}
BENCHMARK(load_one_gigabyte)->UseManualTime()->Iterations(5)->Unit(benchmark::kMicrosecond);

/// The hash is what dumping costs beyond writing.
void dump_against_fwrite(benchmark::State& state) {
  const auto bytes = static_cast<std::size_t>(state.range(0));
  const std::vector<Huge> values(bytes / sizeof(Huge), 1);
  Numbers numbers;
  numbers.values = values.data();
  numbers.count = static_cast<VInt>(values.size());
  const TempFile ours;
  const TempFile peer;
  bench::compare(
      state, static_cast<double>(bytes), [&] { numbers.dump(ours.name.c_str(), nullptr); },
      [&] {
        std::FILE* stream = std::fopen(peer.name.c_str(), "wb");
        std::fwrite(values.data(), 1, bytes, stream);
        std::fflush(stream);
        fsync(fileno(stream));
        std::fclose(stream);
      });
}
BENCHMARK(dump_against_fwrite)->Arg(1 << 20)->Arg(64 << 20)->UseManualTime()->Iterations(5);

}  // namespace
