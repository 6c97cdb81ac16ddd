"""screen_page.py: what a program wrote to a terminal, from standard input, as a page that looks like the terminal's last
screen. Knows the escape sequences that the tool writes."""
import html
import re
import sys

STYLES = {"0": None, "1": "b", "2": "d", "31": "r", "33": "y"}
PAGE = """<!doctype html><meta charset="utf-8"><style>
body { margin: 0; background: #1c1d21; color: #d8d9dd; }
pre { margin: 14px 18px; font: 14px/18px "DejaVu Sans Mono", monospace; }
.b { font-weight: bold; color: #fff; } .d { color: #8d9099; } .r { color: #ff7b72; } .y { color: #e3b341; }
</style><pre>%s</pre>
"""

text = sys.stdin.buffer.read().decode(errors="replace").replace("\r", "")
text = text.split("\x1b[?1049l")[0].split("\x1b[H")[-1]
text = re.sub(r"\x1b\[[?0-9]*[hlKJ]", "", text).rstrip("\n")
page = ""
for piece in re.split(r"(\x1b\[[0-9]*m)", text):
    style = re.fullmatch(r"\x1b\[([0-9]*)m", piece)
    if not style:
        page += html.escape(piece)
    elif STYLES[style[1] or "0"]:
        page += '<span class="%s">' % STYLES[style[1]]
    else:
        page += "</span>"
print(PAGE % page)
