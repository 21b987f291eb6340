// Hostile transition models, read in place. The first byte is the kind: 0 a payload from nothing, else
// changes to a sound model, with triples when it is odd. What is accepted scores and learns texts made of the
// same bytes, and saved again is the same model. Paths: broken maps, counts below 0, levels beyond the last.
#include <cstdlib>
#include <string>

#include "ace/ace_exception.h"
#include "ace/ace_file.h"
#include "ace/ace_reporter.h"
#include "support/fuzz_input.h"
#include "support/payload.h"
#include "tera/tera_map_config.h"
#include "tera/tera_transition.h"

namespace {

using fuzz::require;

std::string image_of(TeraTransition* model) {
  return support::image_by([=](AceFile* file) { model->save(file); });
}

std::string sound_image(int has_triple) {
  TeraMapConfig config("utf-8");
  config.set_tokens("a-c");
  const std::unique_ptr<TeraMap> map(config.compile());
  TeraTransition model(map.get(), has_triple);
  for (const char* word : {"abc", "ab", "ab", "ca", "", "cab"}) model.stat(word);
  return image_of(&model);
}

void load(const std::string& bytes, bool as_stream) {
  support::PayloadFile file(bytes, as_stream);
  TeraTransition model;
  try {
    if (model.read(file.get()) < 0) {
      require(model.eval("abc") == 0);
      return;
    }
  } catch (const AceException&) {
    return;
  }
  model.eval(bytes.c_str());
  const std::string saved = image_of(&model);
  support::PayloadFile again(saved);
  TeraTransition copy;
  require(copy.read(again.get()) == 0 && image_of(&copy) == saved);
  require(model.stat(bytes.c_str()) == (as_stream ? 0 : -1));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
  AceReporter::null()->set_as_default();
  if (size < 2 || size > 4000) return 0;
  const std::string bytes = fuzz::text_of(data + 1, size - 1);
  load(data[0] == 0 ? bytes : fuzz::damaged(sound_image(data[0] % 2), bytes), data[0] % 4 >= 2);
  return 0;
}
