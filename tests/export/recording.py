"""Reads a recording without any of the tool's code: what the checks of the exports compare with."""
import gzip
import json


class Figure:
    """One value of one sample."""

    def __init__(self, sample, section, table, labels, column, value):
        self.sample = sample
        self.section = section
        self.table = table
        self.labels = labels  # of the item: {"core": "3"}
        self.column = column  # as the header has it
        self.value = value

    @property
    def key(self):
        parts = [self.section, self.table, self.column["key"]]
        return ".".join(part for part in parts if part)

    @property
    def item(self):
        return " ".join(self.labels.values())

    @property
    def is_number(self):
        return isinstance(self.value, (bool, int, float))

    @property
    def is_measured(self):
        return "role" not in self.column


def text(value):
    """As the exports write a label: control characters and what is no text as \\xNN, which JSON has for most."""
    if isinstance(value, bool):
        return "yes" if value else "no"
    return "".join("\\x%02x" % ord(c) if ord(c) < 32 or ord(c) == 127 else c for c in str(value))


class Recording:
    def __init__(self, path):
        opened = gzip.open(path, "rt", encoding="utf-8") if path.endswith(".gz") else open(path, encoding="utf-8")
        with opened as lines:
            self.header = json.loads(next(lines))
            self.samples = [json.loads(line) for line in lines]
        self.columns = {}
        for column in self.header["columns"]:
            self.columns.setdefault((column["section"], column.get("table")), {})[column["key"]] = column

    def figures(self):
        for sample in self.samples:
            for section in self.header["monitors"]:
                yield from self._section(sample, section, sample.get(section, {}))

    def _section(self, sample, section, content):
        yield from self._row(sample, section, None, content)
        for (owner, table) in self.columns:
            if owner == section and table:
                for row in content.get(table, []):
                    yield from self._row(sample, section, table, row)

    def _row(self, sample, section, table, row):
        columns = self.columns.get((section, table), {})
        labels = {key: text(row[key]) for key, column in columns.items()
                  if column.get("role") == "label" and key in row}
        for key, column in columns.items():
            if key in row and column.get("role") != "label":
                yield Figure(sample, section, table, labels, column, row[key])
