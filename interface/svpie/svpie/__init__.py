"""Finds words and records in spite of typing errors.

Words:

    from svpie import Index
    index = Index.build(["München", "Münster", "Zürich"])
    index.find("munhcen", k=2)       # [Match(text='München', entry=0, quality=182)]
    "Zurich" in index                # True: something has a quality of 190
    index.save("cities.edit")
    with Index.open("cities.edit") as again: ...

Records, and forms that are filled field by field:

    from svpie import Base
    base = Base.build([("Anna", "Meier", "Basel"), ("Jürg", "Müller", "Zürich")], ["given", "surname", "city"])
    base.search({"given": "Jurg", "city": "Zurich"})[0].values["surname"]    # 'Müller'
    form = base.form()
    form.update("surname", "Muler")  # what the field offers: Müller

Deliveries:

    from svpie import read
    with read("people.csv") as people: base = Base.build(people, people.names)

All classes of the library are in `svpie.kernel`. Qualities are 0 to 255, records and entries are counted from 0 (in
`svpie.kernel` records from 1). An index or a base may be asked by many threads at once; another object belongs to one call
at a time, and a second one is refused. Calls that take long release the interpreter's lock; in asyncio they run in a
thread: `await asyncio.to_thread(form.suggest)`.
"""
from . import kernel
from .kernel import SorvantaError, SorvantaWarning, __version__
from .enums import Category, Mode, Model
from .enums import Match as Mark
from .matches import Matches
from .records import Alternative, Answer, Base, Field, FieldStatus, Form, Record
from .reports import LogReporter, ProgressReporter, Reporter
from .sources import Source, query, read
from .words import Index, Match, default_map

__all__ = ["Alternative", "Answer", "Base", "Category", "Field", "FieldStatus", "Form", "Index", "LogReporter", "Mark", "Match",
           "Matches", "Mode", "Model", "ProgressReporter", "Record", "Reporter", "SorvantaError", "SorvantaWarning", "Source", "default_map",
           "kernel", "query", "read", "__version__"]
