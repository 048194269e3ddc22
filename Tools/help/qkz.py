"""Calls on pictures, done by the library itself through the command line tool."""

import subprocess
from dataclasses import dataclass
from pathlib import Path


class CallError(Exception):
    """A call that was not taken or gave nothing; the text is what qkz told."""


@dataclass(frozen=True)
class Run:
    """Runs calls in a folder, in which quoted file names are looked up."""

    qkz: str
    folder: Path

    def __call__(self, picture, calls, output=None):
        """The lines that were printed. The last picture, or the last call's string, goes to `output`."""
        command = [self.qkz, "run", str(picture), *calls]
        if output:
            command += ["-o", str(output)]
        done = subprocess.run(command, cwd=self.folder, capture_output=True, text=True, timeout=60)
        if done.returncode != 0:
            raise CallError(" ".join(done.stderr.split()) or f"qkz ended with status {done.returncode}")
        return done.stdout.splitlines()
