"""Deliveries of customer data: files of all kinds, databases, rows of Python."""
from collections.abc import Iterable, Iterator, Mapping, Sequence
from os import PathLike, fspath
from typing import Any

from . import kernel
from .closing import Closing

SUFFIXES = {".csv": "csv", ".tsv": "tsv", ".tab": "tsv", ".txt": "tsv", ".json": "json", ".jsonl": "jsonl",
            ".ndjson": "jsonl", ".xml": "xml"}
BYTES = (bytes, bytearray, memoryview)  # what has an encoding that nobody has told


def rows_of(rows: Iterable[Mapping[str, str] | Sequence[str]], names: Sequence[str]) -> Iterator[Sequence[str]]:
    """Rows as texts in the order of the names: of mappings, of sequences as they are, or of a DataFrame."""
    columns = getattr(rows, "columns", None)
    if columns is not None:  # of pandas, of polars
        frame: Any = rows
        present = list(columns)
        for name in names:
            if present.count(name) != 1:
                raise ValueError(f"expected columns {', '.join(names)}, found {present.count(name) or 'none'} of the name {name}")
        order = [present.index(name) for name in names]
        listed = frame.iter_rows() if hasattr(frame, "iter_rows") else frame.itertuples(index=False, name=None)
        rows = ([row[place] for place in order] for row in listed)
    for row in rows:
        if isinstance(row, Mapping) and row and row.keys().isdisjoint(names):
            raise ValueError(f"expected some of {', '.join(names)}, found {', '.join(map(str, row))}")
        values = _values_of(row, names)
        if len(values) != len(names):
            raise ValueError(f"expected {len(names)} values ({', '.join(names)}), found {len(values)}: {row!r}")
        yield [value if isinstance(value, str) else text_of(value) for value in values]


def text_of(value: object) -> str:
    """A value as a text; "" for None and what else stands for none (NaN, NaT, NA)."""
    if value is None:
        return ""
    if isinstance(value, BYTES):
        raise TypeError(f"expected a text or what str() makes one of, found {value!r}")
    different: Any = value != value  # of NA it is NA, of arrays an array
    return "" if different is value or getattr(different, "size", 1) == 1 and bool(different) else str(value)


def _values_of(row: Any, names: Sequence[str]) -> list[Any]:
    if isinstance(row, Mapping):
        return [row.get(name) for name in names]
    return list(row) if isinstance(row, Iterable) and not isinstance(row, (str, *BYTES)) else [row]


class Source(Closing):
    """Records of a delivery, read one by one: `names` are the fields, if known. A context manager."""

    def __init__(self, records: kernel.DamoInput, names: Sequence[str] = (), has_header: bool = False) -> None:
        self._records = records
        self.names = list(names)
        if has_header:
            self.names = records.read_record()

    def __iter__(self) -> Iterator[list[str]]:
        return iter(self._records.read_record, [])

    def mappings(self) -> Iterator[dict[str, str]]:
        """The records by the names of their fields."""
        return (dict(zip(self.names, record)) for record in self)

    def statistics(self) -> kernel.DamoStatistic:
        """What the values are like: counts the records that are left. `write_page(file)` makes a page for people."""
        statistic: kernel.DamoStatistic | None = None
        for record in self:
            if statistic is None:
                statistic = kernel.DamoStatistic(self.names or [f"field {i + 1}" for i in range(len(record))])
            statistic.add_fields(record)
        return statistic or kernel.DamoStatistic(self.names or ["field 1"])

    def close(self) -> None:
        self._records.close()

    def __repr__(self) -> str:
        return f"<Source of {', '.join(self.names) or 'records'}>"


def read(path: str | PathLike[str], fields: Mapping[str, str] | Sequence[str] = (), *, kind: str = "", separator: str = "",
         header: bool = True, records: str = "", widths: Sequence[int] = (), namespaces: Mapping[str, str] | None = None,
         rep: kernel.AceReporter | None = None) -> Source:
    """The records of a file. Its kind is that of its name: csv, tsv (lines with separators), json, jsonl, xml, or fixed,
    which `widths` tell. Of JSON and XML, `fields` says the paths by name (JMESPath, XPath), and `records` where they are; of
    the others the names where the file has no header."""
    name = fspath(path)
    told = kind or ("fixed" if widths else SUFFIXES.get(name[name.rfind("."):].lower(), ""))
    names = list(fields)
    paths = list(fields.values()) if isinstance(fields, Mapping) else names
    if told in ("json", "jsonl", "xml"):
        if told == "jsonl":
            opened = kernel.DamoInput.json_lines(path, paths, rep)
        elif told == "json":
            opened = kernel.DamoInput.json(path, records or "[*]", paths, rep)
        else:
            pairs = [text for pair in (namespaces or {}).items() for text in pair]
            opened = kernel.DamoInput.xml(path, records, paths, pairs, rep)
        return Source(opened, names)
    if told == "csv":
        opened = kernel.DamoInput.csv(path, separator or ",", rep=rep)
    elif told == "tsv":
        opened = kernel.DamoInput.standard(path, separator or "\t", rep=rep)
    elif told == "fixed":
        stops = [sum(widths[:i + 1]) for i in range(len(widths))]
        opened = kernel.DamoInput.fixed_width(path, stops, rep)
    else:
        raise ValueError(f"cannot tell the kind of {name!r}; expected kind= csv, tsv, fixed, json, jsonl or xml")
    return Source(opened, names, header and not names)


def query(data_source: str, sql: str, names: Sequence[str] = (), *, user: str = "", password: str = "",
          rep: kernel.AceReporter | None = None) -> Source:
    """The rows that a database answers, by ODBC."""
    return Source(kernel.DamoInput.odbc(data_source, sql, user, password, rep=rep), names)
