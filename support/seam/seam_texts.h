/// Results of operations that are more than one value. What they point to lies in the attach of the call or
/// belongs to the object asked. A negative count or size is an error.
#pragma once

#include <functional>
#include <initializer_list>
#include <vector>

#include "ace/ace_attach.h"
#include "ace/ace_types.h"

class AceWrap;

struct SeamTexts {
  const char* const* texts;
  int count;
};

struct SeamNumbers {
  const Huge* numbers;
  int count;
};

struct SeamBytes {
  const Token* bytes;
  Huge size;
  /// In place of `bytes`: large results are made where the language wants them, and nowhere else.
  std::function<void(Token* to)> write = nullptr;

  SORV_API void copy_to(void* to) const;
};

/// A copy of the array in `at`.
SORV_API SeamTexts seam_texts(const std::vector<const char*>& texts, AceAttach* at);
/// A copy of the numbers in `at`.
SORV_API SeamNumbers seam_numbers(std::initializer_list<Huge> numbers, AceAttach* at);
/// The file's image of an object, in `at`; `size` is the kernel's error.
SORV_API SeamBytes seam_image(AceWrap* object, AceAttach* at);
/// Lets an object read such an image. Returns 0, or the kernel's error.
SORV_API int seam_read_image(AceWrap* object, const SeamBytes& image);

/// Numbers of any type, copied.
template <class T>
SeamNumbers seam_numbers(const T* numbers, Large count, AceAttach* at) {
  Huge* copy = nullptr;
  at->malloc(copy, count);
  for (Large i = 0; i < count; ++i) copy[i] = static_cast<Huge>(numbers[i]);
  return {copy, static_cast<int>(count)};
}
