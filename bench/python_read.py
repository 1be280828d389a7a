#!/usr/bin/env python3
"""Files per second read from Python: xsddict.read on a thread pool of 2 (the GIL released while
it reads), against xsddict mxf --json -j 2 on the same files, and against
pymediainfo.MediaInfo.parse on the same pool.

    python_read.py XSDDICT FIXTURES_DIR [COPIES]

Copies the fixtures COPIES times (100: 1,000 files) into a scratch folder, then runs the three
side by side, 3 interleaved rounds, and prints the median rate of each and the ratios.
"""
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor

import xsddict


def timed(work):
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def main():
    tool, fixtures = sys.argv[1], sys.argv[2]
    copies = int(sys.argv[3]) if len(sys.argv) > 3 else 100
    originals = sorted(os.path.join(fixtures, f) for f in os.listdir(fixtures) if f.endswith(".mxf"))
    folder = tempfile.mkdtemp(prefix="velmar-python-bench-")
    try:
        files = []
        for copy in range(copies):
            for path in originals:
                target = os.path.join(folder, f"{copy:04d}-{os.path.basename(path)}")
                shutil.copy(path, target)
                files.append(target)
        try:
            from pymediainfo import MediaInfo
        except ImportError:
            MediaInfo = None
        xsddict.Dictionary.builtin()  # loaded once, as a long-lived pipeline has it
        if MediaInfo is not None:
            MediaInfo.parse(files[0])

        def ours():
            with ThreadPoolExecutor(2) as pool:
                for header in pool.map(xsddict.read, files):
                    assert header.sets

        def everything():  # every item of every set made into Python objects too
            with ThreadPoolExecutor(2) as pool:
                for header in pool.map(xsddict.read, files):
                    assert all(s.items is not None for s in header.sets)

        def command():
            subprocess.run([tool, "mxf", "--json", "-j", "2", folder], check=True,
                           stdout=subprocess.DEVNULL)

        def theirs():
            with ThreadPoolExecutor(2) as pool:
                for info in pool.map(MediaInfo.parse, files):
                    assert info.tracks

        seconds = {"xsddict.read, 2 threads": [], "xsddict.read, every item made": [],
                   "xsddict mxf --json -j 2": [],
                   "pymediainfo MediaInfo.parse, 2 threads": []}
        for _ in range(3):
            seconds["xsddict.read, 2 threads"].append(timed(ours))
            seconds["xsddict.read, every item made"].append(timed(everything))
            seconds["xsddict mxf --json -j 2"].append(timed(command))
            if MediaInfo is not None:
                seconds["pymediainfo MediaInfo.parse, 2 threads"].append(timed(theirs))
        print(f"\nreading {len(files):,} files from Python (fixtures copied {copies} times), "
              "medians of 3 interleaved rounds:")
        rates = {}
        for name, runs in seconds.items():
            if runs:
                rates[name] = len(files) / statistics.median(runs)
                print(f"  {name:<42} {rates[name]:9.0f} files/s")
        ours_rate = rates["xsddict.read, 2 threads"]
        print(f"  xsddict.read against the command: {ours_rate / rates['xsddict mxf --json -j 2']:.2f}")
        if "pymediainfo MediaInfo.parse, 2 threads" in rates:
            ratio = ours_rate / rates["pymediainfo MediaInfo.parse, 2 threads"]
            print(f"  xsddict.read against pymediainfo: {ratio:.1f} times its files per second "
                  f"(target >= 10: {'met' if ratio >= 10 else 'MISSED'})")
        else:
            print("  (no pymediainfo: nothing to compare with)")
    finally:
        shutil.rmtree(folder)


if __name__ == "__main__":
    main()
