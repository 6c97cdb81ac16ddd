"""header_filter.py HEADER: the header with its comments as Doxygen reads them, line by line.

A block above a declaration belongs to that, one behind a member to the member, and one on its own, before an empty
line, to the whole file or the class that it stands in."""
import re
import sys

BLOCK = re.compile(r"\s*//( ?)(.*)")
BEHIND = re.compile(r"(.*[;,({]\s*)// (.*)")
CLASS = re.compile(r"class TESSARY_API ([\w:]+) \{")
NAMESPACE = re.compile(r"namespace (\w+) \{")


def escaped(text):
    """As it stands. Doxygen leaves alone what is in quotes; the hyphens of a list are meant."""
    parts = text.split('"')
    parts[::2] = [re.sub(r"([\\@<>#*])", r"\\\1", part) for part in parts[::2]]
    return '"'.join(parts)


def blocks(lines):
    """Pieces of the header: runs of comment lines, and single lines of code."""
    block = []
    for line in lines:
        if BLOCK.fullmatch(line):
            block.append(line)
            continue
        if block:
            yield block
            block = []
        yield line
    if block:
        yield block


def owner(namespace, inside):
    return "@class " + "::".join(namespace + [inside]) if inside else "@file"


def filtered(lines):
    namespace = []
    inside = None
    pieces = list(blocks(lines))
    for number, piece in enumerate(pieces):
        if isinstance(piece, str):
            if found := NAMESPACE.match(piece):
                namespace = [found[1]]
            if found := CLASS.match(piece):
                inside = found[1]
            elif piece == "};":
                inside = None
            if found := BEHIND.fullmatch(piece):
                piece = found[1] + "///< " + escaped(found[2])
            yield piece
            continue
        following = pieces[number + 1] if number + 1 < len(pieces) else ""
        text = [escaped(BLOCK.fullmatch(line)[2]).removeprefix("-- ") for line in piece]
        if number == 0 or not following.strip():
            text.insert(0, owner(namespace, inside))
        yield from ("/// " + line for line in text)


with open(sys.argv[1], encoding="utf-8") as header:
    print("\n".join(filtered(header.read().split("\n"))))
