"""Records with several fields, and forms that are filled field by field."""
import dataclasses
import itertools
import os
import tempfile
from collections.abc import Iterable, Iterator, Mapping, Sequence
from os import PathLike
from typing import Self, overload

from . import kernel
from .closing import Closing
from .enums import Category
from .enums import Match as Mark
from .matches import Matches
from .sources import rows_of
from .words import check_range, default_map, letters_of

ASKED = "ADVANCED|CHANGING|FULL|ORIGINAL"  # with an index
KEPT = "BASIC|CHANGING|NONE|ORIGINAL"
SAMPLE = 10_000  # lines that are looked at


@dataclasses.dataclass(frozen=True, slots=True)
class Field:
    """A field of records: its method, as EDIT, WORDS or DATE, or "" for one that is kept and not asked; what counts in its
    values; options of the method for the build and for questions; how it is stored, if not as usual."""

    name: str
    method: str = "EDIT"
    map: kernel.TeraMap | None = None
    build: str = ""
    ask: str = ""
    storage: str = ""


@dataclasses.dataclass(frozen=True, slots=True)
class Record:
    """A record that was found: its place in the base, its quality, 0 to 255, its values by field, and the qualities of the
    fields that were asked."""

    record: int
    quality: int
    values: dict[str, str]
    qualities: dict[str, int]


@dataclasses.dataclass(frozen=True, slots=True)
class Alternative:
    """A value that a field offers: its quality, the number of its records (None when nobody has counted), and whether there
    are some in the context (None when nobody has looked)."""

    text: str
    quality: int
    records: int | None
    in_context: bool | None


@dataclasses.dataclass(frozen=True, slots=True)
class FieldStatus:
    """How a field of a form stands: its query and mode, a mark, the number of its records (None when nobody has counted),
    the quality of its best value, its weight."""

    query: str
    mode: str
    mark: Mark
    records: int | None
    best: int
    weight: int


@dataclasses.dataclass(frozen=True, slots=True)
class Answer:
    """What a form answers. It does not change with the form, and outlives it."""

    records: list[Record]
    alternatives: list[Alternative]
    fields: dict[str, FieldStatus]
    context: int | None  #: number of records that are possible; None for all
    category: Category
    reason: str
    rule: str
    can_undo: bool
    can_redo: bool


def as_query(text: str) -> str:
    """What somebody typed, as the library takes it: "..." alone would stand for the text before."""
    return kernel.DastSession.as_query(text) or ""


def _count(number: int) -> int | None:
    return number if number >= 0 else None


def _records(result: kernel.DastResult, names: Sequence[str]) -> Iterator[Record]:
    for index in range(result.get_num_suggs()):
        found = result.get_sugg(index)
        assert found is not None
        qualities = {name: quality for name, quality in zip(names, found.get_qualities()) if quality >= 0}
        yield Record(found.get_record_id() - 1, found.get_quality(), dict(zip(names, found.get_rep())), qualities)


def _alternatives(result: kernel.DastResult) -> Iterator[Alternative]:
    for index in range(result.get_num_alts()):
        value = result.get_alt(index)
        assert value is not None
        context = {3: False, 4: True}.get(value.get_status())
        yield Alternative(value.get_rep() or "", value.get_quality(), _count(value.get_num_hits()), context)


def _statuses(result: kernel.DastResult) -> Iterator[tuple[str, FieldStatus]]:
    for index in range(result.get_num_fields()):
        field = result.get_field_status(index)
        if field is not None:
            yield field.get_name() or "", FieldStatus(field.get_string() or "", field.get_mode() or "", Mark(field.get_status()),
                                                      _count(field.num_records()), field.best_candidate(),
                                                      field.get_weight())


def _session_config(fields: Iterable[Field]) -> str:
    """A form of all fields that can be asked."""
    asked = [field.name for field in fields if field.method]
    blocks = "".join(f"\t{name}\t{{\n\t\tBUILD_FIELD\t{name}\n\t}}\n" for name in asked)
    return f"FIELDS\t{{\n{blocks}}}\nCOMBINATIONS\t{{\n\tdefault\t{{\n\t\tFIXED_CONFIG\t{{\n\t\t}}\n\t}}\n}}\n"


class Form(Closing):
    """A form over the records of a base, filled field by field: a field is looked up when its text changes, and selecting it
    leaves only its records possible. Modes: "?" with errors, "!" exactly, ">" as the beginning of a value, "<" part of it."""

    def __init__(self, session: kernel.DastSession) -> None:
        self._session = session
        self.fields = tuple(session.get_field_names())

    @property
    def session(self) -> kernel.DastSession:
        """The library's session, with all it can do."""
        return self._session

    @property
    def min_quality(self) -> int:
        """The least quality of records that are suggested."""
        return self._session.get_min_conf()

    @min_quality.setter
    def min_quality(self, quality: int) -> None:
        self._session.set_min_conf(check_range("a quality", quality))

    def weigh(self, **weights: int) -> None:
        """Sets what fields count, 0 to 255."""
        for name, weight in weights.items():
            self._session.set_field_weight(self._place(name), check_range("a weight", weight))

    def update(self, field: str, text: str, mode: str = "?") -> Answer:
        """Types a text into a field. The answer has the values that the field offers."""
        if mode.strip() and kernel.DastSession.get_call_mode(mode) == kernel.DastSession.get_call_mode(""):
            raise ValueError(f"expected a mode, as ? ! > < + * or -, found {mode!r}")
        return self._answer(self._session.update_result(field, as_query(text), mode))

    def __setitem__(self, field: str, text: str) -> None:
        self._session.update(field, as_query(text))

    def __getitem__(self, field: str) -> str:
        return self._session.get_field_query(self._place(field)) or ""

    def __delitem__(self, field: str) -> None:
        self._session.clear(field)

    def __iter__(self) -> Iterator[str]:
        return iter(self.fields)

    def __len__(self) -> int:
        return len(self.fields)

    def clear(self) -> Answer:
        """Empties all fields."""
        self._session.clear_all()
        return self.state()

    def select(self, field: str) -> Answer:
        """Leaves only the records of a field's values possible."""
        self._session.select(field)
        return self.state()

    def deselect(self, *fields: str) -> Answer:
        """Takes selections back."""
        self._session.deselect(fields)
        return self.state()

    def suggest(self, k: int = -1) -> Answer:
        """The k records that fit best what was typed."""
        return self._answer(self._session.suggest(num=k))

    def undo(self) -> Answer:
        """Takes the last command back."""
        return self._answer(self._session.undo())

    def redo(self) -> Answer:
        """Does it again."""
        return self._answer(self._session.redo())

    def state(self) -> Answer:
        """How the fields stand."""
        return self._answer(self._session.result())

    def search(self, query: Mapping[str, str], k: int = 10) -> Answer:
        """The k records that fit a whole form best."""
        return self._answer(self._session.search(*self._queries(query), num=k))

    def assess(self, query: Mapping[str, str]) -> Answer:
        """What the form's rules decide on a whole form."""
        return self._answer(self._session.assess(*self._queries(query)))

    def match(self, queries: Iterable[Mapping[str, str] | Sequence[str]], k: int = 1, threads: int = -1) -> Matches:
        """The k best records for each of many forms, by several threads (-1: as many as the machine has). A form is a
        mapping, or has a text for each field in the order of the fields; "" is not asked. `entry` is the record."""
        texts = [text for row in rows_of(queries, self.fields) for text in row]
        return Matches(self._session.match(texts, k, 0, threads))

    def close(self) -> None:
        self._session.close()

    def __repr__(self) -> str:
        return f"<Form {', '.join(f'{name}={self[name]!r}' for name in self.fields)}>"

    def _place(self, field: str) -> int:
        place = self._session.get_field_index(field)
        if place < 0:
            raise KeyError(field)
        return place

    def _queries(self, query: Mapping[str, str]) -> tuple[list[str], list[str]]:
        for name in query:
            self._place(name)
        texts = [as_query(text) for text in next(rows_of([query], self.fields))]
        return ["?" if text else "-" for text in texts], texts

    def _answer(self, result: kernel.DastResult) -> Answer:
        with result:
            return Answer(list(_records(result, self.fields)), list(_alternatives(result)), dict(_statuses(result)),
                          _count(result.get_size_context()), Category(result.get_category()), result.get_reason() or "",
                          result.get_rule() or "", result.can_undo(), result.can_redo())


class Base(Closing, Sequence[list[str]]):
    """Records with fields of different kinds, compiled to be found in spite of errors."""

    def __init__(self, base: kernel.DastBase, path: str | PathLike[str] | None = None) -> None:
        self._base = base
        self._path = path
        self.fields = tuple(base.get_field_name(index) or "" for index in range(base.get_num_fields()))

    @classmethod
    def build(cls, rows: str | PathLike[str] | Iterable[Mapping[str, str] | Sequence[str]],
              fields: Iterable[str | Field] | Mapping[str, str], form: str = "",
              rep: kernel.AceReporter | None = None) -> Self:
        """A base of records: rows of any iterable or of a DataFrame, or the name of a record file, whose fields have TABs in
        between. Fields are names, names with their methods, or `Field`s. A "|" stands between other writings of one value.
        `form` is a session template; without it forms have all fields that can be asked."""
        pairs = fields.items() if isinstance(fields, Mapping) else ()
        known = [Field(*pair) for pair in pairs] or [Field(one) if isinstance(one, str) else one for one in fields]
        for field in known:
            if not isinstance(field, Field):
                raise TypeError(f"expected the name of a field, or a Field, found {field!r}")
            if field.name.startswith("}") or field.name != field.name.translate(BREAKS):
                raise ValueError("expected a field name without } in front and without tabs and ends of lines, "
                                 f"found {field.name!r}")
        with tempfile.TemporaryDirectory() as folder:
            file = rows if isinstance(rows, (str, PathLike)) else os.path.join(folder, "records")
            if not isinstance(rows, (str, PathLike)):
                _write_records(file, rows, [field.name for field in known])
            common = default_map(_letters_of_file(file))
            base = kernel.DastBase([field.name for field in known], folder, session_config=form or _session_config(known))
            for field in known:
                base.assign_internal(field.name, field.storage or (ASKED if field.method else KEPT), rep=rep)
                if field.method:
                    base.configure(field.name, field.method, field.map or common, field.build, field.ask)
            base.make(file, rep=rep)
            base.make_all_access(rep=rep)
        return cls(base)

    @classmethod
    def open(cls, path: str | PathLike[str]) -> Self:
        """The base of a file, which is mapped into memory."""
        return cls(kernel.DastBase.mapped(path), path)

    def save(self, path: str | PathLike[str]) -> None:
        """Writes a file: whole, or not at all."""
        self._base.dump(path)

    def form(self, template: str = "") -> Form:
        """A form over the records: by a session template, or as the base was built for."""
        return Form(kernel.DastSession(self._base, config=template) if template else kernel.DastSession.of_base(self._base))

    def search(self, query: Mapping[str, str], k: int = 10, min_quality: int = 190) -> list[Record]:
        """The k records that fit best, best first; a query has texts of some of the fields."""
        with self.form() as form:
            form.min_quality = min_quality
            return form.search(query, k).records

    def match(self, queries: Iterable[Mapping[str, str] | Sequence[str]], k: int = 1, min_quality: int = 190,
              threads: int = -1) -> Matches:
        """The same for many queries, by several threads; see `Form.match`."""
        with self.form() as form:
            form.min_quality = min_quality
            return form.match(queries, k, threads)

    def __len__(self) -> int:
        return self._base.num_records() - 1  # the library has an empty one in front

    @overload
    def __getitem__(self, index: int) -> list[str]: ...
    @overload
    def __getitem__(self, index: slice) -> list[list[str]]: ...
    def __getitem__(self, index: int | slice) -> list[str] | list[list[str]]:
        """The values of a record."""
        if isinstance(index, slice):
            return [self._base.get_line(place + 1) for place in range(*index.indices(len(self)))]
        if not -len(self) <= index < len(self):
            raise IndexError("no such record")
        return self._base.get_line(index % len(self) + 1)

    def close(self) -> None:
        self._base.close()

    def __reduce__(self) -> tuple[object, tuple[object]]:
        return (Base.open, (self._path,)) if self._path is not None else (_from_image, (self._base.to_buffer(),))

    def __repr__(self) -> str:
        return f"<Base of {len(self)} records: {', '.join(self.fields)}>"


def _from_image(image: bytes) -> Base:
    return Base(kernel.DastBase.from_buffer(image))


BREAKS = str.maketrans("\t\n\r", "   ")  # what would end a value or a record


def _letters_of_file(file: str | PathLike[str]) -> str:
    """One that cannot be read is left to the build, which says so."""
    try:
        with open(file, encoding="utf-8", errors="ignore") as lines:
            return letters_of(itertools.islice(lines, SAMPLE))
    except OSError:
        return ""


def _write_records(path: str | PathLike[str], rows: Iterable[Mapping[str, str] | Sequence[str]], names: Sequence[str]) -> None:
    with open(path, "w", encoding="utf-8-sig", newline="\n") as file:  # without the mark in front a value's own would be one
        for row in rows_of(rows, names):
            file.write("\t".join(value.translate(BREAKS) for value in row) + "\n")
