#include "tera/tera_chain_transform.h"

#include "ace/ace_file.h"
#include "ace/ace_magic.h"

namespace {

const TeraChainTransform prototype;
const TeraTransform::Factory registration(&prototype, 0);

/// Chains being read inside each other by this thread: a hostile file could nest them without end.
constinit thread_local int reading_depth = 0;

class ReadingDepth {
 public:
  ReadingDepth() { ++reading_depth; }
  ReadingDepth(const ReadingDepth&) = delete;
  ReadingDepth& operator=(const ReadingDepth&) = delete;
  ~ReadingDepth() { --reading_depth; }
  static bool is_too_deep() { return reading_depth > TeraTransform::MAX_CHAIN; }
};

}  // namespace

char* TeraChainTransform::code(const char* text, AceAttach* at) const {
  if (prefixTrafo == nullptr) return at->attach(text);
  return prefixTrafo->code(chainTrafo->code(text, at), at);
}

VInt TeraChainTransform::read(AceFile* file) {
  const ReadingDepth depth;
  if (ReadingDepth::is_too_deep() || file->preview_int() != CHAIN_MARK) return -1;
  file->get_int();
  prefixTrafo.reset(magic_read(file));
  if (prefixTrafo == nullptr) return -1;
  chainTrafo.reset(magic_read(file));
  return chainTrafo != nullptr ? 0 : -1;
}

VInt TeraChainTransform::save(AceFile* file) const {
  if (prefixTrafo == nullptr) return -1;
  file->put_int(CHAIN_MARK);
  if (const int rc = prefixTrafo->magic_save(file); rc < 0) return rc;
  return chainTrafo->magic_save(file);
}

int TeraChainTransform::magic() const {
  return magic_number("STDX");
}

TeraTransform* TeraChainTransform::make(const char* name, const char*) const {
  return name == nullptr ? new TeraChainTransform : nullptr;
}

TeraTransform* TeraChainTransform::copy() const {
  if (prefixTrafo == nullptr) return new TeraChainTransform;
  std::unique_ptr<TeraTransform> prefix(prefixTrafo->copy());
  std::unique_ptr<TeraTransform> chain(chainTrafo->copy());
  return new TeraChainTransform(std::move(prefix), std::move(chain));
}

int TeraChainTransform::needs_map() const {
  return prefixTrafo != nullptr && (prefixTrafo->needs_map() != 0 || chainTrafo->needs_map() != 0) ? 1 : 0;
}

int TeraChainTransform::is_parallelizable() const {
  return prefixTrafo == nullptr ||
                 (prefixTrafo->is_parallelizable() != 0 && chainTrafo->is_parallelizable() != 0)
             ? 1
             : 0;
}
