#include <cstring>
#include <vector>

#include "ace/ace_attach.h"
#include "svpie/pie_arrow.h"
#include "svpie/pie_arrow_internal.h"
#include "tera/tera_utf.h"

namespace {

constexpr const char* NO_STRINGS = "an array of strings";
constexpr const char* ZERO = "strings without zeros";
constexpr const char* NO_CHARACTERS = "strings of Unicode characters";

/// Whether all of a text are characters.
bool is_utf8(const char* text) {
  int letter = 0;
  while (*text != '\0') {
    const int size = TeraUtf::decode(&letter, text);
    if (size == 0) return false;
    text += size;
  }
  return true;
}

/// Collects terminated copies.
class Taker {
 public:
  explicit Taker(AceAttach* attach) : at(attach) {}
  void add(const char* text, std::int64_t length) {
    if (length < 0 || (length > 0 && std::memchr(text, 0, static_cast<std::size_t>(length)) != nullptr)) {
      refusal = ZERO;
    } else {
      taken.push_back(length > 0 ? at->attach(text, length) : "");
      if (!is_utf8(taken.back())) refusal = NO_CHARACTERS;
    }
  }
  PieTexts result() const {
    if (refusal != nullptr) return {nullptr, 0, refusal};
    const char** texts = nullptr;
    at->malloc(texts, static_cast<VInt>(taken.size()) + 1);
    std::copy(taken.begin(), taken.end(), texts);
    texts[taken.size()] = nullptr;
    return {texts, static_cast<Py_ssize_t>(taken.size()), nullptr};
  }

  const char* refusal = nullptr;

 private:
  AceAttach* at;
  std::vector<const char*> taken;
};

// Arrow.

bool is_valid(const ArrowArray& array, std::int64_t index) {
  const auto* const bits = static_cast<const unsigned char*>(array.buffers[0]);
  return bits == nullptr || (bits[index / 8] >> (index % 8) & 1) != 0;
}

/// Element `index` lies between two offsets.
template <class Offset>
void add_offset_text(const ArrowArray& array, std::int64_t index, Taker* out) {
  const auto* const offsets = static_cast<const Offset*>(array.buffers[1]);
  out->add(static_cast<const char*>(array.buffers[2]) + offsets[index], offsets[index + 1] - offsets[index]);
}

/// A view has its length, and up to 12 bytes in itself or a place in one of the buffers.
void add_viewed_text(const ArrowArray& array, std::int64_t index, Taker* out) {
  struct View {
    std::int32_t length;
    char prefix[4];
    std::int32_t buffer;
    std::int32_t offset;
  };
  constexpr std::int32_t MOST_INSIDE = 12;
  const auto* const view = static_cast<const View*>(array.buffers[1]) + index;
  const std::int64_t numBuffers = array.n_buffers - 3;  // the others: which are there, views, lengths
  if (view->length <= MOST_INSIDE)
    out->add(view->prefix, view->length);
  else if (view->buffer < 0 || view->buffer >= numBuffers || view->offset < 0)
    out->refusal = NO_STRINGS;
  else
    out->add(static_cast<const char*>(array.buffers[2 + view->buffer]) + view->offset, view->length);
}

void add_array(const ArrowSchema& schema, const ArrowArray& array, Taker* out) {
  void (*add)(const ArrowArray&, std::int64_t, Taker*) = nullptr;
  if (std::strcmp(schema.format, "u") == 0) add = add_offset_text<std::int32_t>;
  if (std::strcmp(schema.format, "U") == 0) add = add_offset_text<std::int64_t>;
  if (std::strcmp(schema.format, "vu") == 0) add = add_viewed_text;
  constexpr int LEAST_BUFFERS = 3;
  const bool isWhole = array.n_buffers >= LEAST_BUFFERS && (array.length == 0 || array.buffers[1] != nullptr);
  if (add == nullptr || schema.dictionary != nullptr || array.length < 0 || array.offset < 0 || !isWhole) {
    out->refusal = NO_STRINGS;
    return;
  }
  for (std::int64_t i = array.offset; i < array.offset + array.length && out->refusal == nullptr; ++i)
    is_valid(array, i) ? add(array, i, out) : out->add("", 0);
}

void add_stream(ArrowArrayStream* stream, Taker* out) {
  ArrowSchema schema{};
  if (stream->get_schema(stream, &schema) != 0) {
    out->refusal = "a readable stream";
    return;
  }
  while (out->refusal == nullptr) {
    ArrowArray array{};
    if (stream->get_next(stream, &array) != 0) out->refusal = "a readable stream";
    if (array.release == nullptr) break;
    if (out->refusal == nullptr) add_array(schema, array, out);
    array.release(&array);
  }
  if (schema.release != nullptr) schema.release(&schema);
}

/// The answer of a method without arguments; null, without error, where there is no such method.
PyObject* ask(PyObject* object, const char* method) {
  if (PyObject_HasAttrString(object, method) == 0) return nullptr;
  return PyObject_CallMethod(object, method, nullptr);
}

template <class T>
T* pointer_in(PyObject* capsule, const char* name) {
  return capsule != nullptr ? static_cast<T*>(PyCapsule_GetPointer(capsule, name)) : nullptr;
}

PieTexts take_arrow(PyObject* answer, AceAttach* at) {
  Taker taker(at);
  if (PyTuple_Check(answer) != 0) {
    const auto* const schema = pointer_in<ArrowSchema>(PyTuple_GetItem(answer, 0), ARROW_SCHEMA);
    const auto* const array = pointer_in<ArrowArray>(PyTuple_GetItem(answer, 1), ARROW_ARRAY);
    if (schema != nullptr && array != nullptr) add_array(*schema, *array, &taker);
  } else if (auto* const stream = pointer_in<ArrowArrayStream>(answer, ARROW_STREAM)) {
    add_stream(stream, &taker);
  }
  return PyErr_Occurred() == nullptr ? taker.result() : PieTexts{nullptr, 0, nullptr};
}

// NumPy.

/// UCS-4 of fixed width, padded with zeros.
void add_wide(const char* item, Py_ssize_t size, Taker* out) {
  std::string text;
  char bytes[TeraUtf::MAX_SIZE];
  Py_ssize_t length = size;
  const auto at = [item](Py_ssize_t place) {
    std::uint32_t letter = 0;
    std::memcpy(&letter, item + place, sizeof(letter));
    return letter;
  };
  while (length > 0 && at(length - 4) == 0) length -= 4;
  for (Py_ssize_t place = 0; place < length; place += 4)
    if (at(place) > 0x10FFFF || at(place) >> 11 == 0xD800 >> 11) out->refusal = NO_CHARACTERS;
  if (out->refusal != nullptr) return;
  for (Py_ssize_t place = 0; place < length; place += 4)
    text.append(bytes, static_cast<std::size_t>(TeraUtf::from_uni(static_cast<int>(at(place)), bytes)));
  out->add(text.data(), static_cast<std::int64_t>(text.size()));
}

void add_narrow(const char* item, Py_ssize_t size, Taker* out) {
  while (size > 0 && item[size - 1] == '\0') --size;
  out->add(item, size);
}

PieTexts take_buffer(const Py_buffer& view, AceAttach* at) {
  const char kind =
      view.format != nullptr && *view.format != '\0' ? view.format[std::strlen(view.format) - 1] : 'B';
  if (view.ndim != 1 || (kind != 'w' && kind != 's')) return {nullptr, 0, nullptr};
  if (kind == 'w' && (view.itemsize % 4 != 0 || *view.format == '>')) return {nullptr, 0, NO_STRINGS};
  Taker taker(at);
  for (Py_ssize_t i = 0; i < view.shape[0] && taker.refusal == nullptr; ++i) {
    const char* const item = static_cast<const char*>(view.buf) + i * view.strides[0];
    kind == 'w' ? add_wide(item, view.itemsize, &taker) : add_narrow(item, view.itemsize, &taker);
  }
  return taker.result();
}

}  // namespace

PieTexts pie_take_texts(PyObject* object, AceAttach* at) {
  for (const char* const method : {"__arrow_c_array__", "__arrow_c_stream__"}) {
    PyObject* const answer = ask(object, method);
    if (answer == nullptr && PyErr_Occurred() != nullptr) return {nullptr, 0, nullptr};
    if (answer == nullptr) continue;
    const PieTexts texts = take_arrow(answer, at);
    Py_DECREF(answer);
    return texts;
  }
  Py_buffer view;
  if (PyObject_CheckBuffer(object) == 0) return {nullptr, 0, nullptr};
  if (PyObject_GetBuffer(object, &view, PyBUF_FORMAT | PyBUF_STRIDES) != 0)
    return PyErr_Clear(), PieTexts{nullptr, 0, nullptr};
  const PieTexts texts = take_buffer(view, at);
  PyBuffer_Release(&view);
  return texts;
}
