"""A host in Python: the package as its users have it."""
import gc
import multiprocessing
import os
import pathlib
import pickle
import subprocess
import sys
import tempfile
import threading
import time
import unittest

start = time.perf_counter()
import svpie
from svpie import Index, Match, Mode, Model, SorvantaError, kernel

IMPORT_TIME = time.perf_counter() - start
WORDS = ["Mayer", "Meier", "Maier", "Müller", "Weber", "Meyer", "😀 smile"]


class Words(unittest.TestCase):
    def setUp(self):
        self.index = Index.build(WORDS)

    def test_finds_what_each_word_measures(self):
        found = self.index.find("meyer", 10, 100)
        self.assertEqual(found[0], Match("Meyer", 5, 255))
        word = kernel.TeraWord("meyer", svpie.default_map())
        for match in found:
            self.assertEqual(match.quality, word.leven(match.text), match)
            self.assertEqual(WORDS[match.entry], match.text)
        self.assertEqual(found, self.index.find("meyer", 10, 100, "LEVENSHTEIN", Model.MAXIMUM))
        self.assertIn("Mueller".replace("ue", "u"), self.index)
        self.assertNotIn("nothing", self.index)
        self.assertEqual(sorted(self.index), sorted(WORDS))

    def test_answers_are_those_of_other_languages(self):
        data = pathlib.Path(__file__).parent.parent / "data"
        for line in (data / "answers.tsv").read_text().splitlines():
            file, mode, model, query, expected = line.split("\t")
            with Index.open(data / "formats" / f"{file}.edit") as index:
                found = index.find(query, 20, 100, Mode[mode], Model[model])
                self.assertEqual(sorted(f"{match.entry}:{match.quality}" for match in found), expected.split(), line)

    def test_many_queries_give_the_rows_of_single_ones(self):
        queries = ["meyer", "maier", "nothing at all", "Muller", "smile", ""] * 40
        for threads in (1, 3):
            matches = self.index.match(queries, 3, 120, threads=threads)
            single = [(query, match.entry, match.quality) for query, text in enumerate(queries)
                      for match in self.index.find(text, 3, 120)]
            self.assertEqual([row[:3] for row in matches], single)
        self.assertEqual(list(matches.columns()["quality"]), [row[2] for row in single])
        self.assertEqual(matches[-1], matches[len(matches) - 1])
        for answers in (self.index.match([]), self.index.match(queries, 0), self.index.find("meyer", 0)):
            self.assertEqual(len(answers), 0)
        with self.assertRaisesRegex(SorvantaError, "expected 0 or more, found -1"):
            self.index.match(queries, -1)
        with self.assertRaisesRegex(ValueError, "expected k of 0 or more, found -1"):
            self.index.find("meyer", -1)

    def test_is_saved_mapped_and_pickled(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "words.edit"
            self.index.save(path)
            with Index.open(path) as mapped:
                self.assertEqual(mapped.find("maier"), self.index.find("maier"))
                with multiprocessing.get_context("spawn").Pool(2) as pool:  # which get its path
                    self.assertEqual(pool.map(mapped.find, WORDS), [self.index.find(word) for word in WORDS])
            with self.assertRaises(SorvantaError):
                mapped.find("maier")
            with self.assertRaises(SorvantaError):
                Index.open(path.with_suffix(".none"))
        again = pickle.loads(pickle.dumps(self.index))
        self.assertEqual(again.find("weber"), self.index.find("weber"))
        with self.assertRaises(SorvantaError):
            kernel.TeraEdit.from_buffer(b"no index at all")

    def test_many_threads_ask_one_index(self):
        wrong = []

        def ask():
            for i in range(300):
                word = WORDS[i % 6]
                if self.index.find(word, 3)[0].text != word:
                    wrong.append(word)

        threads = [threading.Thread(target=ask) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(wrong, [])

    def test_a_process_exits_while_threads_are_at_work(self):
        program = """
import threading, svpie
index = svpie.Index.build(f"word{i}" for i in range(5000))
begun = threading.Barrier(4)

def work():
    begun.wait()
    while True:
        index.match(["wort77"] * 500, threads=2)

for _ in range(3):
    threading.Thread(target=work, daemon=True).start()
begun.wait()
"""
        for _ in range(3):
            done = subprocess.run([sys.executable, "-B", "-c", program], capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (0, ""))


class Kernel(unittest.TestCase):
    def test_arguments_are_told_by_name_and_checked(self):
        map = kernel.TeraMap.get_ident_map()
        self.assertEqual(map.tok_len(in_="abc", no_glob=True), 3)
        for call, message in [
            (lambda: map.tok_len(), "TeraMap.tok_len: argument 'in_' is missing"),
            (lambda: map.tok_len("a", True, 1), "TeraMap.tok_len: takes 2 arguments, 3 given"),
            (lambda: map.tok_len("a", other=1), "TeraMap.tok_len: argument 'other' is unknown"),
            (lambda: map.tok_len("a", in_="b"), "TeraMap.tok_len: argument 'in_' is given twice"),
            (lambda: map.tok_len(b"bytes"), "TeraMap.tok_len: argument 'in_': expected str, found bytes"),
            (lambda: kernel.TeraEdit(map).recall(map),
             "TeraEdit.recall: argument 'result': expected TeraResult, found TeraMap"),
            (lambda: kernel.TeraEdit(map).from_string_array(["a", 5], map),
             "TeraEdit.from_string_array: argument 'strings': expected str without zeros, found int at 1"),
        ]:
            with self.assertRaises(TypeError) as caught:
                call()
            self.assertEqual(str(caught.exception), message)
        with self.assertRaisesRegex(ValueError, "did you mean LEVENSHTEIN"):
            kernel.TeraEval.get_mode_name("LEVENSTEIN")
        with self.assertRaisesRegex(ValueError, "a text with a zero"):
            map.tok_len("a\0b")
        with self.assertRaises(OverflowError):
            kernel.TeraIndex().get_line(1 << 32)
        with self.assertRaisesRegex(SorvantaError, "TeraMapConfig.set_tokens: Error in token set: .*Z-A") as caught:
            kernel.TeraMapConfig().set_tokens("Z-A")
        self.assertEqual(caught.exception.condition, "Error in token set")

    def test_objects_keep_what_they_need(self):
        word = kernel.TeraWord("weber", svpie.default_map())
        gc.collect()
        self.assertEqual(word.leven("Weber"), 255)
        map = svpie.default_map()
        word = kernel.TeraWord("weber", map)
        map.close()  # which the word still needs
        self.assertEqual(word.leven("Weber"), 255)
        with self.assertRaisesRegex(SorvantaError, "was closed"):
            map.num_token()
        edit = kernel.TeraEdit(svpie.default_map())
        found = kernel.TeraResult("weber", 100)
        edit.recall(found)
        with self.assertRaisesRegex(SorvantaError, "other objects need it"):
            edit.from_string_array(WORDS, svpie.default_map())
        del found
        edit.from_string_array(WORDS, svpie.default_map())
        with svpie.default_map() as map:
            edit = kernel.TeraEdit(map)
            edit.from_string_array(["same", "same"], map)
        found = kernel.TeraResult("same", 200)
        references = sys.getrefcount(edit)
        for _ in range(3):
            edit.recall(found)
        self.assertEqual(sys.getrefcount(edit), references + 1)  # candidates have their places in the index
        del edit
        self.assertEqual(list(found.get_best_cand().get_infos()), [0, 1])
        result = kernel.TeraResult("a", 100)
        result.add(200, 7)
        cand = result.get_best_cand()
        self.assertEqual(cand.get_entry(), 7)
        result.cut(250)
        with self.assertRaisesRegex(SorvantaError, "has changed since"):
            cand.get_entry()
        result.close()
        result.close()
        with self.assertRaisesRegex(SorvantaError, "was closed"):
            result.num_cands()

    def test_messages_come_to_reporters(self):
        class Collector(svpie.Reporter):
            def __init__(self):
                self.texts = []

            def report(self, text):
                self.texts.append(text)

        class Broken(svpie.Reporter):
            def report(self, text):
                raise KeyboardInterrupt

        collector = Collector()
        collector.print("ä😀")
        self.assertEqual(collector.texts, ["ä😀"])
        kernel.TeraIndex().print(rep=collector)
        self.assertGreater(len(collector.texts), 1)
        with self.assertRaises(KeyboardInterrupt):
            kernel.TeraIndex().print(rep=Broken())

    def test_every_operation_refuses_nothing_at_all(self):
        called = 0
        for name in dir(kernel):
            kind = getattr(kernel, name)
            if not isinstance(kind, type) or not issubclass(kind, kernel.Object):
                continue
            for method in dir(kind):
                if method.startswith("_") or method in ("close", "measure_speed", "terminate_thread", "make_thread_safe",
                                                        "make_normal", "clear_default", "report", "event"):
                    continue
                called += 1
                try:
                    getattr(kind, method)(None, None, None, None, None)
                except (TypeError, ValueError, SorvantaError):
                    pass
        self.assertGreater(called, 400)

    def test_customer_data_becomes_record_files(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            (folder / "a.jsonl").write_text('{"n": "Zoë", "x": "1"}\n{"n": "Urs", "x": "2"}\n', encoding="utf-8")
            with kernel.DamoInput.json_lines(folder / "a.jsonl", ["n", "x"]) as rows:
                self.assertEqual(list(iter(rows.read_record, [])), [["Zoë", "1"], ["Urs", "2"]])
            extract = kernel.DamoExtract(2, 1, str(folder / "out.txt"))
            field = kernel.DamoField("name")
            field.set_source(0)
            extract.add_field(field)
            extract.json_lines(folder / "a.jsonl", ["n", "x"])
            del field
            self.assertEqual(extract.extract(), 2)
            self.assertEqual((folder / "out.txt").read_text(encoding="utf-8"), "Zoë\nUrs\n")
            with self.assertRaises(TypeError):
                kernel.DamoDiff(["a"], 2)


if __name__ == "__main__":
    print(f"imported in {IMPORT_TIME * 1000:.0f} ms", file=sys.stderr)
    unittest.main()
