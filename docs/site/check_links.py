"""check_links.py SITE: every link of the pages in the tree, and of the site that was made of them, leads somewhere.

In the pages also the paths that stand between backticks, where they begin with one of the tree's folders."""
import html.parser
import pathlib
import re
import subprocess
import sys
import urllib.parse

FOLDERS = ("base", "bench", "cmake", "deploy", "docs", "examples", "include", "scripts", "simulator", "tests", "tools")
failures = []


def slug(heading):
    """The anchor of a heading, as forges make it."""
    return re.sub(r"[^\w\- ]", "", heading.strip().lower()).replace(" ", "-")


def without_code(text):
    return re.sub(r"^```.*?^```", "", text, flags=re.M | re.S)


def anchors(page):
    return {slug(heading) for heading in re.findall(r"^#+ (.*)$", without_code(page.read_text()), re.M)}


def check_page(page):
    text = without_code(page.read_text())
    for link in re.findall(r"\]\(([^)\s]+)\)", text):
        parts = urllib.parse.urlsplit(link)
        if parts.scheme:
            continue
        target = page.parent / parts.path if parts.path else page
        if not target.exists():
            failures.append("%s: %s: no such file" % (page, link))
        elif parts.fragment and parts.fragment not in anchors(target):
            failures.append("%s: %s: no such heading" % (page, link))
    for code in re.findall(r"`([^`\n]+)`", text):
        for path in re.findall(r"^(?:%s)/[\w./-]*" % "|".join(FOLDERS), code):
            if not pathlib.Path(path).exists():
                failures.append("%s: `%s`: no such file" % (page, path))


class Site(html.parser.HTMLParser):
    def __init__(self, page):
        super().__init__()
        self.links = []
        self.names = set()
        self.feed(page.read_text(errors="replace"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name"):
                self.names.add(value)
            elif (tag, name) in (("a", "href"), ("img", "src"), ("link", "href"), ("script", "src")) and value:
                self.links.append(value)


def check_site(folder):
    pages = {page.resolve(): Site(page) for page in folder.rglob("*.html")}
    for page, content in pages.items():
        for link in content.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme:
                continue
            target = (page.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else page
            if not target.exists():
                failures.append("%s: %s: no such file" % (page.name, link))
            elif parts.fragment and target in pages and parts.fragment not in pages[target].names:
                failures.append("%s: %s: no such place" % (page.name, link))
    return len(pages)


listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.md"], check=True,
                        stdout=subprocess.PIPE, text=True).stdout.split()
for name in listed:
    check_page(pathlib.Path(name))
count = check_site(pathlib.Path(sys.argv[1]))
print("\n".join(failures) or "%d pages in the tree, %d of the site: all links lead somewhere" % (len(listed), count))
sys.exit(bool(failures))
