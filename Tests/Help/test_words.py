"""What is wrong with words is found, and told with the file it is in."""

import copy
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import yaml
from PIL import Image

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "Tools/help"))

import links  # noqa: E402
import playground  # noqa: E402
import registrations  # noqa: E402
import words  # noqa: E402
from examples import Example  # noqa: E402
from pictures import Desk, Figure, Studio  # noqa: E402
from problems import Problems  # noqa: E402
from qkz import Run  # noqa: E402

CATALOGUE = registrations.parse("""Host 2024, plug-in interface 13

Class ToneQKZ
  Red as Integer
  ToneQKZ.Run as boolean

Module ColoursQKZ
  Picture.PaleQKZ(Amount as integer, byref count as integer) as picture
  Picture.PaleQKZ(Amount as integer = 3) as picture
  Picture.MaskQKZ(swap as boolean) = value as picture
""")

MEANS = {"means": "..."}
PALE = {"does": "...", "parameters": {"Amount": MEANS, "count": MEANS}, "result": "..."}
GOOD = {
    "colours.yaml": {"title": "Colours", "order": 1, "intro": "...", "entries": {
        "PaleQKZ": PALE,
        "MaskQKZ": {"does": "...", "parameters": {"swap": MEANS, "value": MEANS}},
        "ToneQKZ": {
            "does": "...", "properties": {"Red": MEANS}, "methods": {"Run": {"does": "...", "result": "..."}},
        },
    }},
    "tasks.yaml": {"tasks": [{
        "id": "a", "title": "A", "does": "...", "example": "...", "methods": ["PaleQKZ"],
        "picture": {"of": "coffee", "calls": ["PaleQKZ"], "alt": "..."},
    }]},
    "about.yaml": {
        "title": "...", "lead": "...", "install": ["..."], "trouble": [{"when": "...", "then": "..."}],
        "conventions": [{"title": "...", "text": "..."}],
    },
}


def problems_of(files):
    found = Problems()
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            content = text if isinstance(text, str) else yaml.safe_dump(text)
            Path(folder, name).write_text(content, encoding="utf-8")
        words.Reader(Path(folder), CATALOGUE, {"a-quirk"}, found).read()
    return list(found)


class Words(unittest.TestCase):
    # What is set at a place in the good words, and what is told then. None removes.
    FAULTS = [
        (["colours.yaml", "entries", "PaleQKZ"], None, "Docs/help: PaleQKZ: is registered and has no words"),
        (["colours.yaml", "entries", "ToneQKZ", "properties", "Red"], None,
         "Docs/help: ToneQKZ.Red: is registered and has no words"),
        (["colours.yaml", "entries", "RuddyQKZ"], PALE, "colours.yaml: RuddyQKZ: is not registered"),
        (["colours.yaml", "entries", "paleQKZ"], PALE, "colours.yaml: paleQKZ: is registered as PaleQKZ"),
        (["colours.yaml", "entries", "PaleQKZ", "parameters", "Sum"], MEANS,
         "colours.yaml: PaleQKZ: no declaration has the parameter Sum"),
        (["colours.yaml", "entries", "PaleQKZ", "parameters", "count"], None,
         "colours.yaml: PaleQKZ: the parameter count has no words"),
        (["colours.yaml", "entries", "PaleQKZ", "result"], None,
         "colours.yaml: PaleQKZ: has a result and no words for it"),
        (["colours.yaml", "entries", "PaleQKZ", "quirks"], {"no-quirk": "..."},
         "colours.yaml: PaleQKZ: Docs/compatibility.md has no heading no-quirk"),
        (["colours.yaml", "entries", "PaleQKZ", "exampel"], "...",
         'colours.yaml: PaleQKZ: does not know the word "exampel"'),
        (["colours.yaml", "entries", "PaleQKZ", "strip"],
         {"of": "coffee", "parameter": "Amount", "call": "PaleQKZ({})", "values": [1, 2]},
         "colours.yaml: PaleQKZ: its strip has not five values"),
        (["tasks.yaml", "tasks", 0, "methods"], ["RuddyQKZ"],
         "tasks.yaml: a: names the method RuddyQKZ, which is not registered"),
        (["about.yaml", "install"], None, "about.yaml: has no install"),
    ]

    def test_good_words_have_no_faults(self):
        self.assertEqual(problems_of(GOOD), [])

    def test_each_fault_is_told(self):
        for place, value, told in self.FAULTS:
            with self.subTest(told):
                files = copy.deepcopy(GOOD)
                inner = files
                for key in place[:-1]:
                    inner = inner[key]
                if value is None:
                    del inner[place[-1]]
                else:
                    inner[place[-1]] = value
                self.assertIn(told, problems_of(files))

    def test_a_number_without_a_slide_is_told(self):
        for slide, told in [([0, 5], None), ([0, "depth"], "Amount"), (None, "Amount"), ("width", None)]:
            files = copy.deepcopy(GOOD)
            members = files["colours.yaml"]["entries"]
            members["PaleQKZ"]["parameters"]["Amount"] = MEANS | {"slide": slide}
            members["ToneQKZ"]["properties"]["Red"] = MEANS | {"slide": [0, 1]}
            found = Problems()
            with tempfile.TemporaryDirectory() as folder:
                for name, text in files.items():
                    Path(folder, name).write_text(yaml.safe_dump(text), encoding="utf-8")
                read = words.Reader(Path(folder), CATALOGUE, set(), found).read()
            playground.Forms(read, CATALOGUE, {}, {}, {"coffee": Image.new("RGB", (4, 4))}, found).data()
            fault = f"colours.yaml: PaleQKZ: the number {told} has no slide: [from, to]"
            self.assertEqual(list(found), [fault] if told else [])

    def test_what_is_no_yaml_is_told(self):
        told = problems_of(GOOD | {"colours.yaml": "title: a: b"})
        self.assertTrue(told[0].startswith("colours.yaml: mapping values are not allowed"), told)


class Examples(unittest.TestCase):
    def told(self, text):
        found = Problems()
        desk = Desk(Run("false", Path()), {})
        Example(CATALOGUE, desk, "coffee", found, "colours.yaml", "PaleQKZ").run(text)
        return " ".join(found)

    def test_wrong_calls_are_told(self):
        for line, fault in [
            ("q = p.RuddyQKZ(1)", "RuddyQKZ is not registered"),
            ("q = p.PaleQKZ(1, 2, 3)", "PaleQKZ is called with 3 arguments"),
            ("p.MaskQKZ = q", "MaskQKZ is assigned with 0 arguments"),
            ("p.PaleQKZ(1) = q", "PaleQKZ is assigned with 1 arguments"),
            ("q = p.Pale(1)", "pictures have no Pale"),
            ("Dim t As New ToneQKZ\nt.Blue = 1", "ToneQKZ.Blue is not registered"),
            ("For i As Integer = 0 To x\n  q = p.PaleQKZ(i, i, i)\nNext", "PaleQKZ is called with 3 arguments"),
            ("Dim q As Picture = p.PaleQKZ(4)", "qkz ended with status 1"),
        ]:
            with self.subTest(line):
                self.assertIn(fault, self.told(line))


class Results(unittest.TestCase):
    """With the library itself."""

    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        work = Path(self.folder.name)
        self.problems = Problems()
        (work / "site").mkdir()
        qkz = os.environ["QKZ"]
        self.studio = Studio(qkz, ROOT / "Docs/help/photos", work, work / "site", self.problems)
        self.catalogue = registrations.read(qkz)

    def test_calls_that_give_no_picture_are_told(self):
        desk = self.studio.desk("a.yaml", "A", "A", {})
        for i, (call, fault) in enumerate([
            ("InvertQK", "a.yaml: A: its picture: qkz: there is no method InvertQK"),
            ("ThresholdQKZ(1, 2)", "ThresholdQKZ takes other arguments"),
            ('MergePictureQKZ($, "icon.png")', "MergePictureQKZ returned nil"),
        ]):
            picture = {"of": "coffee", "calls": [call], "alt": "..."}
            self.studio.figure("a.yaml", "A", f"A{i}", desk, picture, Figure(), {}, (60, 40))
            self.assertIn(fault, list(self.problems)[i])

    def test_an_example_is_computed(self):
        desk = self.studio.desk("a.yaml", "A", "B", {"icon": {"of": "frames"}})
        example = Example(self.catalogue, desk, "frames", self.problems, "a.yaml", "A")
        outcome = example.run("""
            Dim n As Integer
            Dim x, y As Integer = 7
            If p.FindPictureQKZ(icon, x, y) And x = 0 Then
              For i As Integer = 1 To 2
                n = n + p.CountColorQKZ(&cFF0000)
              Next
            End If
            If n = 12600 Then
              Canvas1.Backdrop = p.InvertQKZ     ' not run, but the call is
            Else
              Dim q As Picture = p.ReplaceRedChannelQKZ(Nil)   ' would raise
            End If""")
        self.assertEqual((list(self.problems), outcome.ran), ([], 4))
        self.assertEqual([reason for _, reason in outcome.not_run], ["Canvas1 is not known here"])

    def test_what_the_playground_composes_runs_as_its_calls_do(self):
        """Every method's program, read and run as examples are, makes the calls that the page makes."""
        here = Path(__file__).parent
        done = subprocess.run(["node", here / "composing.mjs"], capture_output=True, text=True, check=True)

        def bare(call):
            """Without names of files and of blocks, which differ."""
            return re.sub(r'"[^"]*"|\$', "?", re.sub('>"[^"]*"', "", call.lower()))

        composed = json.loads(done.stdout)
        self.assertGreater(len(composed), 50)
        for i, (key, source, calls, program, files) in enumerate(composed):
            with self.subTest(key, calls=calls):
                desk = self.studio.desk("a.yaml", key, f"composed-{i}", {})
                desk.values.update({name: desk.run.folder / file for name, file in files.items()})
                outcome = Example(self.catalogue, desk, source[:-4], self.problems, "a.yaml", key).run(program)
                self.assertEqual(list(self.problems), [])
                if "iOSPictureQKZ" in program:
                    continue
                self.assertEqual(outcome.not_run, [])
                self.assertEqual([bare(c) for c in outcome.calls], [bare(c) for c in calls])


class Links(unittest.TestCase):
    def test_what_leads_nowhere_is_told(self):
        found = Problems()
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "a.html").write_text(
                '<p id="x"></p><p id="x"></p><a href="#y"></a><a href="b.html#x"></a><a href="https://c/"></a>'
                '<a href="index.html#z"></a><a href="#x"></a>', encoding="utf-8")
            Path(folder, "index.html").write_text('<p id="z"></p><a href="a.html"></a>', encoding="utf-8")
            links.check(Path(folder), found)
        self.assertEqual(list(found), [
            "a.yaml: has the anchor #x twice",
            "a.yaml: links to #y, where no such anchor is",
            "a.yaml: links to b.html#x, which is not in the folder",
            "a.yaml: links to https://c/, which is not in the folder",
        ])


if __name__ == "__main__":
    unittest.main()
