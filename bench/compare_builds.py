#!/usr/bin/python3
"""Two builds of xsddict on the same work, side by side: a change that should cost nothing is
held against the build before it.

    bench/compare_builds.py OLD/xsddict NEW/xsddict [RUNS]

Each case runs both binaries alternately RUNS times (default 21) and gives the medians of their
wall times, then the instructions each executes under callgrind, which repeat exactly whatever
else the machine does: on a shared machine, the instruction ratio is the figure to trust.
"""
import os
import re
import statistics
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
FIXTURES = os.path.join(HERE, '..', 'tests', 'MXF', 'fixtures')
CORPUS = os.path.join(HERE, '..', '..', 'shared', 'mxf-corpus')


def cases():
    fixture = lambda name: os.path.join(FIXTURES, name)
    yield 'mxf --json, OP1a fixture', ['mxf', '--json', fixture('op1a-mpeg2-pcm.mxf')]
    yield 'mxf --json --walk, D-10 fixture', ['mxf', '--json', '--walk', fixture('d10.mxf')]
    yield 'regxml, OP1a fixture', ['regxml', fixture('op1a-mpeg2-pcm.mxf')]
    yield 'report, DNxHR fixture', ['report', fixture('op1a-dnxhr.mxf')]
    yield 'mxf --json -j 1, the fixtures', ['mxf', '--json', '-j', '1', FIXTURES]
    if os.path.isdir(CORPUS):
        yield "mxf --json -j 1, other writers' files", ['mxf', '--json', '-j', '1', CORPUS]
    yield '--help', ['--help']


def wall(binary, args):
    start = time.perf_counter()
    subprocess.run([binary] + args, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.perf_counter() - start


def instructions(binary, args):
    err = subprocess.run(['valgrind', '--tool=callgrind', '--callgrind-out-file=/dev/null', binary]
                         + args, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                         text=True).stderr
    return int(re.search(r'Collected : (\d+)', err).group(1))


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    old, new = sys.argv[1], sys.argv[2]
    runs = int(sys.argv[3]) if len(sys.argv) == 4 else 21
    print(f"{'case':40} {'old ms':>8} {'new ms':>8} {'ratio':>6}   {'old Minstr':>10} "
          f"{'new Minstr':>10} {'ratio':>6}")
    for name, args in cases():
        times = {old: [], new: []}
        for _ in range(runs):
            for binary in (old, new):
                times[binary].append(wall(binary, args))
        before, after = (statistics.median(times[b]) * 1000 for b in (old, new))
        counted = [instructions(b, args) for b in (old, new)]
        print(f'{name:40} {before:8.2f} {after:8.2f} {after / before:6.3f}   '
              f'{counted[0] / 1e6:10.2f} {counted[1] / 1e6:10.2f} {counted[1] / counted[0]:6.3f}')


if __name__ == '__main__':
    main()
