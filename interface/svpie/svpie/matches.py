"""Answers to many queries at once."""
from collections.abc import Sequence
from typing import overload

from . import kernel


class Matches(Sequence[tuple[int, int, int, int]]):
    """Rows of query, entry, quality and distance in quality from the query's best match, ordered by query, then best
    first. `query`, `entry`, `quality` and `distance` are columns of 32-bit numbers, which NumPy and whatever knows buffers
    takes as they are: `numpy.asarray(matches.entry)`; `numpy.asarray(matches)` has all four. Libraries that know Arrow take
    the whole as a table: `polars.DataFrame(matches)`."""

    def __init__(self, image: bytes) -> None:
        self._image = image
        flat = memoryview(image).cast("I")
        size = len(flat) // 4
        self.query, self.entry, self.quality, self.distance = (flat[i * size:(i + 1) * size] for i in range(4))

    def columns(self) -> dict[str, memoryview]:
        """The columns by name."""
        return {"query": self.query, "entry": self.entry, "quality": self.quality, "distance": self.distance}

    @property
    def __array_interface__(self) -> dict[str, object]:
        size = len(self)
        return {"version": 3, "shape": (size, 4), "strides": (4, 4 * size), "typestr": "<u4", "data": self._image}

    def __arrow_c_array__(self, requested_schema: object = None) -> tuple[object, object]:
        return kernel.arrow_array(self.columns())

    def __arrow_c_stream__(self, requested_schema: object = None) -> object:
        return kernel.arrow_stream(self.columns())

    def __len__(self) -> int:
        return len(self.query)

    @overload
    def __getitem__(self, index: int) -> tuple[int, int, int, int]: ...
    @overload
    def __getitem__(self, index: slice) -> list[tuple[int, int, int, int]]: ...
    def __getitem__(self, index: int | slice) -> tuple[int, int, int, int] | list[tuple[int, int, int, int]]:
        if isinstance(index, slice):
            return list(zip(self.query[index], self.entry[index], self.quality[index], self.distance[index]))
        return self.query[index], self.entry[index], self.quality[index], self.distance[index]

    def __repr__(self) -> str:
        return f"<{len(self)} matches>"
