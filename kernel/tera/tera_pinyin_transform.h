/// Chinese characters to pinyin.
#pragma once

#include "tera/tera_transform.h"

/// Saved form: magic "PINYX", nothing more.
class SORV_API PinyinTransform final : public TeraTransform {
 public:
  using TeraTransform::code;
  /// The sounds of the characters that have one (tera_convert_map.h), joined; the others are dropped.
  char* code(const char* text, AceAttach* at) const override;
  VInt read(AceFile* file) override;
  VInt save(AceFile* file) const override;
  int magic() const override;
  /// "PINYIN", or a null name.
  TeraTransform* make(const char* name, const char* encoding) const override;
  TeraTransform* copy() const override;
};
