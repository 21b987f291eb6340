"""The library's enumerations, by the last part of their names."""
import enum

from . import kernel

for _name, _values in kernel.enumerations.items():
    _short = _name.rpartition(":")[2]
    globals()[_short] = enum.IntEnum(_short, _values, module=__name__)
