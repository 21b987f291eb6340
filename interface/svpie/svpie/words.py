"""Words that are found in spite of typing errors."""
import dataclasses
from collections.abc import Iterable, Iterator, Sequence
from os import PathLike
from typing import Self, overload

from . import kernel
from .closing import Closing
from .enums import Mode, Model
from .matches import Matches


@dataclasses.dataclass(frozen=True, slots=True)
class Match:
    """An entry that was found: its text, its place in the list that was built, and its quality, 0 to 255."""

    text: str
    entry: int
    quality: int


def default_map(letters: str = "") -> kernel.TeraMap:
    """Letters and digits count; case and accents do not. Letters of other scripts count as Latin ones: Cyrillic, Greek, Arabic
    and Hebrew ones always, the others if there are such among `letters`, as they make a file up to 300 KB larger."""
    config = kernel.TeraMapConfig("utf-8")
    config.set_tokens("A-Z0-9")
    config.complex_mappings("-map_upper -expand_compatibility -map_accents -any_to_latin "
                            + (kernel.TeraMapConfig.script_flags(letters) or ""))
    return config.compile()


def letters_of(words: Iterable[str]) -> str:
    """Those that `default_map` needs to know."""
    letters = {letter for word in words if isinstance(word, str) and not word.isascii() for letter in word if letter > "\x7f"}
    return "".join(letters).encode("utf-8", "ignore").decode()


def check_range(what: str, number: int) -> int:
    """A quality or a weight; others would count as something else."""
    if not 0 <= number <= 255:
        raise ValueError(f"expected {what} from 0 to 255, found {number}")
    return number


class Index(Closing, Sequence[str]):
    """Words that are found in spite of typing errors."""

    def __init__(self, edit: kernel.TeraEdit, path: str | PathLike[str] | None = None) -> None:
        self._edit = edit
        self._path = path

    @classmethod
    def build(cls, words: Iterable[str], map: kernel.TeraMap | None = None) -> Self:
        """An index of words. A word's entry is its place among them."""
        if isinstance(words, Iterator):
            words = list(words)
        chosen = map or default_map(letters_of(words) if isinstance(words, Sequence) else "")
        edit = kernel.TeraEdit(chosen)
        edit.from_string_array(words, chosen)
        return cls(edit)

    @classmethod
    def open(cls, path: str | PathLike[str]) -> Self:
        """The index of a file, which is mapped into memory."""
        edit = kernel.TeraEdit()
        edit.load(path, 1)
        return cls(edit, path)

    def save(self, path: str | PathLike[str]) -> None:
        """Writes a file: whole, or not at all."""
        self._edit.dump(path)

    def find(self, query: str, k: int = 10, min_quality: int = 150, mode: Mode | str = Mode.LEVENSHTEIN,
             model: Model | str = Model.MAXIMUM) -> list[Match]:
        """The k best entries for a query, best first. Equal ones come in the order of the list."""
        if k < 0:
            raise ValueError(f"expected k of 0 or more, found {k}")
        result = kernel.TeraResult(query, check_range("a quality", min_quality), k)
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

    def match(self, queries: Iterable[str], k: int = 10, min_quality: int = 150, mode: Mode | str = Mode.LEVENSHTEIN,
              model: Model | str = Model.MAXIMUM, threads: int = -1) -> Matches:
        """The k best entries for each of many queries, by several threads (-1: as many as the machine has).
        Arrays of strings are taken as they are, of Arrow and of NumPy."""
        return Matches(self._edit.match(queries, k, check_range("a quality", min_quality), mode, model, threads))

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

    def __reduce__(self) -> tuple[object, tuple[object]]:
        return (Index.open, (self._path,)) if self._path is not None else (_from_image, (self._edit.to_buffer(),))

    def __repr__(self) -> str:
        return f"<Index of {len(self)} words>"

    def close(self) -> None:
        self._edit.close()


def _from_image(image: bytes) -> Index:
    return Index(kernel.TeraEdit.from_buffer(image))
