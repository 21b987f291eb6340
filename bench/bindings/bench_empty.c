/* Calls from Java and Python that do nothing: what their interfaces cost by themselves. */
#include <jni.h>

#define PY_SSIZE_T_CLEAN
#define Py_LIMITED_API 0x030B0000
#include <Python.h>

JNIEXPORT jint JNICALL Java_BindingsBench_emptyNumber(JNIEnv* env, jclass type, jlong object) {
  (void)env, (void)type;
  return (jint)object;
}

JNIEXPORT jstring JNICALL Java_BindingsBench_emptyText(JNIEnv* env, jclass type, jlong object, jstring text) {
  (void)type, (void)object;
  const char* const chars = (*env)->GetStringUTFChars(env, text, NULL);
  const jstring answer = (*env)->NewStringUTF(env, chars);
  (*env)->ReleaseStringUTFChars(env, text, chars);
  return answer;
}

static PyObject* number(PyObject* self, PyObject* const* args, Py_ssize_t count, PyObject* names) {
  (void)self, (void)args, (void)count, (void)names;
  return PyLong_FromLong(3);
}

static PyMethodDef methods[] = {
    {"number", (PyCFunction)(void (*)(void))number, METH_FASTCALL | METH_KEYWORDS, NULL}, {NULL, NULL, 0, NULL}};
static PyModuleDef module = {PyModuleDef_HEAD_INIT, "bench_empty", NULL, -1, methods, NULL, NULL, NULL, NULL};

PyMODINIT_FUNC PyInit_bench_empty(void) {
  return PyModule_Create(&module);
}
