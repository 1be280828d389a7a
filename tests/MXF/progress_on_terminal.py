#!/usr/bin/env python3
"""A run of many files on a terminal: the progress line never shares a line with the output.

    progress_on_terminal.py XSDDICT FIXTURE WORK

Runs `xsddict mxf -j 1 FOLDER` in a pseudo-terminal (stdout and stderr both on it, as a user
sees them) over copies of one fixture, slowed by --walk, and reads the screen as it is left:
each line's text after its last carriage return. Exit 0 when no line holds both a heading and
the progress, 1 otherwise.
"""
import os
import pty
import re
import shutil
import sys


def main(argv):
    xsddict, fixture, work = argv[1:4]
    folder = os.path.join(work, "progress-on-terminal")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for i in range(400):
        shutil.copyfile(fixture, os.path.join(folder, f"f{i:03}.mxf"))
    chunks = []

    def read(fd):
        data = os.read(fd, 65536)
        chunks.append(data)
        return data

    pty.spawn([xsddict, "mxf", "-j", "1", "--walk", folder], read)
    screen = b"".join(chunks).decode("utf-8", "replace").replace("\r\n", "\n")
    shutil.rmtree(folder)
    lines = [re.sub(r"\x1b\[K", "", line.rsplit("\r", 1)[-1]) for line in screen.split("\n")]
    progress = [line for line in lines if "files/s" in line]
    glued = [line for line in progress if "== " in line or not line.startswith(tuple("0123456789"))]
    headings = [line for line in lines if line.startswith("== ")]
    if len(headings) != 400 or glued:
        print(f"{len(headings)} headings; progress glued to output: {glued[:3]}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
