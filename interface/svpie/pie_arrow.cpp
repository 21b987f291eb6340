#include "svpie/pie_arrow.h"

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "svpie/pie_arrow_internal.h"

namespace {

/// Buffers of Python that an array shares.
struct Column {
  std::string name;
  Py_buffer view;
};
using Columns = std::vector<Column>;

// Each structure owns what it points to: a consumer may move a child away from its parent.

struct OwnedSchema {
  std::string name;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> pointers;
};

struct OwnedArray {
  PyObject* exporter = nullptr;  // keeps the buffer's memory
  const void* buffers[2] = {};
  std::vector<ArrowArray> children;
  std::vector<ArrowArray*> pointers;
};

template <class Structure, class Owned>
void release(Structure* structure) {
  auto* const owned = static_cast<Owned*>(structure->private_data);
  for (Structure* const child : owned->pointers)
    if (child->release != nullptr) child->release(child);
  if constexpr (std::is_same_v<Owned, OwnedArray>) {
    const PyGILState_STATE state = PyGILState_Ensure();
    Py_XDECREF(owned->exporter);
    PyGILState_Release(state);
  }
  delete owned;
  structure->release = nullptr;
}

ArrowSchema make_schema(const char* format, const std::string& name) {
  auto owned = std::make_unique<OwnedSchema>();
  owned->name = name;
  ArrowSchema schema{};
  schema.format = format;
  schema.name = owned->name.c_str();
  schema.release = release<ArrowSchema, OwnedSchema>;
  schema.private_data = owned.release();
  return schema;
}

ArrowArray make_array(std::int64_t length, int num_buffers) {
  ArrowArray array{};
  array.length = length;
  array.n_buffers = num_buffers;
  auto* const owned = new OwnedArray;
  array.buffers = owned->buffers;
  array.release = release<ArrowArray, OwnedArray>;
  array.private_data = owned;
  return array;
}

template <class Owned, class Structure>
void adopt(Structure* parent, std::vector<Structure>&& children) {
  auto* const owned = static_cast<Owned*>(parent->private_data);
  owned->children = std::move(children);
  for (Structure& child : owned->children) owned->pointers.push_back(&child);
  parent->n_children = static_cast<std::int64_t>(owned->pointers.size());
  parent->children = owned->pointers.data();
}

ArrowSchema table_schema(const Columns& columns) {
  std::vector<ArrowSchema> children;
  for (const Column& column : columns) children.push_back(make_schema("I", column.name));
  ArrowSchema table = make_schema("+s", "");
  adopt<OwnedSchema>(&table, std::move(children));
  return table;
}

ArrowArray table_array(const Columns& columns) {
  std::vector<ArrowArray> children;
  const std::int64_t length = columns.empty() ? 0 : columns[0].view.len / 4;
  for (const Column& column : columns) {
    ArrowArray child = make_array(length, 2);
    auto* const owned = static_cast<OwnedArray*>(child.private_data);
    owned->buffers[1] = column.view.buf;
    owned->exporter = Py_NewRef(column.view.obj);
    children.push_back(child);
  }
  ArrowArray table = make_array(length, 1);
  adopt<OwnedArray>(&table, std::move(children));
  return table;
}

// Capsules.

template <class Structure>
PyObject* capsule(Structure&& structure, const char* name, PyCapsule_Destructor destroy) {
  auto* const kept = new Structure(structure);
  PyObject* const made = PyCapsule_New(kept, name, destroy);
  if (made == nullptr) {
    kept->release(kept);
    delete kept;
  }
  return made;
}

template <class Structure>
void destroy(PyObject* capsule) {
  auto* const kept = static_cast<Structure*>(PyCapsule_GetPointer(capsule, PyCapsule_GetName(capsule)));
  if (kept->release != nullptr) kept->release(kept);
  delete kept;
}

void let_go(Columns* columns) {
  for (Column& column : *columns) PyBuffer_Release(&column.view);
}

/// The columns of a mapping from names to buffers; an error of Python where they are none.
bool take_columns(PyObject* mapping, Columns* columns) {
  PyObject* const items = PyMapping_Items(mapping);
  for (Py_ssize_t i = 0; items != nullptr && i < PyList_Size(items); ++i) {
    PyObject* const item = PyList_GetItem(items, i);
    const char* const name = PyUnicode_AsUTF8AndSize(PyTuple_GetItem(item, 0), nullptr);
    Column column{name != nullptr ? name : "", {}};
    if (name == nullptr ||
        PyObject_GetBuffer(PyTuple_GetItem(item, 1), &column.view, PyBUF_FORMAT | PyBUF_ND) != 0)
      break;
    columns->push_back(std::move(column));
    const Py_buffer& view = columns->back().view;
    if (view.format == nullptr || std::string(view.format) != "I" || view.len != (*columns)[0].view.len)
      PyErr_SetString(PyExc_TypeError, "expected columns of 32-bit numbers (I), all of one length");
    if (PyErr_Occurred() != nullptr) break;
  }
  Py_XDECREF(items);
  if (PyErr_Occurred() == nullptr) return true;
  let_go(columns);
  return false;
}

PyObject* arrow_array(PyObject*, PyObject* mapping) {
  Columns columns;
  if (!take_columns(mapping, &columns)) return nullptr;
  PyObject* const schema = capsule(table_schema(columns), ARROW_SCHEMA, destroy<ArrowSchema>);
  PyObject* const array = capsule(table_array(columns), ARROW_ARRAY, destroy<ArrowArray>);
  let_go(&columns);
  PyObject* const both = schema != nullptr && array != nullptr ? PyTuple_Pack(2, schema, array) : nullptr;
  Py_XDECREF(schema);
  Py_XDECREF(array);
  return both;
}

/// A stream of one table.
struct OneTable {
  ArrowArray array;
  Columns columns;
};

void end_stream(ArrowArrayStream* stream) {
  auto* const table = static_cast<OneTable*>(stream->private_data);
  if (table->array.release != nullptr) table->array.release(&table->array);
  const PyGILState_STATE state = PyGILState_Ensure();
  let_go(&table->columns);
  PyGILState_Release(state);
  delete table;
  stream->release = nullptr;
}

int next_array(ArrowArrayStream* stream, ArrowArray* out) {
  auto* const table = static_cast<OneTable*>(stream->private_data);
  *out = table->array;
  table->array = ArrowArray{};
  return 0;
}

int stream_schema(ArrowArrayStream* stream, ArrowSchema* out) {
  *out = table_schema(static_cast<OneTable*>(stream->private_data)->columns);
  return 0;
}

PyObject* arrow_stream(PyObject*, PyObject* mapping) {
  Columns columns;
  if (!take_columns(mapping, &columns)) return nullptr;
  auto* const table = new OneTable{table_array(columns), std::move(columns)};
  return capsule(
      ArrowArrayStream{stream_schema, next_array, [](ArrowArrayStream*) -> const char* { return nullptr; },
                       end_stream, table},
      ARROW_STREAM, destroy<ArrowArrayStream>);
}

PyMethodDef functions[] = {
    {"arrow_array", arrow_array, METH_O,
     "The capsules of an Arrow table of columns: their schema and their data."},
    {"arrow_stream", arrow_stream, METH_O, "The capsule of a stream of one Arrow table of columns."},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

int pie_init_arrow(PyObject* module) {
  return PyModule_AddFunctions(module, functions);
}
