#include "seam/seam_texts.h"

#include "ace/ace_wrap.h"

SeamNumbers seam_numbers(std::initializer_list<Huge> numbers, AceAttach* at) {
  return seam_numbers(numbers.begin(), static_cast<Large>(numbers.size()), at);
}

SeamBytes seam_image(AceWrap* object, AceAttach* at) {
  const VInt size = object->size();
  if (size < 0) return {nullptr, size};
  char* image = nullptr;
  at->malloc(image, size);
  const VInt written = object->collect(image, size);
  return {reinterpret_cast<const Token*>(image), written};
}

int seam_read_image(AceWrap* object, const SeamBytes& image) {
  if (image.bytes == nullptr || image.size < 0) return -1;
  const VInt rc = object->read_with_magic(reinterpret_cast<const char*>(image.bytes),
                                          static_cast<std::size_t>(image.size));
  return rc < 0 ? static_cast<int>(rc) : 0;
}
