#include "tera/tera_pinyin_transform.h"

#include <cstring>

#include "ace/ace_magic.h"
#include "tera/tera_convert_map.h"

namespace {

const PinyinTransform prototype;
const TeraTransform::Factory PinyinTransform_factory(&prototype, 0);

}  // namespace

char* PinyinTransform::code(const char* text, AceAttach* at) const {
  const auto table = tera_pinyin_map();
  return ConvertMap::convert(text, table.data(), static_cast<int>(table.size()), at);
}

VInt PinyinTransform::read(AceFile*) {
  return 0;
}

VInt PinyinTransform::save(AceFile*) const {
  return 0;
}

int PinyinTransform::magic() const {
  return magic_number("PINYX");
}

TeraTransform* PinyinTransform::make(const char* name, const char*) const {
  return name == nullptr || std::strcmp(name, "PINYIN") == 0 ? new PinyinTransform : nullptr;
}

TeraTransform* PinyinTransform::copy() const {
  return new PinyinTransform;
}
