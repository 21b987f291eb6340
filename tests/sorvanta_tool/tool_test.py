"""The command line tool, driven as a user drives it. SORVANTA_TOOL names the program."""
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

TOOL = os.environ["SORVANTA_TOOL"]
VERBS = ["build", "check", "diff", "explain", "find", "form", "look", "read"]
PEOPLE = """Given name;Surname;Street;City;Born
Pierre;Moulin;Nicolas Street;Mirovice;1985-04-03
Ann;Mayer;Bahnhofstrasse;Bern;1990-12-31
Jürgen;Weber;"Am Markt; 3";Köln;1971-01-02
Kylie;Frost;Bush Station;Leuvenheim;1966-07-14
"""
FOUND, NOTHING, BROKEN = 0, 1, 2


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.temp = tempfile.TemporaryDirectory()
        self.addCleanup(self.temp.cleanup)
        self.folder = pathlib.Path(self.temp.name)

    def run_tool(self, *arguments, **options):
        return subprocess.run([TOOL, *map(str, arguments)], cwd=self.folder, capture_output=True, timeout=100,
                              encoding="utf-8", **options)

    def write(self, name, text):
        (self.folder / name).write_bytes(text if isinstance(text, bytes) else text.encode())
        return name

    def expect(self, code, *arguments):
        done = self.run_tool(*arguments)
        self.assertEqual(done.returncode, code, f"{arguments}\n{done.stdout}\n{done.stderr}")
        return done

    def refuse(self, arguments, *parts):
        """Code 2 and a message on standard error that has all of the parts."""
        done = self.expect(BROKEN, *arguments)
        for part in parts:
            self.assertIn(part, done.stderr)
        self.assertTrue(done.stderr.startswith("sorvanta"), done.stderr)
        return done

    def people(self):
        self.write("people.csv", PEOPLE)
        self.expect(FOUND, "build", "people.csv")

    def rows(self, *arguments):
        return [json.loads(line) for line in self.expect(FOUND, *arguments, "-o", "json").stdout.splitlines()]


class Help(ToolTest):
    def test_every_verb_has_help_a_place_in_the_manual_and_completion(self):
        manual, completion = self.expect(FOUND, "--man").stdout, self.expect(FOUND, "--completion").stdout
        overview = self.expect(FOUND, "--help").stdout
        for verb in VERBS:
            shown = self.expect(FOUND, verb, "--help").stdout
            self.assertIn("Usage: sorvanta " + verb, shown)
            self.assertIn("Example", shown)
            self.assertLessEqual(max(map(len, shown.splitlines())), 100)
            self.assertIn(verb, overview)
            self.assertIn(f".SS {verb}\n", manual)
            self.assertIn(f"    {verb})", completion)
        self.assertEqual(subprocess.run(["bash", "-n"], input=completion, encoding="utf-8").returncode, 0)
        completed = subprocess.run(["bash", "-c", completion + "COMP_WORDS=(sorvanta fi); COMP_CWORD=1; _sorvanta; "
                                    "echo ${COMPREPLY[@]}"], capture_output=True, encoding="utf-8").stdout
        self.assertEqual(completed, "find\n")

    def test_wrong_use_is_told_with_what_was_meant(self):
        self.refuse([], "which verb", "find")
        self.refuse(["fnd"], "'fnd' is no verb; did you mean find?")
        self.refuse(["find"], "BASE")
        self.refuse(["find", "x", "--numbr", "3"], "'--numbr' is no option; did you mean --number?")
        self.refuse(["find", "x", "y", "-n", "0"], "--number", "1 to 100000")
        self.refuse(["find", "x", "y", "-o", "jsn"], "jsn", "json")
        self.refuse(["build", "a", "b"], "one argument too many")

    def test_standard_output_that_cannot_be_written(self):
        self.people()
        with open("/dev/full", "w", encoding="utf-8") as full:
            done = subprocess.run([TOOL, "find", "people.base", "surname=Mayer"], cwd=self.folder, stdout=full,
                                  stderr=subprocess.PIPE, encoding="utf-8", timeout=100)
        self.assertEqual(done.returncode, BROKEN)
        self.assertIn("No space left on device", done.stderr)
        for arguments in (["--help"], ["--man"], ["find", "people.base", "surname=Mayer"]):
            reader, writer = os.pipe()
            os.close(reader)
            done = subprocess.run([TOOL, *arguments], cwd=self.folder, stdout=writer, stderr=subprocess.PIPE, timeout=100)
            os.close(writer)
            self.assertEqual((done.returncode, done.stderr), (-signal.SIGPIPE, b""), arguments)


class Build(ToolTest):
    def test_a_stranger_with_a_csv_file(self):
        self.write("people.csv", PEOPLE)
        said = self.expect(FOUND, "build", "people.csv").stdout
        self.assertIn("settings: people.settings, proposed", said)
        command = said.splitlines()[-1].split("sorvanta ")[1].split()  # the example that it gives
        self.assertIn("Pierre", self.expect(FOUND, *command).stdout)

    def test_nothing_is_done_where_nothing_has_changed(self):
        self.people()
        base = self.folder / "people.base"
        before = base.stat().st_ino
        self.assertIn("nothing has changed", self.expect(FOUND, "build", "people.csv").stdout)
        self.assertEqual(base.stat().st_ino, before)
        self.write("people.csv", PEOPLE + "Zoe;Lindt;Weg;Linz;2000-01-01\n")
        self.assertIn("records:  people.records, 5", self.expect(FOUND, "build", "people.csv").stdout)
        settings = (self.folder / "people.settings").read_text()
        self.write("people.settings", settings.replace("weight 80", "weight 10"))
        said = self.expect(FOUND, "build", "people.settings").stdout
        self.assertNotIn("records:", said)  # these have not changed
        self.assertNotIn("nothing has changed", said)

    def test_a_source_that_looks_otherwise_than_when_its_settings_were_proposed(self):
        self.people()
        lines = PEOPLE.splitlines()
        self.write("people.csv", "".join(f"{line};{end}\n" for line, end in zip(lines, ["Phone", 1, 2, 3, 4])))
        self.assertIn("settings: people.settings, without the columns Phone\n", self.expect(FOUND, "build", "people.csv").stdout)
        self.write("people.csv", PEOPLE.replace("Surname", "Name"))
        self.refuse(["build", "people.csv"], "'Surname' is no column", "people.settings is from an earlier build")

    def test_builds_at_the_same_time_wait_for_each_other(self):
        self.people()
        rows = "".join(f"Given{i % 97};Surname{i};Street {i};City{i % 89};1985-04-03\n" for i in range(3000))
        for more in range(3):
            self.write("people.csv", PEOPLE + rows + "Zoe;Lindt;Weg;Linz;2000-01-01\n" * more)
            builds = [subprocess.Popen([TOOL, "build", "people.csv"], cwd=self.folder, stdout=subprocess.DEVNULL,
                                       stderr=subprocess.PIPE, text=True) for _ in range(3)]
            failures = [said for build in builds for said in [build.communicate()[1]] if build.returncode != FOUND]
            self.assertEqual(failures, [])
        self.assertEqual(len(self.rows("find", "people.base", "surname=Lindt")), 2)

    def test_sources_of_all_kinds_become_the_same_base(self):
        people = [("Ann", "Bern"), ("Jürgen", "Köln"), ("Zoe", "Linz")]
        files = {
            "p.tsv": "name\ttown\n" + "".join(f"{n}\t{t}\n" for n, t in people),
            "p.csv": "name,town\n" + "".join(f'"{n}",{t}\n' for n, t in people),
            "p.json": json.dumps({"list": [{"name": n, "town": t} for n, t in people]}),
            "p.jsonl": "".join(json.dumps({"name": n, "town": t}) + "\n" for n, t in people),
            "p.xml": "<all>" + "".join(f"<p><name>{n}</name><town>{t}</town></p>" for n, t in people) + "</all>",
            "p.latin": ("name;town\n" + "".join(f"{n};{t}\n" for n, t in people)).encode("cp1252"),
        }
        for name, text in files.items():
            with self.subTest(name):
                for old in self.folder.iterdir():
                    old.unlink()
                self.write(name, text)
                self.expect(FOUND, "build", name)
                found = self.rows("find", "p.base", "town=Koeln")
                self.assertEqual([(row["name"], row["town"]) for row in found], [("Jürgen", "Köln")])

    def test_bad_records_are_kept_with_their_reasons(self):
        self.write("people.csv", PEOPLE + "only;two\n")
        said = self.expect(FOUND, "build", "people.csv").stdout
        self.assertIn("people.records.rejected, 1", said)
        self.assertIn("2 fields instead of 5", (self.folder / "people.records.rejected.reasons").read_text())

    def test_the_settings_of_the_page(self):
        page = (pathlib.Path(__file__).parents[2] / "docs" / "tool.md").read_text(encoding="utf-8")
        self.write("people.csv", PEOPLE)
        self.write("page.settings", next(block for block in page.split("```") if block.startswith("\nsource")))
        self.expect(FOUND, "build", "page.settings")
        self.assertEqual(self.rows("find", "people.base", "name=Moulin Piere")[0]["name"], "Pierre Moulin")

    SEVERAL = """base all.base
source {
  file a.csv
  kind csv
  separator ;
  header 1
  columns {
    name Given
    name Surname
  }
}
source {
  file b.json
  kind json
  elements list
  columns {
    name who.name
    born who.born
  }
}
source {
  file c.txt
  kind tsv
  separator |
  encoding cp1252
  columns {
    name 2
    town 1
  }
}
fields {
  name {
    method WORDS
  }
  town {
    column Town
    method EDIT
  }
  born {
    method DATE
  }
}
"""

    def test_several_sources_follow_each_other_each_with_its_own_columns(self):
        self.write("a.csv", "Given;Surname;Town\nAnn;Mayer;Bern\nonly;two\nZoe;Lindt;Linz\n")
        self.write("b.json", json.dumps({"list": [{"Town": "Genf", "who": {"name": "Eva Huber", "born": "1990-12-31"}}]}))
        self.write("c.txt", "Köln|Jürgen Weber\n".encode("cp1252"))
        self.expect(FOUND, "check", self.write("all.settings", self.SEVERAL))
        said = self.expect(FOUND, "build", "all.settings").stdout
        self.assertIn("records:  all.records, 4", said)
        self.assertIn("rejected: all.records.1.rejected, 1", said)
        self.assertEqual((self.folder / "all.records").read_text(),
                         "Ann Mayer\tBern\t\nZoe Lindt\tLinz\t\nEva Huber\tGenf\t1990-12-31\nJürgen Weber\tKöln\t\n")
        self.assertEqual({file.name for file in self.folder.glob("all.records.*")},
                         {"all.records.built", "all.records.1.rejected", "all.records.1.rejected.reasons"})
        self.assertEqual([(row["source"], row["line"]) for row in self.rows("read", "all.settings")], [("a.csv", 3)])
        self.assertEqual(self.rows("find", "all.base", "name=Webr", "town=Koln")[0]["record"], 4)
        self.expect(FOUND, "build", "all.settings")
        self.write("c.txt", "Rom|Pia Rossi\n")
        self.assertIn("records:", self.expect(FOUND, "build", "all.settings").stdout)
        self.refuse_settings(self.SEVERAL, {
            "name Given": ("name Givn", "8: field name: 'Givn' is no column of the source; did you mean Given?"),
            "born who.born": ("borne who.born", "18: 'borne' is no field; did you mean born?"),
            "  kind json\n": ("", "12: expected a line 'kind'"), "  file c.txt\n": ("", "21: expected a line 'file FILE'"),
            "base all.base\n": ("base all.base\nsource a.csv\n", "3: expected one source, or blocks of several, found both"),
            "base all.base": ("base {\n}", "1: base: expected a value, found a block")})

    def test_settings_that_are_wrong_are_told_by_line(self):
        self.people()
        settings = (self.folder / "people.settings").read_text()
        lines = {"separator ;": ("sepparator ;", "4: 'sepparator' is no keyword of the settings; did you mean separator?"),
                 "header 1": ("header 2", "6: header: expected a number from 0 to 1, found '2'"),
                 "kind csv": ("kind cvs", "3: 'cvs' is no kind of source; did you mean csv?"),
                 "encoding utf-8": ("encoding utf-9", "'utf-9' is no encoding; did you mean utf-8?"),
                 "column City": ("column Citi", "36: field city: 'Citi' is no column of the source; did you mean City?"),
                 "method DATE": ("method DAET", "42: field born: 'DAET' is no method; did you mean DATE?"),
                 "weight 80": ("weight 300", "47: weight: expected a number from 0 to 255, found '300'"),
                 "people.csv": ("missing.csv", "missing.csv"),
                 "}\n}": ("}\n}\n}", "'}' closes nothing"),
                 "fields {": ("fields {\n a {", "is not closed")}
        self.refuse_settings(settings, lines)

    def refuse_settings(self, settings, lines):
        for right, (wrong, message) in lines.items():
            with self.subTest(wrong):
                self.assertIn(right, settings)
                self.write("wrong.settings", settings.replace(right, wrong, 1))
                self.refuse(["build", "wrong.settings"], message)

    def test_hostile_files_are_refused(self):
        noise = random.Random(7).randbytes(5000)
        files = {"empty.csv": b"", "blank.csv": b"\n \n\t\n", "noise.csv": noise, "noise.settings": noise,
                 "nul.csv": b"a;b\nc\0;d\n", "nul.settings": b"source a\0b\n", "wide.csv": "a;b\n".encode("utf-16"),
                 "deep.settings": b"a {\n" * 1000, "long.settings": b"source " + b"x" * (2 << 20),
                 "broken.json": b'{"a": [{"b": "c"', "broken.xml": b"<a><b>c</b>", "open.csv": b'a;b\n"c;d\n' * 3}
        for name, content in files.items():
            with self.subTest(name):
                self.write(name, content)
                self.refuse(["build", name])
        self.refuse(["build", "."], "Is a directory")
        self.refuse(["build", "nowhere.csv"], "No such file")
        self.write("one_line.csv", b"x" * (3 << 20) + b"\n")
        self.assertIn(self.run_tool("build", "one_line.csv").returncode, (FOUND, BROKEN))

    def test_names_that_drive_terminals_are_not_passed_on(self):
        self.write("evil\x1b[2J.csv", "")
        self.assertNotIn("\x1b", self.refuse(["build", "evil\x1b[2J.csv"]).stderr)


class Find(ToolTest):
    def test_records_by_fields_and_by_words(self):
        self.people()
        best = self.rows("find", "people.base", "surname=Moulan", "city=Mirovitse")[0]
        self.assertEqual((best["given_name"], best["record"]), ("Pierre", 1))
        self.assertRegex(best["reason"], r"^surname \d+, city \d+$")
        self.assertEqual(self.rows("find", "people.base", "Weber", "Koln")[0]["record"], 3)
        self.assertEqual(self.rows("find", "people.base", "City=Bern")[0]["reason"], "exact")
        self.assertEqual(self.rows("find", "people.base", "-m", "beginning", "surname=Fro")[0]["record"], 4)
        self.assertEqual(self.expect(NOTHING, "find", "people.base", "surname=Qqqqqqq").stderr, "nothing found\n")
        self.expect(NOTHING, "find", "people.base", "surname=Moulan", "-m", "exact")
        self.expect(NOTHING, "find", "people.base", "surname=")

    def test_tables_and_tsv_have_what_json_has(self):
        self.people()
        lines = self.expect(FOUND, "find", "people.base", "surname=Mayr", "-o", "tsv").stdout.splitlines()
        row = self.rows("find", "people.base", "surname=Mayr")[0]
        self.assertEqual(dict(zip(*(line.split("\t") for line in lines))), {k: str(v) for k, v in row.items()})
        table = self.expect(FOUND, "find", "people.base", "surname=Mayr").stdout.splitlines()
        self.assertEqual(table[1].split(), " ".join(map(str, row.values())).split())

    def test_words_of_an_index(self):
        self.write("cities.txt", "München\nMünster\nZürich\nMinden\nMünster\n")
        self.expect(FOUND, "build", "cities.txt")
        self.assertEqual(self.rows("find", "cities.edit", "munhcen"),
                         [{"quality": 218, "word": "München", "lines": "1", "reason": "order of words"}])
        self.assertEqual(self.rows("find", "cities.edit", "Münster")[0]["lines"], "2 5")
        self.write("kana.txt", "\uff80\uff85\uff76\n\uff96\uff7c\uff80\n")  # of half width
        self.expect(FOUND, "build", "kana.txt")
        self.assertEqual(self.rows("find", "kana.edit", "tanaka")[0]["reason"], "exact")

    def test_a_field_that_is_shown_and_not_asked(self):
        self.write("p.csv", "name;empty;note\n" + "".join(f"{name};;{'long ' * 60}\n" for name in ("Ann", "Zoe")))
        self.expect(FOUND, "build", "p.csv")
        self.assertEqual(self.rows("find", "p.base", "name=Anne")[0]["note"], "long " * 59 + "long")
        self.assertEqual(self.rows("find", "p.base", "Zoe")[0]["record"], 2)
        self.refuse(["find", "p.base", "note=long"], "note: no method")

    def test_house_numbers_weigh_what_other_fields_find(self):
        self.write("p.csv", "street;number\n" + "".join(f"{name}gasse;{i + 1}a\n" for i, name in enumerate(("Lange ", "Kurz", "Schul"))))
        self.expect(FOUND, "build", "p.csv")
        self.refuse(["find", "p.base", "number=2"], "number: no index")
        self.expect(NOTHING, "find", "p.base", "2")
        self.expect(NOTHING, "find", "p.base", "number=2", "street=Qqqqqq")
        found = self.rows("find", "p.base", "number=2", "street=Kurzgase")[0]
        self.assertEqual(found["record"], 2)
        self.assertRegex(found["reason"], r"^street \d+, number 235$")
        self.assertEqual(self.rows("find", "p.base", "Kurzgasse 1a")[0]["reason"], "exact")

    def test_wrong_questions(self):
        self.people()
        self.refuse(["find", "people.base", "surnme=x"], "'surnme' is no field of the base; did you mean surname?")
        self.refuse(["find", "people.base"], "surname")
        self.refuse(["find", "people.csv", "x"], "expected a base")
        self.refuse(["find", "people.base", "x", "--from", "people.csv"], "found both")
        self.refuse(["find", "people.base", "--from", "people.csv", "--to", "/dev/null"], "/dev/null: expected a file")
        image = (self.folder / "people.base").read_bytes()
        for size in (0, 4, 8, 100, len(image) // 2, len(image) - 9):
            self.write("cut.base", image[:size])
            self.refuse(["find", "cut.base", "surname=x"], "cut.base")

    def test_an_ldb_file_with_rules_decides(self):
        self.people()
        self.write("p.ses", "RULE_FILE\tp.rules\nFIELDS\t{\nsurname\t{\nBUILD_FIELD\tsurname\n}\n}\nCOMBINATIONS\t{\n"
                   "default\t{\nMIN_CONF\t150\nFIXED_CONFIG\t{\nLOGIC\t(surname)\n}\n}\n}\n")
        self.write("p.rules", '<KVConfiguration svversion="90.0"><rules><rule name="clear"><input>default()</input>'
                   '<acceptance class="record_min_qual">235</acceptance><relation>it is clear</relation>'
                   '<decision>MATCH</decision></rule></rules></KVConfiguration>')
        self.write("p.ldb", "main_svd\tpeople.base\nses\tp.ses\n")
        row = self.rows("find", "p.ldb", "surname=Mayer")[0]
        self.assertEqual((row["decision"], row["surname"], row["reason"]), ("MATCH", "Mayer", "it is clear; exact"))
        rules = (self.folder / "p.rules").read_text()
        self.write("p.rules", rules.replace("default()", "defualt()"))  # never without what the file names
        for verb in (["find", "p.ldb", "surname=x"], ["explain", "p.ldb", "1", "surname=x"]):
            self.refuse(verb, "of its session templates 1 cannot be used", "'defualt' found")
        self.assertIn("1 cannot be used", self.expect(BROKEN, "check", "p.ldb").stderr)
        self.write("p.ldb", "main_svd\tpeople.base\nsess\tp.ses\n")
        self.refuse(["find", "p.ldb", "surname=x"], "sess")


class FindFile(ToolTest):
    NAMES = ["Mayer", "Weber", "Schmidt", "Moulin", "Frost", "Huber", "Lindqvist", "Iwanowa", "Dubois", "Papadopoulou"]

    def setUp(self):
        super().setUp()
        chance = random.Random(11)
        people = [(chance.choice(self.NAMES) + str(i % 40), f"{chance.choice(self.NAMES)}stadt") for i in range(300)]
        self.write("people.csv", "surname;city\n" + "".join(f"{n};{c}\n" for n, c in people))
        self.expect(FOUND, "build", "people.csv")
        self.queries = [(n[:2] + n[3:], c) for n, c in people] + [("Xxxxxxxx", "")]
        self.write("queries.tsv", "City\tSurname\tid\n" + "".join(f"{c}\t{n}\t{i}\n" for i, (n, c) in enumerate(self.queries)))

    def test_each_record_gets_the_answer_that_it_gets_alone(self):
        rows = self.rows("find", "people.base", "--from", "queries.tsv", "--threads", "2")
        self.assertEqual([row["line"] for row in rows], list(range(2, len(self.queries) + 2)))
        self.assertEqual((rows[-1]["quality"], rows[-1]["reason"]), (None, "nothing found"))
        for i in range(0, 300, 60):
            name, city = self.queries[i]
            alone = self.rows("find", "people.base", f"surname={name}", f"city={city}", "-n", "1")[0]
            self.assertEqual(rows[i], {"line": i + 2, **alone})

    def test_a_run_that_is_killed_goes_on(self):
        name, city = self.queries[0]
        self.write("many.tsv", "surname\tcity\n" + f"{name}\t{city}\n" * 30000)
        asked = ["find", "people.base", "--from", "many.tsv", "--threads", "1", "-o", "tsv"]
        killed = subprocess.Popen([TOOL, *asked, "--to", "out.tsv"], cwd=self.folder)
        resume = self.folder / "out.tsv.resume"
        while not resume.exists() and killed.poll() is None:
            time.sleep(0.005)
        killed.kill()
        killed.wait()
        self.assertFalse((self.folder / "out.tsv").exists())
        done = int(resume.read_text().split()[1])
        self.assertGreater(done, 0)
        with open(self.folder / "out.tsv.part", "a", encoding="utf-8") as part:
            part.write("half a li")  # what was written behind the last note
        marked = (self.folder / "out.tsv.part").read_text().replace("stadt", "sta*t", 1)
        self.write("out.tsv.part", marked)  # stays, if nothing is asked again
        self.expect(FOUND, *asked, "--to", "out.tsv")
        lines = (self.folder / "out.tsv").read_text().splitlines()
        self.assertEqual([line.split("\t")[0] for line in lines[1:]], [str(i) for i in range(2, 30002)])
        self.assertEqual(lines[1][1:].replace("sta*t", "stadt"), lines[2][1:])
        self.assertIn("sta*t", lines[1])
        self.assertFalse(resume.exists())

    def test_values_stand_for_themselves(self):
        values = ["Who?", "Star*Bucks", "(paren) [br]", "\u6771\u4eac", "A|B Company", "a=b", "%%%UNDEF%%%"]
        self.write("p.csv", "name;note\n" + "".join(f"{value};x\n" for value in values))
        self.expect(FOUND, "build", "p.csv")
        self.write("q.csv", "name\n" + "".join(f"{value}\n...\n" for value in values))
        found = self.rows("find", "p.base", "--from", "q.csv")
        self.assertEqual([(row["name"], row["reason"]) for row in found],
                         [row for value in values for row in ((value, "exact"), ("", "nothing found"))])

    def test_columns_by_name(self):
        self.write("q.csv", "who,where\nMayer0,Bern\nMayer1,Bern\n")
        self.refuse(["find", "people.base", "--from", "q.csv"], "expected columns named like the fields surname, city")
        self.refuse(["find", "people.base", "--from", "q.csv", "--column", "surname=woh"], "did you mean who?")
        rows = self.rows("find", "people.base", "--from", "q.csv", "--column", "surname=who", "-n", "1")
        self.assertEqual([row["line"] for row in rows], [2, 3])
        self.write("q.txt", "surname\nmayer0\n" + "ab " * 2000 + "\nmayer1\n")  # one is longer than a query may be
        rows = self.rows("find", "people.base", "--from", "q.txt", "-n", "1")
        self.assertEqual([row["surname"][:5] for row in rows], ["Mayer", "", "Mayer"])
        self.assertIn("more than 1024 positions", rows[1]["reason"])
        self.refuse(["find", "people.base", *["abc"] * 400], "it takes more than")  # free search
        self.write("q.txt", "surname\nmayer0\nmayer1\n")  # looks like three values, but names a field
        self.assertEqual([row["line"] for row in self.rows("find", "people.base", "--from", "q.txt", "-n", "1")], [2, 3])


class Sources(ToolTest):
    def test_what_look_proposes_is_what_build_takes(self):
        self.write("p.json", json.dumps({"list": [{"id": 7, "who": {"name": "Ann", "": "A"}, "on": "1990-12-31"},
                                                  {"id": 8, "who": {"name": "Jürgen"}}]}))
        fields = {row["column"]: row for row in self.rows("look", "p.json")}
        self.assertEqual({row["field"]: row["filled"] for row in fields.values()}, {"id": 100, "who_name": 100, "who": 50, "on": 50})
        self.assertEqual(fields["who.name"]["samples"], "Ann, Jürgen")
        self.write("mine.settings", self.expect(FOUND, "look", "p.json", "--settings").stdout)
        self.expect(FOUND, "build", "mine.settings")
        self.assertEqual(self.rows("find", "p.base", "who_name=Jurgen")[0]["id"], "8")

    def test_methods_suit_the_values(self):
        rows = [("Ann", "31.12.1990", "80331", "4711201", "12.50", "the quick brown fox", "12a",
                 "123e4567-e89b-42d3-a456-4266141740%02d" % i) for i in range(9)]
        self.write("t.csv", "name,born,zip code,customer,price,title,house number,uuid\n" +
                   "".join(",".join(row) + "\n" for row in rows))
        self.assertEqual([row["method"] for row in self.rows("look", "t.csv")],
                         ["EDIT", "DATE", "POSTCODE", "NUMBER", "DOUBLE", "WORDS", "PREMISE", "UUID"])
        self.assertIn("3 different", self.expect(FOUND, "look", "t.csv", "--statistic").stdout)
        self.expect(FOUND, "build", "t.csv")
        self.assertEqual(self.expect(FOUND, "find", "t.base", "ann", "fox").stderr, "")  # no number is expected
        self.refuse(["look", "nowhere"], "expected a file or a data source")

    def test_read_lists_what_is_rejected(self):
        self.people()
        self.write("people.csv", PEOPLE + "only;two\n")
        self.assertEqual(self.rows("read", "people.settings"), [{"source": "people.csv", "line": 6, "reason": "it has 2 fields instead of 5"}])
        self.assertEqual(len((self.folder / "people.records").read_text().splitlines()), 4)
        self.write("p.jsonl", '{"name":"Ann","town":"Bern"}\n{"name":"Bob","town":}\n{"name":"Zoe","town":"Linz"} x\n')
        self.expect(FOUND, "build", "p.jsonl")
        self.assertEqual([(row["line"], row["reason"][:25]) for row in self.rows("read", "p.settings")],
                         [(2, "it is no JSON at byte 22:"), (3, "it is no JSON at byte 29:")])

    def test_differences_are_made_checked_applied_and_cascade(self):
        old = self.write("old", "Ann\tBern\nBob\tRom\nZoe\tLinz\n")
        new = self.write("new", "Ann\tGenf\nZoe\tLinz\nEva\tGraz\n")
        orders = self.write("orders", "O1\tBob\nO2\tAnn\nO3\tBob\n")
        self.assertIn("checked", self.expect(FOUND, "diff", old, new, "--key", "1", "--to", "dif", "--check").stdout)
        self.expect(FOUND, "diff", old, "dif", "--key", "1", "--apply", "now", "--deleted", "gone", "--rows", orders,
                    "--rows-key", "1", "--rows-master", "2", "--cascade", "orders.dif")
        read = lambda name: (self.folder / name).read_text()
        self.assertEqual(sorted(read("now").splitlines()), sorted(read(new).splitlines()))
        self.assertEqual((read("gone"), read("orders.dif")), ("Bob\tRom\n", "<del>\tO1\tBob\n<del>\tO3\tBob\n"))
        self.expect(NOTHING, "diff", new, new, "--key", "1,2", "--to", "none")
        for first, last in (("", new), (new, "")):
            empty = self.write("empty", "")
            self.expect(FOUND, "diff", first or empty, last or empty, "--key", "1", "--to", "dif", "--check")
            self.expect(FOUND, "diff", first or empty, "dif", "--key", "1", "--apply", "now")
            self.assertEqual(sorted(read("now").splitlines()), sorted(read(last or "empty").splitlines()))
        semicolons = self.write("semicolons", "1;Ann\n")
        self.assertIn("no TAB in '1;Ann'", self.expect(NOTHING, "diff", semicolons, semicolons, "--key", "1").stderr)
        self.refuse(["diff", old, new, "--key", "3"], "expected column 3, found 2 columns")
        self.refuse(["diff", old, new, "--key", "x"], "--key")
        self.refuse(["diff", old, "dif", "--key", "1", "--apply", "now", "--rows", orders], "--rows-master")


@unittest.skipUnless("SORVANTA_DATABASES" in os.environ, "runs beside databases")
class Databases(ToolTest):
    def test_a_table_is_looked_at_and_built_from_alone_and_beside_a_file(self):
        for source in ("sqlite", "postgres"):
            with self.subTest(source):
                fields = self.rows("look", source, "--table", "people")
                self.assertEqual([(row["field"], row["filled"]) for row in fields], [("number", 100), ("name", 100), ("town", 66)])
                settings = self.expect(FOUND, "look", source, "--sql", "select name, town from people where number < 3", "--user", "sv", "--settings").stdout
                self.assertIn("\nuser sv\n", settings)
                self.write("p.settings", settings)
                self.expect(FOUND, "build", "p.settings")
                self.assertEqual([row["town"] for row in self.rows("find", f"{source}.base", "name=Jurgen Webber")], ["Köln"])
                self.assertIn("3 lines, 0 of them bad", self.expect(FOUND, "look", source, "--table", "people", "--statistic").stdout)
                self.assertIn("people", [row["table"] for row in self.rows("look", source)])
                self.refuse(["look", source, "--table", "peple"], "peple")
        self.refuse(["look", "sqlit", "--table", "people"], "sqlit: expected a data source, found none; data sources are sqlite, postgres")
        self.write("more.csv", "who,where\nEva Huber,Genf\n")
        self.write("both.settings", "base both.base\nsource {\nfile sqlite\nkind odbc\nsql select * from people order by number\n}\n"
                   "source {\nfile more.csv\nkind csv\nseparator ,\nheader 1\ncolumns {\nname who\ntown where\n}\n}\n"
                   "fields {\nname {\ncolumn name\nmethod WORDS\n}\ntown {\ncolumn town\n}\n}\n")
        self.expect(FOUND, "build", "both.settings")
        self.assertEqual((self.folder / "both.records").read_text(),
                         "Ann Mayer\tBern\nJürgen Weber\tKöln\nZoe Lindt\t\nEva Huber\tGenf\n")


class Explain(ToolTest):
    def test_the_parts_add_up_to_what_find_says(self):
        self.people()
        asked = ["surname=Moulan", "city=Mirovitse", "born=1985-04-05"]
        best = self.rows("find", "people.base", *asked)[0]
        *parts, total = self.rows("explain", "people.base", best["record"], *asked)
        self.assertEqual([part["field"] for part in parts], ["surname", "city", "born"])
        self.assertEqual(total["counted"], best["quality"])
        self.assertEqual(total["product"], sum(part["counted"] * part["weight"] for part in parts))
        self.assertEqual(total["product"] // total["weight"], best["quality"])
        self.assertEqual([part["measured"] for part in parts], [part["counted"] for part in parts])
        self.expect(NOTHING, "explain", "people.base", "2", *asked)
        self.refuse(["explain", "people.base", "5", *asked], "1 to 4, found '5'")
        self.refuse(["explain", "people.base", "1", "surname"], "expected field=value")
        self.write("v.csv", "name;city\nAnn;Wien|Vienna\nBob;Rom\n")
        self.expect(FOUND, "build", "v.csv")
        part = self.rows("explain", "v.base", "1", "city=Viena")[0]
        self.assertEqual((part["compared"], part["measured"]), ("'Viena' against 'Vienna'", part["counted"]))

    def test_check_says_what_is_wrong_with_any_file(self):
        self.people()
        said = self.expect(FOUND, "check", "people.settings", "people.base").stdout
        self.assertIn("settings of 5 fields over 5 columns", said)
        self.assertIn("a base of the fields given_name, surname", said)
        self.write("p.ses", "FIELDS\t{\nsurname\t{\nBUILD_FIELD\tsurnme\n}\n}\nCOMBINATIONS\t{\ndefault\t{\n}\n}\n")
        self.write("p.rules", "<KVConfiguration svversion='90.0'><rules><rule name='a'></rule></rules>")
        self.write("p.ldb", "main_svd\tnowhere.base\n")
        done = self.expect(BROKEN, "check", "p.ses", "p.rules", "p.ldb", "people.base", "--base", "people.base")
        for part in ("surnme", "p.rules", "nowhere.base"):
            self.assertIn(part, done.stderr)
        self.assertIn("people.base: a base", done.stdout)  # the others are looked at all the same


@unittest.skipUnless(shutil.which("tmux"), "needs tmux")
class Form(ToolTest):
    def tmux(self, *arguments):
        return subprocess.run(["tmux", "-S", str(self.folder / "socket"), *arguments], capture_output=True,
                              encoding="utf-8", timeout=100, check=True).stdout

    def keys(self, *keys):
        self.tmux("send-keys", "-t", "form", *keys)

    def wait_for(self, text):
        for _ in range(1000):
            screen = self.tmux("capture-pane", "-p", "-t", "form")
            if text in screen:
                return screen
            time.sleep(0.05)
        self.fail(f"'{text}' never came:\n{screen}")

    def test_a_form_on_40_columns(self):
        self.people()
        self.tmux("new-session", "-d", "-s", "form", "-x", "40", "-y", "20", f"{TOOL} form {self.folder}/people.base; cat")
        self.addCleanup(self.tmux, "kill-server")
        self.assertIn("^Q quit", self.wait_for("> given_name"))
        self.keys("Tab", "May")
        self.wait_for("Mayer (1)")
        self.keys("Enter")
        self.assertTrue(all(len(line) <= 40 for line in self.wait_for("Bahnhofstr").splitlines()))
        self.keys("C-t")
        self.wait_for("* May")
        self.keys("Tab", "Tab", "Mirovice")
        self.assertIn("- Mirovice", self.wait_for("not in the selecti"))
        self.keys("C-u", "C-u", "C-u")
        self.keys("C-q")
        self.wait_for_its_end()

    def test_gives_the_terminal_back_when_it_is_asked_to_end(self):
        self.people()
        self.tmux("new-session", "-d", "-s", "form", "-x", "80", "-y", "20", "sh", "-c", f"{TOOL} form {self.folder}/people.base; stty; cat")
        self.addCleanup(self.tmux, "kill-server")
        self.wait_for("> given_name")
        subprocess.run(["pkill", "-f", f"{TOOL} form {self.folder}/people.base$"], check=True)
        self.wait_for_its_end()
        self.assertNotIn("-icanon", self.wait_for("speed"))

    def wait_for_its_end(self):
        for _ in range(1000):
            if "given_name" not in self.tmux("capture-pane", "-p", "-t", "form"):
                return
            time.sleep(0.05)
        self.fail("the form does not end")

    def test_without_terminal(self):
        self.people()
        self.refuse(["form", "people.base"], "needs a terminal")


if __name__ == "__main__":
    unittest.main()
