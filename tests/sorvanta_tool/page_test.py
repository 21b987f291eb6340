"""The form as a page, in a headless browser and by its requests. SORVANTA_TOOL names the program."""
import http.client
import json
import os
import pathlib
import signal
import subprocess
import tempfile
import unittest
import urllib.parse

import browser

TOOL = os.environ["SORVANTA_TOOL"]
HOSTILE = '<script>document.title="bad"</script> & "Söhne" \\\''
PEOPLE = [("Pierre", "Moulin", "Mirovice"), ("Ann", "Mayer", "Bern"), ("Zoe", HOSTILE, "Linz"), ("Pierre", "Weber", "Linz")]
TEMPLATE = "\n".join(["RULE_FILE\tp.rules", "FIELDS\t{",
                      *(f"{name}\t{{\nBUILD_FIELD\t{name}\n}}" for name in ("given", "surname", "city")), "}",
                      "COMBINATIONS\t{\ndefault\t{\nMIN_CONF\t150\nFIXED_CONFIG\t{\nLOGIC\t(given&surname&city)\n}\n}\n}\n"])
RULES = ('<KVConfiguration svversion="90.0"><rules><rule name="clear"><input>default()</input><acceptance class="record_min_qual">'
         '200</acceptance><relation>it is clear</relation><decision>MATCH</decision></rule></rules></KVConfiguration>')


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        quoted = [";".join('"' + cell.replace('"', '""') + '"' for cell in row) for row in PEOPLE]
        cls.address = cls.serve("p.ldb", {"p.csv": "\n".join(["given;surname;city", *quoted, ""]), "p.ses": TEMPLATE, "p.rules": RULES,
                                          "p.ldb": "main_svd\tp.base\nses\tp.ses\n"})

    @classmethod
    def serve(cls, base, files):
        """The address of a form over the base of p.csv."""
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        for name, text in files.items():
            pathlib.Path(folder.name, name).write_text(text, encoding="utf-8")
        subprocess.run([TOOL, "build", "p.csv"], cwd=folder.name, check=True, capture_output=True)
        server = subprocess.Popen([TOOL, "form", base, "--page"], cwd=folder.name, stdout=subprocess.PIPE, encoding="utf-8")
        cls.addClassCleanup(cls.end_server, server)
        return server.stdout.readline().strip()

    @classmethod
    def end_server(cls, server):
        server.send_signal(signal.SIGINT)
        server.communicate(timeout=100)
        assert server.returncode == 0, server.returncode


class Requests(PageTest):
    def ask(self, body, method="POST", path=None, **headers):
        parts = urllib.parse.urlsplit(self.address)
        connection = http.client.HTTPConnection("127.0.0.1", parts.port, timeout=100)
        headers = {"Content-Type": "application/json", **{name.replace("_", "-"): value for name, value in headers.items()}}
        body = body if isinstance(body, (bytes, type(None))) or hasattr(body, "__next__") else json.dumps(body)
        connection.request(method, path or parts.path, body, headers, encode_chunked=hasattr(body, "__next__"))
        response = connection.getresponse()
        text = response.read()
        connection.close()
        return response.status, json.loads(text) if text.startswith(b"{") else text

    def test_what_is_refused(self):
        opening = {"command": "open"}
        refused = {
            403: [self.ask(opening, Host="evil.example"), self.ask(opening, Host="127.0.0.1"), self.ask(opening, Origin="http://evil.example"),
                  self.ask(None, "GET", "/"), self.ask(opening, path="/0/"), self.ask(None, "GET", Host="evil.example")],
            405: [self.ask(None, "DELETE"), self.ask(None, "OPTIONS")],
            410: [self.ask({"command": "suggest", "page": "0"})],
            413: [self.ask(b" " * 20000), self.ask(iter([b"x" * 4000] * 5), Transfer_Encoding="chunked")],
            415: [self.ask(opening, Content_Type="text/plain")],
            400: [self.ask(body) for body in (b"", b"[]", b"{", b"\xff", b"[" * 5000, {"page": 7}, {"command": "open", "field": -1},
                                             {"command": "open", "field": 3}, {"command": "open", "text": "a\0b"})],
        }
        for status, answers in refused.items():
            for i, (found, answer) in enumerate(answers):
                self.assertEqual(found, status, (i, answer))
                self.assertTrue(answer["error"])
        self.assertEqual(self.ask({"command": "fly", "page": self.ask(opening)[1]["page"]})[0], 400)

    def test_an_older_keystroke_that_comes_late_is_not_looked_up(self):
        page = self.ask({"command": "open"})[1]["page"]
        ask = lambda sequence, field, text: self.ask({"command": "type", "page": page, "sequence": sequence, "field": field, "text": text})[1]
        self.assertEqual(ask(5, 2, "Lin")["values"][0]["text"], "Linz")
        self.assertEqual(ask(4, 2, "Be"), {"stale": True})
        self.assertEqual(ask(3, 1, "May")["fields"][2]["text"], "Lin")  # another field

    def test_dates_are_asked_as_a_whole_and_texts_of_house_numbers_stay(self):
        people = "".join(f"{name};19{80 + i}-04-03;{i + 1}a\n" for i, name in enumerate(("Ann", "Bob", "Zoe")))
        self.address = self.serve("p.base", {"p.csv": "name;born;house number\n" + people})
        page = self.ask({"command": "open"})[1]["page"]
        ask = lambda command, field=0, text="": self.ask({"command": command, "page": page, "field": field, "text": text})[1]
        self.assertEqual(ask("type", 1, "1980-04-03")["fields"][1]["records"], 1)  # not everybody from there on
        ask("type", 2, "2a")
        ask("type", 0, "Ann")
        self.assertEqual(ask("type", 0, "...")["fields"][0]["state"], "nothing")  # not what was typed before
        ask("undo"), ask("undo")
        self.assertEqual([field["text"] for field in ask("undo")["fields"]], ["", "1980-04-03", "2a"])
        ask("type", 0, "Bpb")  # by its beginning in vain, then with errors: one step
        self.assertEqual([ask(command)["fields"][0]["text"] for command in ("undo", "redo", "undo", "undo")], ["", "Bpb", "", ""])

    def test_only_so_many_pages_are_open_and_a_closed_one_makes_room(self):
        pages = []
        while (answer := self.ask({"command": "open"}))[0] == 200:
            pages.append(answer[1]["page"])
            self.assertLess(len(pages), 100)
        self.assertEqual(answer[0], 503)
        for page in pages:
            self.assertEqual(self.ask({"command": "close", "page": page}), (200, {}))
        self.assertEqual(self.ask({"command": "suggest", "page": pages[0]})[0], 410)


@unittest.skipUnless(browser.is_there(), f"needs {' and '.join(browser.NEEDED)}")
class Page(PageTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser = cls.enterClassContext(browser.Browser())

    def setUp(self):
        self.browser.open(self.address)
        self.browser.wait("return document.activeElement.id === 'field-0'")

    def tearDown(self):
        self.assertEqual(self.browser.problems(), [])

    def text(self, selector):
        return self.browser.run("return document.querySelector(arguments[0]).innerText", selector)

    def wait_for(self, selector, text):
        self.browser.wait("return document.querySelector(arguments[0]).innerText.includes(arguments[1])", selector, text)

    def test_the_keyboard_leads_from_an_empty_form_to_a_decision(self):
        press = self.browser.press
        press("Pier")
        self.wait_for("#values-0", "Pierre")
        press("Down", "Enter")  # takes the value
        self.browser.wait("return document.querySelector('#field-0').value === 'Pierre'")
        press("Ctrl Enter")
        self.wait_for("#state-0", "selected (2)")
        press("Tab", "Moulan")
        self.wait_for("#state-1", "possible (1)")
        press("Tab", "Bern")
        self.wait_for("#state-2", "not in the selection")
        press("Ctrl z")
        self.browser.wait("return document.querySelector('#field-2').value !== 'Bern'")
        press("Ctrl y")
        self.browser.wait("return document.querySelector('#field-2').value === 'Bern'")
        press("Escape", "Escape", "Mirovitse", "Enter")
        self.wait_for("#records", "Moulin")
        self.assertEqual(self.browser.run("return [...document.querySelectorAll('#records mark')].map(m => m.innerText)"), ["Moulin", "Mirovice"])
        press("Shift Enter")
        self.wait_for("#decision", "MATCH: it is clear")
        self.assertEqual(self.browser.run("return document.querySelectorAll('tr[aria-current=true]').length"), 1)
        press("Ctrl Enter")
        press("Tab", "Enter")  # the first command; after the last field
        self.wait_for("#status", "record")

    def test_screen_readers_are_told_what_is_what(self):
        accessible, run = self.browser.accessible, self.browser.run
        self.assertEqual(accessible("#field-1"), ("combobox", "surname"))
        self.browser.press("Z", "Down")
        self.browser.wait("return document.querySelector('#field-0').getAttribute('aria-activedescendant')")
        self.assertEqual(accessible("#values-0"), ("listbox", "Values of given"))
        self.assertEqual(accessible("[aria-selected=true]"), ("option", "Zoe, quality 255, 1 record"))
        self.assertEqual(run("return document.querySelector('#field-0').ariaExpanded"), "true")
        self.assertEqual(accessible("#status")[0], "status")
        self.assertEqual(accessible("#problem")[0], "alert")
        self.browser.press("Enter", "Enter")
        self.wait_for("#records", "Zoe")
        self.assertEqual(accessible("table"), ("table", "Records, best first; what differs is marked"))
        self.assertEqual(accessible("th:nth-child(4)"), ("columnheader", "surname"))
        unnamed = [tag for tag in run("return [...document.querySelectorAll('button, input, [role]')].map((e, i) => (e.dataset.nr = i, e.tagName))")]
        for nr, tag in enumerate(unnamed):
            if tag in ("BUTTON", "INPUT"):
                self.assertTrue(accessible(f"[data-nr='{nr}']")[1], nr)

    def test_texts_of_records_stay_texts(self):
        self.browser.press("Tab", "<scr", "Down")
        self.browser.wait("return document.querySelector('[aria-selected=true]')")
        self.assertTrue(self.text("[aria-selected=true]").startswith(HOSTILE))
        self.browser.press("Enter", "Enter")
        self.wait_for("#records", HOSTILE)
        self.assertEqual(self.browser.run("return [document.title, document.querySelectorAll('main script').length, "
                                          "document.querySelector('#field-1').value]"), ["Sorvanta form", 0, HOSTILE])

    def test_older_keystrokes_are_cancelled(self):
        self.browser.run("""window.asked = [];
            const send = window.fetch;
            window.fetch = (address, options) => new Promise((done, fail) => {
              const entry = {text: JSON.parse(options.body).text, isCancelled: false};
              window.asked.push(entry);
              options.signal?.addEventListener("abort", () => { entry.isCancelled = true; fail(new DOMException("", "AbortError")); });
              setTimeout(() => entry.isCancelled || send(address, options).then(done, fail), 200);
            });""")
        self.browser.press("Pierr")
        self.wait_for("#values-0", "Pierre")
        asked = self.browser.run("return window.asked")
        self.assertEqual((asked[-1]["text"], asked[-1]["isCancelled"]), ("Pierr", False))
        self.assertTrue(all(entry["isCancelled"] for entry in asked[:-1]), asked)
        self.assertGreater(len(asked), 1)


if __name__ == "__main__":
    unittest.main()
