/// Arrays of other libraries without Python objects for their elements: Arrow by its C data interface and the
/// PyCapsule protocol, NumPy's arrays of texts by the buffer protocol.
#pragma once

#include "svpie/pie_report.h"

class AceAttach;

/// Texts of an array, in an attach.
struct PieTexts {
  const char** texts;  ///< null: none were taken
  Py_ssize_t count;
  const char* refusal;  ///< why none were taken, null where the object is no such array; static
};

/// The texts of an Arrow array or stream of strings (utf8, large_utf8, utf8_view), or of a NumPy array of
/// type U or S. Missing ones are empty. Null and an error of Python where the object's own methods fail.
PieTexts pie_take_texts(PyObject* object, AceAttach* at);

/// Adds `arrow_array(columns)` and `arrow_stream(columns)` to a module: a table of columns of 32-bit numbers,
/// a mapping from names to buffers of format "I", which the capsules share. Returns 0 or -1.
int pie_init_arrow(PyObject* module);
