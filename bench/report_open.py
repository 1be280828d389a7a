#!/usr/bin/env python3
"""How light the report pages are: each page's size, and the time headless Chromium takes to
open it (navigation start to the load event, which includes laying out the map and the tree),
for the fixtures and, where the corpus lies beside the project, its files. Targets: under 1 MB
and under a second for every page.

    report_open.py XSDDICT FIXTURES_DIR [CORPUS_DIR]

Each page is opened 3 times, interleaved with the others, and the median is kept; the largest
pages and the slowest are printed, with the worst of each against its target.
"""
import pathlib
import statistics
import subprocess
import sys
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service


def main():
    tool = sys.argv[1]
    sources = [pathlib.Path(p) for p in sys.argv[2:] if pathlib.Path(p).is_dir()]
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1280,900"):
        options.add_argument(argument)
    options.binary_location = "/usr/bin/chromium"
    with tempfile.TemporaryDirectory() as scratch:
        pages = []
        for n, source in enumerate(sources):
            folder = pathlib.Path(scratch) / str(n)
            subprocess.run([tool, "report", "-o", str(folder), str(source)], capture_output=True)
            pages += [p for p in folder.rglob("*.html")]
        driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        times = {p: [] for p in pages}
        try:
            for _ in range(3):
                for page in pages:
                    driver.get(page.as_uri())
                    times[page].append(driver.execute_script(
                        "var t=performance.getEntriesByType('navigation')[0];"
                        "return t.loadEventEnd-t.startTime;"))
        finally:
            driver.quit()
        rows = [(p.stat().st_size, statistics.median(times[p]), p) for p in pages]
        print("%d pages (%s)" % (len(rows), ", ".join(str(s) for s in sources)))
        print("largest:")
        for size, ms, page in sorted(rows, key=lambda r: -r[0])[:3]:
            print("  %8.1f kB  %6.1f ms  %s" % (size / 1000, ms, page.relative_to(scratch)))
        print("slowest to open:")
        for size, ms, page in sorted(rows, key=lambda r: -r[1])[:3]:
            print("  %8.1f kB  %6.1f ms  %s" % (size / 1000, ms, page.relative_to(scratch)))
        largest = max(r[0] for r in rows)
        slowest = max(r[1] for r in rows)
        print("largest page %.3f MB  <= 1.000 %s" % (largest / 1e6, "met" if largest < 1e6 else "MISSED"))
        print("slowest open %.3f s   <= 1.000 %s" % (slowest / 1e3, "met" if slowest < 1e3 else "MISSED"))


if __name__ == "__main__":
    main()
