"""page_filter.py PAGE: a link to a header leads to what the site says of it, one to a page's heading to the page, whose
headings have other names there."""
import re
import sys

with open(sys.argv[1], encoding="utf-8") as page:
    text = page.read()
text = re.sub(r"\]\([./]*include/tessary/(\w+\.h)\)", r"](@ref \1)", text)
print(re.sub(r"\]\(([\w./]+\.md)#[\w-]+\)", r"](\1)", text), end="")
