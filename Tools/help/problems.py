"""What is wrong with the words: collected, so that one run tells all of it."""


class Problems:
    """Findings, each with the file it is in."""

    def __init__(self):
        self._found = []

    def add(self, file, where, what):
        """`where` is an entry's name, or empty."""
        text = f"{file}: {where}: {what}" if where else f"{file}: {what}"
        if text not in self._found:
            self._found.append(text)

    def __len__(self):
        return len(self._found)

    def __iter__(self):
        return iter(self._found)
