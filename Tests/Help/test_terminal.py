"""The command says in the terminal what the help pages say."""

import os
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "Tools/help"))

import registrations  # noqa: E402
import words as wording  # noqa: E402
from problems import Problems  # noqa: E402
from render import plain  # noqa: E402

QKZ = os.environ["QKZ"]


class Terminal(unittest.TestCase):
    def test_every_word_of_the_pages_is_there(self):
        catalogue = registrations.read(QKZ)
        words = wording.Reader(ROOT / "Docs/help", catalogue, set(), Problems()).read()
        for _, entry in words.entries():
            done = subprocess.run([QKZ, "help", entry.key], capture_output=True, text=True, check=True)
            told = " ".join(done.stdout.split())
            texts = [entry.does, entry.result, entry.failure, *entry.quirks.values()]
            texts += [w[what] for w in entry.parameters.values() for what in ("means", "unit", "range")]
            texts += [t for p in entry.properties for t in (p.means, p.unit, p.range, p.default, *p.quirks.values())]
            with self.subTest(entry.key):
                for text in map(plain, texts):
                    self.assertIn(text, told)
                for declaration in entry.declarations:
                    self.assertIn(declaration.text, told)
                self.assertIn(" ".join(entry.example.split()), told)


if __name__ == "__main__":
    unittest.main()
