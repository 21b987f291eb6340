/// Reading an object whole or not at all.
///
///     VInt TeraIndex::read(AceFile* file) {
///       return ace_read_or_clean([this] { clean(); }, [&] { return read_payload(file); });
///     }
#pragma once

/// Calls `clean` and then `read`, and `clean` again when `read` gives a negative number or throws: no number
/// stays without its arrays. Returns what `read` does. `clean` must not throw.
template <class Clean, class Read>
auto ace_read_or_clean(Clean clean, Read read) -> decltype(read()) {
  struct Guard {
    ~Guard() {
      if (isBroken) itsClean();
    }
    Clean& itsClean;
    bool isBroken = true;
  };
  clean();
  Guard guard{clean};
  const auto rc = read();
  guard.isBroken = rc < 0;
  return rc;
}
