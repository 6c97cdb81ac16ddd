"""check_live_page.py TESSARY TESSARY_BOARD FOLDER [SECONDS [PICTURE]]: Chromium watches the live page for so long.

Figures move, a board that falls silent is marked, what is drawn is what was recorded, and the console stays empty."""
import base64
import json
import os
import signal
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "export"))
from browser import Browser  # noqa: E402
from bench import Bench, until  # noqa: E402

PORT = 19516

# The pixels of the first chart.
DRAWN = "return document.querySelector('#cpu .plot canvas').toDataURL()"
STATES = """return Object.fromEntries([...document.querySelectorAll('#boards li')].map(
    board => [board.querySelector('a').textContent, board.querySelector('.state').textContent]))"""
SUMMARY = """return [...document.querySelectorAll('#summary tr')].map(row => [...row.cells].map(cell => cell.textContent))
    .filter(row => row[0] === 'cpu.load_percent')"""


def check(browser, bench, seconds):
    front, rear = bench.boards
    page = "http://127.0.0.1:%d/?board=front" % bench.port
    browser.command("Network.enable")
    browser.size(1280, 1600, False)
    browser.call("POST", "/url", {"url": page})
    samples = lambda: int(browser.run("return document.documentElement.dataset.samples || '0'"))
    states = lambda: browser.run(STATES)

    until("both boards are up", lambda: states() == {"front": "up", "rear": "up"})
    end = time.monotonic() + seconds
    looks = 0
    while looks < 3 or time.monotonic() < end:
        number, drawn = until("there are samples", samples), browser.run(DRAWN)
        until("figures move", lambda: samples() > number and browser.run(DRAWN) != drawn)
        looks += 1
    if len(sys.argv) > 5:
        browser.command("Emulation.setDeviceMetricsOverride", width=1280, height=900, deviceScaleFactor=1, mobile=False)
        with open(sys.argv[5], "wb") as file:
            file.write(base64.b64decode(browser.command("Page.captureScreenshot", format="png")["data"]))

    rear.signal(signal.SIGSTOP)
    until("the board that hangs is marked", lambda: states() == {"front": "up", "rear": "silent"})
    assert browser.run("return getComputedStyle(document.querySelector('#boards .silent .state')).fontWeight") == "600"
    rear.signal(signal.SIGCONT)
    until("it goes on", lambda: states() == {"front": "up", "rear": "up"})
    front.kill()
    until("the board that is gone is marked", lambda: states() == {"front": "ended", "rear": "up"})
    front.start()
    until("it comes back", lambda: states() == {"front": "up", "rear": "up"})
    number = samples()
    until("and its figures move", lambda: samples() > number + 2)
    front.kill()
    until("it is gone again", lambda: states()["front"] == "ended")

    # What the page has is what is kept, sample by sample.
    lines = [json.loads(line) for line in bench.get("/recording?board=front")[2].splitlines()]
    loads = [line["cpu"]["load_percent"] for line in lines if "load_percent" in line.get("cpu", {})]
    assert sum("schema" in line for line in lines) == 2, "the recording lacks a header"
    row = until("the summary is complete", lambda: [row for row in browser.run(SUMMARY) if int(row[5]) == len(loads)])[0]
    assert row[4] == "%.1f %%" % max(loads) and row[2] == "%.1f %%" % (sum(loads) / len(loads)), row

    requests = [json.loads(entry["message"])["message"] for entry in browser.log("performance")]
    asked = {one["params"]["request"]["url"] for one in requests if one["method"] == "Network.requestWillBeSent"}
    own = "http://127.0.0.1:%d/" % bench.port
    assert all(url.startswith((own, "data:")) for url in asked if not url.startswith("chrome")), "requests: %r" % asked
    console = browser.log("browser")
    assert console == [], "the console: %r" % console
    print("live page: %d samples, %d looks" % (samples(), looks))


with Bench(sys.argv[1], sys.argv[2], sys.argv[3]) as bench:
    bench.board("front", "vx4490p", 100)
    bench.board("rear", "hostile", 100)
    bench.serve()
    for board in bench.boards:
        board.start()
    with tempfile.TemporaryDirectory() as folder:
        browser = Browser(folder, PORT)
        try:
            check(browser, bench, float(sys.argv[4]) if len(sys.argv) > 4 else 0)
        finally:
            browser.close()
