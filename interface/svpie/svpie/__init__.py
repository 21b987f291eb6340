"""Finds words and records in spite of typing errors.

    from svpie import Index, Match
    index = Index.build(["München", "Münster", "Zürich"])
    index.find("munhcen", k=2)       # [Match(text='München', entry=0, quality=182)]
    "Zurich" in index                # True: something has a quality of 190
    index.save("cities.edit")
    with Index.open("cities.edit") as again: ...

All classes of the library are in `svpie.kernel`. Qualities are 0 to 255. Objects may be used by any thread; calls that
take long release the interpreter's lock.
"""
import dataclasses
import enum
from collections.abc import Iterable, Iterator, Sequence
from os import PathLike
from typing import Self, overload

from . import kernel
from .kernel import SorvantaError, __version__

__all__ = ["Index", "Match", "Matches", "Mode", "Model", "Reporter", "SorvantaError", "kernel", "__version__"]

Mode = enum.IntEnum("Mode", kernel.enumerations["TeraEval::Mode"])
Mode.__doc__ = "How two words are compared."
Model = enum.IntEnum("Model", kernel.enumerations["TeraEval::Model"])
Model.__doc__ = "What the differences of two words are worth."


class Reporter(kernel.AceReporter):
    """Gets messages of the library: derive a class, or give functions. The last one made is asked by all calls that
    have no other."""

    def __new__(cls, *args: object, **kwargs: object) -> Self:
        return super().__new__(cls)

    def report(self, text: str) -> None:
        print(text, end="")

    def event(self, text: str, code: str) -> None:
        self.report(text)


@dataclasses.dataclass(frozen=True, slots=True)
class Match:
    """An entry that was found: its text, its place in the list that was built, and its quality, 0 to 255."""

    text: str
    entry: int
    quality: int


class Matches(Sequence[tuple[int, int, int, int]]):
    """Rows of query, entry, quality and distance in quality from the query's best match, ordered by query, then best
    first. They are one array of 32 bit numbers: `numpy.asarray(matches)` takes it as it is, and so does everything that
    knows the buffer of `matches.rows`."""

    def __init__(self, image: bytes) -> None:
        self._image = image
        size = len(image) // 16
        self.rows = memoryview(image).cast("B").cast("i", (size, 4)) if size else memoryview(b"")

    def columns(self) -> tuple[list[int], list[int], list[int], list[int]]:
        """The four columns as lists."""
        flat = memoryview(self._image).cast("i").tolist()
        return flat[0::4], flat[1::4], flat[2::4], flat[3::4]

    @property
    def __array_interface__(self) -> dict[str, object]:
        return {"version": 3, "shape": (len(self), 4), "typestr": "<i4", "data": self._image}

    def __len__(self) -> int:
        return len(self._image) // 16

    @overload
    def __getitem__(self, index: int) -> tuple[int, int, int, int]: ...
    @overload
    def __getitem__(self, index: slice) -> list[tuple[int, int, int, int]]: ...
    def __getitem__(self, index: int | slice) -> tuple[int, int, int, int] | list[tuple[int, int, int, int]]:
        if isinstance(index, slice):
            return [self[i] for i in range(*index.indices(len(self)))]
        if index < 0:
            index += len(self)
        if not 0 <= index < len(self):
            raise IndexError("no such row")
        row = memoryview(self._image)[16 * index:16 * index + 16].cast("i").tolist()
        return row[0], row[1], row[2], row[3]

    def __repr__(self) -> str:
        return f"<{len(self)} matches>"


def default_map() -> kernel.TeraMap:
    """Letters and digits count; case and accents do not."""
    config = kernel.TeraMapConfig("utf-8")
    config.set_tokens("A-Z0-9")
    config.map_upper()
    config.deaccentuate()
    return config.compile()


class Index(Sequence[str]):
    """Words that are found in spite of typing errors."""

    def __init__(self, edit: kernel.TeraEdit) -> None:
        self._edit = edit

    @classmethod
    def build(cls, words: Iterable[str], map: kernel.TeraMap | None = None) -> Self:
        """An index of words. A word's entry is its place among them."""
        chosen = map or default_map()
        edit = kernel.TeraEdit(chosen)
        edit.from_string_array(list(words), chosen)
        return cls(edit)

    @classmethod
    def open(cls, path: str | PathLike[str]) -> Self:
        """The index of a file, which is mapped into memory."""
        edit = kernel.TeraEdit()
        edit.load(path, 1)
        return cls(edit)

    def save(self, path: str | PathLike[str]) -> None:
        """Writes a file: whole, or not at all."""
        self._edit.dump(path)

    def find(self, query: str, k: int = 10, min_quality: int = 150, mode: Mode | str = Mode.LEVENSHTEIN,
             model: Model | str = Model.MAXIMUM) -> list[Match]:
        """The k best entries for a query, best first. Equal ones come in the order of the list."""
        result = kernel.TeraResult(query, min_quality, k)
        self._edit.recall(result, mode, model)
        result.high_first()
        found: list[Match] = []
        group = result.get_first_group()
        while group is not None:
            quality = group.get_value()
            cand = group.get_first_cand()
            same: list[Match] = []
            while cand is not None:
                text = cand.represent() or ""
                same += [Match(text, entry, quality) for entry in cand.get_infos()]
                cand = cand.get_next()
            found += sorted(same, key=lambda match: match.entry)
            group = group.get_next()
        return found[:k]

    def match(self, queries: Sequence[str], k: int = 10, min_quality: int = 150, mode: Mode | str = Mode.LEVENSHTEIN,
              model: Model | str = Model.MAXIMUM, threads: int = -1) -> "Matches":
        """The k best entries for each of many queries, by several threads (-1: as many as the machine has)."""
        return Matches(self._edit.match(queries, k, min_quality, mode, model, threads))

    def __contains__(self, word: object) -> bool:
        return isinstance(word, str) and bool(self.find(word, 1, 190))

    def __len__(self) -> int:
        return len(self._words())

    @overload
    def __getitem__(self, index: int) -> str: ...
    @overload
    def __getitem__(self, index: slice) -> list[str]: ...
    def __getitem__(self, index: int | slice) -> str | list[str]:
        return self._words()[index]

    def __iter__(self) -> Iterator[str]:
        return iter(self._words())

    def _words(self) -> list[str]:
        """The distinct words, in the index's order."""
        if not hasattr(self, "_listed"):
            slots = (self._edit.get_entry(slot) for slot in range(self._edit.get_num_entries()))
            self._listed = [word for word in slots if word]  # the rest is room between lengths
        return self._listed

    def __reduce__(self) -> tuple[object, tuple[bytes]]:
        return _from_image, (self._edit.to_buffer(),)

    def __repr__(self) -> str:
        return f"<Index of {len(self)} words>"

    def close(self) -> None:
        self._edit.close()

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *error: object) -> None:
        self.close()


def _from_image(image: bytes) -> Index:
    return Index(kernel.TeraEdit.from_buffer(image))
