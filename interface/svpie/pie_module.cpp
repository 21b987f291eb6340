// The module svpie.kernel.
#include "ace/ace_reporter.h"
#include "svcpp/sorvanta_reporter.h"
#include "svpie/pie_classes.h"

extern "C" __attribute__((visibility("default"))) PyObject* PyInit_kernel() {
  static PyModuleDef definition = {PyModuleDef_HEAD_INIT,
                                   "kernel",
                                   "The classes of the library.",
                                   -1,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr,
                                   nullptr};
  PyObject* const module = PyModule_Create(&definition);
  if (module == nullptr) return nullptr;
  sv_init();
  if (pie_init(module) == 0 && pie_add_all(module) == 0 &&
      PyModule_AddStringConstant(module, "__version__", SORVANTA_VERSION) == 0)
    return module;
  Py_DECREF(module);
  return nullptr;
}
