#include "seam/seam_texts.h"

#include <algorithm>
#include <cstring>

#include "ace/ace_wrap.h"

void SeamBytes::copy_to(void* to) const {
  if (write)
    write(static_cast<Token*>(to));
  else if (size > 0)
    std::memcpy(to, bytes, static_cast<std::size_t>(size));
}

SeamTexts seam_texts(const std::vector<const char*>& texts, AceAttach* at) {
  const char** copy = nullptr;
  at->malloc(copy, static_cast<VInt>(texts.size()));
  std::copy(texts.begin(), texts.end(), copy);
  return {copy, static_cast<int>(texts.size())};
}

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
