"""Arrays of other libraries: Arrow through ctypes, as a consumer or producer in C sees it, and NumPy."""
import ctypes
import gc
import random
import unittest

from svpie import Index, Matches, kernel

try:
    import numpy
except ImportError:
    numpy = None


class ArrowSchema(ctypes.Structure):
    pass


class ArrowArray(ctypes.Structure):
    pass


class ArrowStream(ctypes.Structure):
    pass


POINTER, INT64 = ctypes.POINTER, ctypes.c_int64
ArrowSchema._fields_ = [("format", ctypes.c_char_p), ("name", ctypes.c_char_p), ("metadata", ctypes.c_char_p), ("flags", INT64),
                        ("n_children", INT64), ("children", POINTER(POINTER(ArrowSchema))), ("dictionary", ctypes.c_void_p),
                        ("release", ctypes.CFUNCTYPE(None, POINTER(ArrowSchema))), ("private_data", ctypes.c_void_p)]
ArrowArray._fields_ = [("length", INT64), ("null_count", INT64), ("offset", INT64), ("n_buffers", INT64), ("n_children", INT64),
                       ("buffers", POINTER(ctypes.c_void_p)), ("children", POINTER(POINTER(ArrowArray))),
                       ("dictionary", ctypes.c_void_p), ("release", ctypes.CFUNCTYPE(None, POINTER(ArrowArray))),
                       ("private_data", ctypes.c_void_p)]
ArrowStream._fields_ = [("get_schema", ctypes.CFUNCTYPE(ctypes.c_int, POINTER(ArrowStream), POINTER(ArrowSchema))),
                        ("get_next", ctypes.CFUNCTYPE(ctypes.c_int, POINTER(ArrowStream), POINTER(ArrowArray))),
                        ("get_last_error", ctypes.c_void_p), ("release", ctypes.CFUNCTYPE(None, POINTER(ArrowStream))),
                        ("private_data", ctypes.c_void_p)]

get_pointer = ctypes.pythonapi.PyCapsule_GetPointer
get_pointer.restype, get_pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
new_capsule = ctypes.pythonapi.PyCapsule_New
new_capsule.restype, new_capsule.argtypes = ctypes.py_object, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]


def inside(capsule, kind, name):
    return kind.from_address(get_pointer(capsule, name))


def columns_of(schema, array):
    names = [schema.children[i].contents.name.decode() for i in range(schema.n_children)]
    columns = {}
    for i, name in enumerate(names):
        child = array.children[i].contents
        assert schema.children[i].contents.format == b"I" and child.length == array.length and child.null_count == 0
        data = ctypes.cast(child.buffers[1], POINTER(ctypes.c_uint32))
        columns[name] = data[:child.length]
    return columns


class Strings:
    """An Arrow array of strings: of a format, from an offset on, with missing ones."""

    def __init__(self, texts, form, offset=0, as_stream=False):
        self.as_stream = as_stream
        padded = ["none of it"] * offset + [text or "" for text in texts]
        data = b"".join(text.encode() for text in padded)
        bits = bytearray((len(padded) + 7) // 8)
        for i, text in enumerate([""] * offset + list(texts)):
            bits[i // 8] |= (text is not None) << (i % 8)
        buffers = [bytes(bits)]
        if form == b"vu":
            buffers += [self.views(padded), data, len(data).to_bytes(8, "little")]
        else:
            size = 4 if form == b"u" else 8
            places = [sum(len(text.encode()) for text in padded[:i]) for i in range(len(padded) + 1)]
            buffers += [b"".join(place.to_bytes(size, "little") for place in places), data]
        self.kept = [ctypes.create_string_buffer(buffer, max(len(buffer), 1)) for buffer in buffers]
        self.pointers = (ctypes.c_void_p * len(buffers))(*map(ctypes.addressof, self.kept))
        self.schema = ArrowSchema(form, b"", None, 2, 0, None, None, type(ArrowSchema().release)(), None)
        self.array = ArrowArray(len(texts), -1, offset, len(buffers), 0, self.pointers, None, None,
                                type(ArrowArray().release)(self.end_array), None)
        self.num_ended = 0

    @staticmethod
    def views(texts):
        out, place = b"", 0
        for text in texts:
            data = text.encode()
            inside = data.ljust(12, b"\0") if len(data) <= 12 else data[:4] + (0).to_bytes(4, "little") + place.to_bytes(4, "little")
            out += len(data).to_bytes(4, "little") + inside
            place += len(data)
        return out

    def end_array(self, array):
        self.num_ended += 1
        array.contents.release = type(ArrowArray().release)()

    def __arrow_c_array__(self, requested_schema=None):
        if self.as_stream:
            raise AssertionError("not asked for")
        return (new_capsule(ctypes.addressof(self.schema), b"arrow_schema", None),
                new_capsule(ctypes.addressof(self.array), b"arrow_array", None))


class StringStream:
    """Some such arrays, one after the other."""

    def __init__(self, parts):
        self.parts = list(parts)
        self.left = list(parts)
        kinds = dict(ArrowStream._fields_)
        self.stream = ArrowStream(kinds["get_schema"](self.get_schema), kinds["get_next"](self.get_next), None,
                                  kinds["release"](), None)

    def get_schema(self, stream, out):
        ctypes.memmove(out, ctypes.addressof(self.parts[0].schema), ctypes.sizeof(ArrowSchema))
        return 0

    def get_next(self, stream, out):
        if self.left:
            ctypes.memmove(out, ctypes.addressof(self.left.pop(0).array), ctypes.sizeof(ArrowArray))
        else:
            ctypes.memset(out, 0, ctypes.sizeof(ArrowArray))
        return 0

    def __arrow_c_stream__(self, requested_schema=None):
        return new_capsule(ctypes.addressof(self.stream), b"arrow_array_stream", None)


class Arrays(unittest.TestCase):
    def setUp(self):
        chance = random.Random(3)
        self.words = ["".join(chance.choice("abcdeü") for _ in range(chance.randrange(1, 20))) for _ in range(60)]
        self.index = Index.build(self.words)
        self.single = list(self.index.match(self.words, 4, 100))

    def test_matches_are_arrow_tables_that_outlive_them(self):
        matches = self.index.match(self.words, 4, 100)
        expected = {name: list(column) for name, column in matches.columns().items()}
        capsules, stream = matches.__arrow_c_array__(), matches.__arrow_c_stream__()
        del matches
        gc.collect()
        schema, array = inside(capsules[0], ArrowSchema, b"arrow_schema"), inside(capsules[1], ArrowArray, b"arrow_array")
        self.assertEqual(schema.format, b"+s")
        self.assertEqual(columns_of(schema, array), expected)
        array.release(array)
        self.assertFalse(array.release)
        one = inside(stream, ArrowStream, b"arrow_array_stream")
        schema, array = ArrowSchema(), ArrowArray()
        self.assertEqual((one.get_schema(one, schema), one.get_next(one, array)), (0, 0))
        self.assertEqual(columns_of(schema, array), expected)
        schema.release(schema)
        array.release(array)
        self.assertEqual(one.get_next(one, array), 0)
        self.assertFalse(array.release)
        self.assertEqual(len(Matches(b"")), 0)
        for wrong in ({"a": b"abcd"}, {"a": 1}, {1: memoryview(b"abcd").cast("I")},
                      {"a": memoryview(b"abcd").cast("I"), "b": memoryview(b"").cast("I")}):
            with self.assertRaises(TypeError):
                kernel.arrow_array(wrong)

    def test_queries_come_from_arrow_strings(self):
        for form in (b"u", b"U", b"vu"):
            for offset in (0, 5):
                self.assertEqual(list(self.index.match(Strings(self.words, form, offset), 4, 100)), self.single)
        parts = [Strings(self.words[i:i + 25], b"vu", i) for i in range(0, 60, 25)]
        self.assertEqual(list(self.index.match(StringStream(parts), 4, 100)), self.single)
        self.assertEqual([part.num_ended for part in parts], [1, 1, 1])
        missing = self.index.match(Strings([self.words[0], None, self.words[2]], b"u"), 1, 255)
        self.assertEqual([row[0] for row in missing], [0, 2])
        with self.assertRaisesRegex(TypeError, "expected an array of strings"):
            self.index.match(Strings(self.words, b"i"))
        cut = Strings(self.words, b"u")
        cut.array.n_buffers = 2
        with self.assertRaisesRegex(TypeError, "expected an array of strings"):
            self.index.match(cut)
        with self.assertRaisesRegex(TypeError, "strings without zeros"):
            self.index.match(Strings(["a\0b"], b"u"))

    @unittest.skipIf(numpy is None, "without NumPy")
    def test_numpy_takes_and_gives_arrays(self):
        matches = self.index.match(self.words, 4, 100)
        table = numpy.asarray(matches)
        self.assertEqual(table.tolist(), [list(row) for row in matches])
        self.assertEqual(table.__array_interface__["data"][0], numpy.asarray(matches.query).__array_interface__["data"][0])
        for kind in ("U", "O"):
            array = numpy.array(self.words, kind)
            self.assertEqual(list(self.index.match(array, 4, 100)), self.single)
            self.assertEqual(list(self.index.match(array[::-1], 4, 100))[:0], [])
        narrow = numpy.array([word.encode() for word in self.words])
        self.assertEqual(list(self.index.match(narrow, 4, 100)), self.single)
        with self.assertRaisesRegex(TypeError, "expected strings of Unicode characters"):
            self.index.match(numpy.array(["M\u00fcller".encode("latin-1")]))
        self.assertEqual([row[1] for row in self.index.match(numpy.array(self.words)[::-2], 1, 255)][:1], [59])


if __name__ == "__main__":
    unittest.main()
