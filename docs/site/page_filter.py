"""page_filter.py PAGE: a link to a header leads to what the site says of it."""
import re
import sys

with open(sys.argv[1], encoding="utf-8") as page:
    print(re.sub(r"\]\([./]*include/tessary/(\w+\.h)\)", r"](@ref \1)", page.read()), end="")
