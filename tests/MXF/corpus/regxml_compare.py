#!/usr/bin/env python3
"""RegXML of the corpus against a reference implementation's renderings, element by element.

    regxml_compare.py XSDDICT DICTIONARY CORPUS [FILE...]

Each rendering in CORPUS/regxml/ is compared with `xsddict regxml FILE --dictionary DICTIONARY
--partition header` for the file it was made from (the reference renders the header partition's
copy, which is ours by default only where that copy is closed and complete): every element of the rendering, in document order, must be in
ours at the same place with the same name (namespace and local name), text and attributes
(namespace-qualified; the baseline namespace, the writer's own, is compared by local name);
comments aside. Where the reference drops what it cannot read, ours may hold more: elements of
ours with no counterpart are allowed only where the reference has no element at that place.
Exit 0 when every rendering is matched, 1 otherwise, 77 when there is no corpus.
"""
import os
import subprocess
import sys
import xml.etree.ElementTree as ET

SKIP = 77


def key(element, baseline):
    tag = element.tag
    return tag


def attributes(element):
    out = {}
    for name, value in element.attrib.items():
        # The baseline namespace is each writer's own: compare its attributes by local name.
        local = name.split("}", 1)[1] if name.startswith("{") else name
        out[local] = value
    return out


def text(element):
    # Indentation around children (or around comments, which are not compared) is no text.
    value = element.text or ""
    return "" if len(element) or not value.strip() and "\n" in value else value


def compare(ours, theirs, path, differences):
    """Every child of theirs must be matched, in order, by a child of ours."""
    if ours.tag != theirs.tag:
        differences.append(f"{path}: element {theirs.tag} where ours is {ours.tag}")
        return 1
    count = 1
    # Text beside a comment is indented like children: compared without its surrounding blanks.
    if text(ours).strip() != text(theirs).strip() or (
            "\n" not in text(ours) + text(theirs) and text(ours) != text(theirs)):
        differences.append(f"{path}/{local(theirs)}: text {text(theirs)!r} where ours is {text(ours)!r}")
    if attributes(ours) != attributes(theirs):
        differences.append(f"{path}/{local(theirs)}: attributes {attributes(theirs)} where ours are "
                           f"{attributes(ours)}")
    mine = list(ours)
    at = 0
    for child in theirs:
        # Ours may hold elements the reference dropped: skip those that cannot be its match.
        start = at
        while at < len(mine) and mine[at].tag != child.tag:
            at += 1
        if at == len(mine):
            differences.append(f"{path}/{local(theirs)}: no {child.tag} in ours")
            count += sum(1 for _ in child.iter())
            at = start
            continue
        count += compare(mine[at], child, f"{path}/{local(theirs)}", differences)
        at += 1
    return count


def local(element):
    return element.tag.split("}", 1)[-1]


def main(argv):
    if len(argv) < 4:
        print(__doc__)
        return 2
    xsddict, dictionary, corpus = argv[1:4]
    renderings = os.path.join(corpus, "regxml")
    if not os.path.isdir(renderings):
        print(f"skipped: no renderings at {renderings}")
        return SKIP
    wanted = set(argv[4:])
    failed = 0
    total_elements = total_differences = 0
    for folder, _, names in sorted(os.walk(renderings)):
        for name in sorted(names):
            reference = os.path.join(folder, name)
            relative = os.path.relpath(reference, renderings)[:-len(".xml")] + ".mxf"
            if wanted and relative not in wanted:
                continue
            done = subprocess.run([xsddict, "regxml", os.path.join(corpus, relative),
                                   "--dictionary", dictionary, "--partition", "header"], capture_output=True, check=False)
            if done.returncode not in (0, 3):
                print(f"{relative}: exit {done.returncode}: {done.stderr.decode(errors='replace')}")
                failed += 1
                continue
            differences = []
            elements = compare(ET.fromstring(done.stdout), ET.parse(reference).getroot(), "",
                               differences)
            total_elements += elements
            total_differences += len(differences)
            status = "equal" if not differences else f"{len(differences)} differences"
            print(f"{relative}: {elements} elements, {status}")
            for difference in differences[:int(os.environ.get("SHOW", "5"))]:
                print(f"  {difference}")
            failed += bool(differences)
    print(f"{total_elements} elements, {total_differences} differences, {failed} files not equal")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
