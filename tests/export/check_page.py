"""check_page.py RECORDING PAGE [PICTURES]: Chromium opens the page from its file, and draws what the recording holds.

With a folder for PICTURES it also leaves screenshots there: light and dark, 1280 and 400 wide."""
import base64
import json
import os
import sys
import tempfile

from browser import Browser
from recording import Recording

PORT = 19515

# The columns of a section's first chart in which something other than the ground and the grid is drawn, from the
# first to the last: grey has no ink.
INKED = """
const canvas = document.querySelector('#' + arguments[0] + ' .plot canvas');
const {width, height} = canvas;
const pixels = canvas.getContext('2d').getImageData(0, 0, width, height).data;
const inked = [];
for (let x = 0; x < width; ++x) {
  let any = false;
  for (let y = 0; y < height && !any; ++y) {
    const at = 4 * (y * width + x);
    const [red, green, blue, alpha] = pixels.slice(at, at + 4);
    any = alpha > 60 && Math.max(red, green, blue) - Math.min(red, green, blue) > 60;
  }
  inked.push(any);
}
return [inked.indexOf(true), inked.slice(inked.indexOf(true), inked.lastIndexOf(true) + 1)];
"""

# Where the cursor has to be for a moment of a section's first chart.
MOVE = """
const plot = document.querySelector('#' + arguments[0] + ' .plot');
plot.scrollIntoView({block: 'center'});
const box = plot.querySelector('canvas').getBoundingClientRect();
return [box.left, box.top];
"""


def pictures(browser, folder):
    browser.run("scrollTo(0, 0)")
    for width, height in ((1280, 1600), (400, 1400)):
        for dark in (False, True):
            browser.size(width, height, dark)
            shot = browser.command("Page.captureScreenshot", format="png")["data"]
            name = "page-%d-%s.png" % (width, "dark" if dark else "light")
            with open(os.path.join(folder, name), "wb") as file:
                file.write(base64.b64decode(shot))


recording = Recording(sys.argv[1])
page = "file://" + os.path.abspath(sys.argv[2])
with tempfile.TemporaryDirectory() as folder:
    browser = Browser(folder, PORT)
    try:
        browser.command("Network.enable")
        browser.size(1280, 1600, False)
        browser.call("POST", "/url", {"url": page})
        assert browser.run("return document.documentElement.dataset.ready") == "yes", "the page's script did not end"

        requests = [json.loads(entry["message"])["message"] for entry in browser.log("performance")]
        asked = [one["params"]["request"]["url"] for one in requests
                 if one["method"] == "Network.requestWillBeSent" and one["params"]["documentURL"] == page]
        assert asked == [page], "requests: %r" % asked
        assert browser.log("browser") == [], "the console is not empty"
        elements = browser.run("return [...document.querySelectorAll('img, iframe, object')].length")
        assert elements == 0, "a name became an element"

        measured = {}
        for figure in recording.figures():
            if figure.is_measured and figure.is_number:
                measured.setdefault((figure.key, figure.item), []).append(figure.value)
        rows = browser.run("return [...document.querySelectorAll('#summary tr')]"
                           ".map(row => [...row.cells].map(cell => cell.textContent))")
        shown = {(row[0], row[1]): (int(row[5]), int(row[6])) for row in rows}
        assert shown.keys() == measured.keys(), "figures: %r" % (shown.keys() ^ measured.keys())
        for key, values in measured.items():
            assert shown[key] == (len(values), len(recording.samples) - len(values)), "%r: %r" % (key, shown[key])
        sections = [section for section in recording.header["monitors"]
                    if any(key.startswith(section + ".") for key, _ in measured)]
        for section in sections:
            drawn = browser.run("return document.querySelectorAll('#' + arguments[0] + ' canvas').length", section)
            assert drawn > 0, "no chart of " + section

        # A gap is a gap, and the cursor says why.
        gap = [number for number, sample in enumerate(recording.samples) if "used_kib" not in sample["memory"]]
        assert gap, "the recording lacks a gap"
        start, inked = browser.run(INKED, "memory")
        last = len(recording.samples) - 1
        first = [number for number in gap if number - gap[0] < 2]  # of those that follow each other
        middle = sum(first) / len(first) / last
        assert inked[round(0.5 * len(inked))], "nothing is drawn"
        assert not inked[round(middle * len(inked))], "the gap is drawn over"
        left, top = browser.run(MOVE, "memory")
        pointer = {"type": "pointer", "id": "mouse", "actions": [
            {"type": "pointerMove", "duration": 0, "x": round(left + start + middle * len(inked)), "y": round(top + 40)}]}
        browser.call("POST", "/actions", {"actions": [pointer]})
        said = browser.run("return document.querySelector('#memory .gaps').textContent")
        reason = recording.samples[gap[0]]["memory"]["errors"][0]["error"]
        assert reason in said, "at the gap the page says %r" % said
        assert "not read" in browser.run("return document.querySelector('#memory .keys .value').textContent")
        if len(sys.argv) > 3:
            pictures(browser, sys.argv[3])
        print("page: %d figures, %d charts" % (len(shown), browser.run(
            "return document.querySelectorAll('.chart').length")))
    finally:
        browser.close()
