"""Records, forms, deliveries and messages in Python."""
import asyncio
import csv
import json
import logging
import os
import pathlib
import pickle
import random
import signal
import tempfile
import threading
import types
import unittest
import warnings

import svpie
from svpie import Base, Category, Field, Mark, Mode, SorvantaError, kernel

PEOPLE = [("Anna", "Meier", "Basel"), ("Peter", "Meyer", "Bern"), ("Jürg", "Müller", "Zürich"), ("Zoë", "Weber", "Bern")]
FIELDS = ("given", "surname", "city")


def misspelled(text, chance):
    place = chance.randrange(len(text))
    return text[:place] + chance.choice("aeinr") + text[place + 1:]


class Records(unittest.TestCase):
    def setUp(self):
        self.base = Base.build(PEOPLE, FIELDS)

    def test_are_found_by_parts_with_errors(self):
        found = self.base.search({"given": "Jurg", "surname": "Mueler"}, min_quality=150)
        self.assertEqual([record.record for record in found], [2])
        self.assertEqual(found[0].values, dict(zip(FIELDS, PEOPLE[2])))
        self.assertEqual(found[0].qualities["given"], 255)
        self.assertEqual([list(one) for one in PEOPLE], list(self.base))
        self.assertEqual(self.base[-1], self.base[1:][2])
        with self.assertRaises(KeyError):
            self.base.search({"town": "Bern"})
        self.assertEqual(self.base.search({"city": "Bern", "given": None}), self.base.search({"city": "Bern"}))

    def test_what_is_wrong_is_refused_with_what_was_expected(self):
        form = self.base.form()
        twice = types.SimpleNamespace(columns=["a", "b", "a"], iter_rows=lambda: [["x", "y", "z"]])
        for expected, call in (("some of given, surname, city, found town", lambda: self.base.match([{"town": "Bern"}])),
                               ("a quality from 0 to 255, found 256", lambda: self.base.search({"city": "Bern"}, 1, 256)),
                               ("a weight from 0 to 255, found -1", lambda: form.weigh(city=-1)),
                               ("a mode, .* found 'exactly'", lambda: form.update("city", "Bern", "exactly")),
                               (r"a field name .* found 'a\\tb'", lambda: Base.build(PEOPLE, ["a\tb", "b", "c"])),
                               ("columns a, b, found 2 of the name a", lambda: Base.build(twice, ["a", "b"]))):
            with self.assertRaisesRegex(ValueError, f"expected {expected}"):
                call()
        for wrong, call in ((r"a text .* found b'by'", lambda: Base.build([[b"by"]], ["a"])),
                            ("the name of a field, or a Field, found 0", lambda: Base.build([["x"]], [0]))):
            with self.assertRaisesRegex(TypeError, f"expected {wrong}"):
                call()

    def test_are_saved_mapped_and_pickled(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "people.base")
            self.base.save(path)
            with Base.open(path) as mapped:
                for again in (mapped, pickle.loads(pickle.dumps(mapped)), pickle.loads(pickle.dumps(self.base))):
                    self.assertEqual(again.search({"surname": "Wober"}), self.base.search({"surname": "Wober"}))
            with self.assertRaisesRegex(SorvantaError, "Cannot read file") as caught:
                Base.open(path.with_suffix(".none"))
            self.assertGreater(len(caught.exception.reports), 0)

    def test_come_from_mappings_methods_and_values_that_would_break_lines(self):
        rows = [{"name": "Weber\tGmbH\n", "since": "3.4.1999"}, {"since": "1.1.2001", "name": "Adler", "more": 1}]
        base = Base.build(rows, [Field("name"), Field("since", "DATE", build="-format SHORT_DE")])
        self.assertEqual(base[0][0], "Weber GmbH ")
        self.assertEqual(base.search({"since": "1999-04-03"})[0].record, 0)
        with self.assertRaisesRegex(ValueError, r"expected 3 values \(given, surname, city\), found 2"):
            Base.build([("a", "b")], FIELDS)
        self.assertEqual(list(Base.build(["Anna", 5], ["given"])), [["Anna"], ["5"]])

        class Missing:  # as there are in nullable columns of frames
            def __ne__(self, other):
                return self

            def __bool__(self):
                raise TypeError("boolean value of NA is ambiguous")

        self.assertEqual(list(Base.build([["\ufeffa", float("nan")], [Missing(), 2.5]], ["a", "b"])), [["\ufeffa", ""], ["", "2.5"]])
        with self.assertRaisesRegex(SorvantaError, "DastBase.configure"):
            Base.build(PEOPLE, {"given": "EDIT", "surname": "NOTHING", "city": ""})

    def test_frames_come_and_go(self):
        try:
            import pandas
        except ImportError:
            self.skipTest("without pandas")
        frame = pandas.DataFrame(PEOPLE, columns=FIELDS)
        frame["more"] = [1.5, None, 2, 3]
        base = Base.build(frame, ["city", "more", "surname"])
        self.assertEqual(base[0], ["Basel", "1.5", "Meier"])
        self.assertEqual(base[1], ["Bern", "", "Meyer"])
        found = frame.iloc[self.base.match(frame, 1).entry]
        self.assertEqual(found["given"].tolist(), [one[0] for one in PEOPLE])
        self.assertEqual(pandas.DataFrame(base, columns=base.fields)["city"].tolist(), frame["city"].tolist())

    def test_many_forms_give_the_records_of_single_ones(self):
        chance = random.Random(7)
        rows = [tuple(chance.choice(PEOPLE)[i] + chance.choice(["", "er", "in"]) for i in range(3)) for _ in range(500)]
        base = Base.build(rows, FIELDS)
        forms = [[misspelled(text, chance) if chance.random() < 0.5 else chance.choice([text, ""])
                  for text in chance.choice(rows)] for _ in range(80)]
        forms += [["...", "", "Bern"], ["", "...", "..."], ["Anna", "|", "-"]]
        self.assertEqual(len(base.match(forms, 0)), 0)
        for threads in (1, 3):
            matches = base.match(forms, 5, 160, threads)
            single = [(query, found.record, found.quality) for query, form in enumerate(forms)
                      for found in base.search(dict(zip(FIELDS, form)), 5, 160)]
            self.assertEqual([row[:3] for row in matches], single)
        self.assertGreater(len(matches), 100)


    def test_answers_are_all_records_with_the_mean_of_their_fields_cut_by_the_limits(self):
        chance = random.Random(11)
        words = "Meier Meyer Maier Weber Wieber Adler Adam Zug".split()
        kinds = {"EDIT": lambda: chance.choice(words), "WORDS": lambda: " ".join(chance.choices(words, k=chance.randrange(1, 4))),
                 "AUTO": lambda: f"{chance.choice('AB')}X-{chance.randrange(150)}", "POSTCODE": lambda: f"{chance.randrange(80000, 80999)}",
                 "DATE": lambda: f"{chance.randrange(1980, 1990)}-{chance.randrange(1, 13)}-{chance.randrange(1, 29)}",
                 "DIRECT": lambda: str(chance.randrange(300)), "NUMBER": lambda: str(chance.randrange(10**6))}
        rows = [["|".join(make() for _ in range(chance.choice([0, 1, 1, 1, 2]))) for make in kinds.values()] for _ in range(200)]
        form = Base.build(rows, {name: name for name in kinds}).form()

        def asked(modes, texts, least, distance, number):
            form.min_quality = least
            form.session.set_max_dist(distance)
            form.session.set_num_suggs(number)
            with form.session.search(modes, texts, num=number) as result:
                found = [result.get_sugg(place) for place in range(result.get_num_suggs())]
                return [(one.get_quality(), one.get_record_id(), tuple(one.get_qualities())) for one in found]

        for _ in range(300):
            modes = [chance.choice("?!--") for _ in kinds]
            texts = [misspelled(make(), chance) if chance.random() < 0.4 else make() for make in kinds.values()]
            weights = [chance.choice([1, 40, 100, 255]) for _ in kinds]
            form.weigh(**dict(zip(kinds, weights)))
            every = asked(modes, texts, 1, 255, 1000)
            total = sum(weight for mode, weight in zip(modes, weights) if mode != "-")
            for quality, record, qualities in every:
                parts = (weight * part for mode, weight, part in zip(modes, weights, qualities) if mode != "-")
                self.assertEqual(quality, sum(parts) // total, (modes, texts, weights, record))
            least, distance, number = chance.randrange(1, 256), chance.choice([20, 255]), chance.choice([1, 5, 1000])
            kept = [one for one in every if one[0] >= max(least, every[0][0] - distance)][:number]
            self.assertEqual(asked(modes, texts, least, distance, number), kept, (modes, texts, weights, least))


class Forms(unittest.TestCase):
    def setUp(self):
        self.base = Base.build(PEOPLE, FIELDS)
        self.form = self.base.form()

    def test_are_filled_field_by_field(self):
        typed = self.form.update("surname", "Mayer")
        self.assertEqual([value.text for value in typed.alternatives], ["Meyer"])
        self.assertEqual(typed.fields["surname"].mark, Mark.IN_CONTEXT)
        self.form["city"] = "Bern"
        self.assertEqual(self.form["city"], "Bern")
        self.assertEqual([record.record for record in self.form.suggest().records], [1])
        del self.form["surname"]
        self.assertEqual(sorted(record.record for record in self.form.suggest().records), [1, 3])
        self.assertEqual(self.form.select("city").context, 2)
        self.assertIsNone(self.form.undo().context)
        self.assertTrue(self.form.state().can_redo)
        self.assertEqual(self.form.redo().context, 2)
        self.form.clear()
        self.assertEqual(len(self.form.state().records), 0)
        self.assertEqual(self.form.assess({"given": "Zoe"}).category, Category.NO_DECISION)
        self.assertEqual(len(typed.alternatives), 1)  # as it was
        self.form.clear()
        self.assertEqual([self.form.update("city", text).fields["city"].query for text in ("Bern", "...")], ["Bern", "... "])
        for message, call in (("nofield", lambda: self.form.update("nofield", "x")),
                              ("nofield", lambda: self.form.__setitem__("nofield", "x")),
                              ("nofield", lambda: self.form.__delitem__("nofield")),
                              ("nofield", lambda: self.form.deselect("nofield")),
                              ("Field 'given' cannot be selected: it has no query", lambda: self.form.select("given")),
                              ("Field 'city' cannot be selected: its query has found no values", lambda: self.form.select("city"))):
            with self.assertRaisesRegex(SorvantaError, message):
                call()

    def test_belong_to_one_call_at_a_time(self):
        refused = []

        def ask():
            for _ in range(200):
                try:
                    self.form.update("surname", "Mayer")
                    self.form.suggest()
                except SorvantaError as error:
                    refused.append(str(error))

        threads = [threading.Thread(target=ask) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual({text.partition(": ")[2] for text in refused} - {"the object is in use by another call"}, set())
        self.assertEqual(asyncio.run(asyncio.to_thread(self.form.update, "city", "Bern")).fields["city"].query, "Bern")

    def test_words_of_other_scripts_are_found(self):
        words = ["\u041c\u043e\u0441\u043a\u0432\u0430", "\u0391\u03b8\u03ae\u03bd\u03b1", "\u6771\u4eac", "\uc11c\uc6b8", "\u0930\u093e\u092e", "\ufb01sh"]
        index, base = svpie.Index.build(iter(words)), Base.build([[word] for word in words], ["name"])
        for entry, word in enumerate(words):
            self.assertEqual([match.entry for match in index.find(word, min_quality=255)], [entry])
            self.assertEqual([record.record for record in base.search({"name": word}, min_quality=255)], [entry])
        self.assertEqual([match.entry for query in ("moskva", "seoul", "fish") for match in index.find(query)], [0, 3, 5])

    def test_an_index_stays_as_it_is_while_others_ask_it(self):
        index = svpie.Index.build(["weber"] * 3 + ["mayer"] * 3)
        edit, result = kernel.TeraEdit(svpie.default_map()), kernel.TeraResult("weber", 100)

        class Meddler(svpie.Reporter):
            texts = []

            def report(self, text):
                for change in (lambda: edit.from_string_array(["a"], svpie.default_map()), edit.close):
                    try:
                        change()
                    except SorvantaError as error:
                        self.texts.append(str(error))

        edit.print(rep=Meddler())
        self.assertTrue(Meddler.texts and all("in use" in text for text in Meddler.texts), Meddler.texts)
        threads = [threading.Thread(target=index.match, args=[["mayer", "webber"] * 500]) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        edit.recall(result)
        edit.close()


class Deliveries(unittest.TestCase):
    def test_of_all_kinds_give_the_same_base(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            with open(folder / "a.csv", "w", encoding="utf-8", newline="") as file:
                csv.writer(file).writerows([FIELDS, *PEOPLE])
            objects = [dict(zip(FIELDS, one)) for one in PEOPLE]
            (folder / "a.json").write_text(json.dumps(objects), encoding="utf-8")
            (folder / "a.jsonl").write_text("".join(json.dumps(one) + "\n" for one in objects), encoding="utf-8")
            (folder / "a.xml").write_text("<all>" + "".join(
                "<one>" + "".join(f"<{key}>{text}</{key}>" for key, text in one.items()) + "</one>"
                for one in objects) + "</all>", encoding="utf-8")
            (folder / "a.txt").write_text("".join(f"{a:8}{b:8}{c}\n" for a, b, c in PEOPLE).replace("ü", "u").replace(
                "ë", "e"), encoding="utf-8")
            sources = [svpie.read(folder / "a.csv"), svpie.read(folder / "a.json", FIELDS),
                       svpie.read(folder / "a.jsonl", {field: field for field in FIELDS}),
                       svpie.read(folder / "a.xml", FIELDS, records="/all/one")]
            for source in sources:
                with source:
                    self.assertEqual(source.names, list(FIELDS))
                    self.assertEqual(list(Base.build(source, source.names)), [list(one) for one in PEOPLE])
            fixed = list(svpie.read(folder / "a.txt", FIELDS, widths=[8, 8, 8]))
            self.assertEqual([value.strip() for value in fixed[0]], list(PEOPLE[0]))
            statistic = svpie.read(folder / "a.csv").statistics()
            self.assertEqual(statistic.get_num_lines(), len(PEOPLE))
            statistic.write_page(folder / "page.html")
            with self.assertRaisesRegex(ValueError, "cannot tell the kind"):
                svpie.read(folder / "page.html")
            with self.assertRaises(SorvantaError):
                svpie.read(folder / "none.csv")


class Messages(unittest.TestCase):
    def test_go_to_loggers_progress_and_warnings(self):
        steps = []
        with self.assertLogs("svpie", logging.DEBUG) as logged:
            svpie.LogReporter().event("careful", "wSORV_0000")
            kernel.TeraIndex().print(rep=svpie.LogReporter())
        self.assertEqual(logged.records[0].levelno, logging.WARNING)
        self.assertGreater(len(logged.records), 1)
        progress = svpie.ProgressReporter(lambda *step: steps.append(step))
        Base.build(PEOPLE, FIELDS, rep=progress)
        kernel.AceReporter.set_progress(False)
        self.assertTrue(steps)
        with tempfile.TemporaryDirectory() as name:
            path = pathlib.Path(name, "a.csv")
            path.write_bytes(b"a,b\nx\0y,z\n")
            with warnings.catch_warnings(record=True) as caught:
                warnings.simplefilter("always")
                list(svpie.read(path))
            self.assertRegex(str(caught[0].message), "Null character in file .*a.csv', line 1")

    def test_an_interrupt_stops_a_build(self):
        class Interrupt(svpie.Reporter):
            def report(self, text):
                raise KeyboardInterrupt

        kernel.AceReporter.set_progress(True)
        try:
            with self.assertRaises(KeyboardInterrupt):
                Base.build(PEOPLE, FIELDS, rep=Interrupt())
        finally:
            kernel.AceReporter.set_progress(False)

    def test_an_interrupt_of_the_keyboard_stops_a_call_that_would_take_hours(self):
        index = svpie.Index.build(f"word{i * i}" for i in range(20_000))
        queries = ["word of many"] * 1_000_000
        handler = signal.getsignal(signal.SIGINT)
        for threads in (1, 2):
            with self.assertRaises(KeyboardInterrupt):
                threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT)).start()
                index.match(queries, 1000, 1, Mode.BIGRAMS, threads=threads)
            self.assertEqual(signal.getsignal(signal.SIGINT), handler)
        self.assertEqual(index.find("word25", 1)[0].quality, 255)


if __name__ == "__main__":
    unittest.main()
