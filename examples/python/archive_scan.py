#!/usr/bin/env python3
"""Reads every MXF file under a directory on a Dask cluster and writes one row per file.

    archive_scan.py DIR [--scheduler tcp://host:8786] [--workers 2] [--format csv|jsonl]
                        [-o OUT]

Without --scheduler a LocalCluster of --workers processes is started on this machine; with it,
the files are read by the cluster's workers, which must see DIR at the same path (a shared
file system) and have the xsddict package installed. Each worker loads the built-in register
dictionary once, on its first file. A row: path, size, operational pattern, duration and edit
rate (of the material package's first picture track, else its first track), tracks, picture
size, codec labels by name, and the rules of the findings; a refused file has its refusal as
its only finding.
"""

import argparse
import csv
import json
import os
import sys
from fractions import Fraction

import xsddict

COLUMNS = ["path", "size", "operational_pattern", "duration", "edit_rate", "tracks",
           "picture_size", "codecs", "findings"]

# The descriptors' codings, by the names the register gives their items.
CODEC_ITEMS = ("Video Coding Scheme ID", "Audio Coding Scheme ID", "Essence Container Format")


def _name(label):
    if isinstance(label, xsddict.Label):
        return label.name or label.ul
    return str(label)


def _children(header, parent):
    return [s for s in header.sets if s.parent == parent.instance_uid]


def summarize(path, header):
    """The row of a file read."""
    row = {"path": path, "size": header.size,
           "operational_pattern": _name(header.partitions[0].operational_pattern)
           if header.partitions else None,
           "duration": None, "edit_rate": None, "tracks": 0, "picture_size": None, "codecs": [],
           "findings": sorted({f.rule for f in header.findings})}
    material = header.set("Material Package")
    if material is not None:
        tracks = [s for s in _children(header, material) if "Track" in s.name]
        row["tracks"] = len(tracks)

        def is_picture(track):
            return any(isinstance(kind, xsddict.Label) and kind.symbol == "PictureEssenceTrack"
                       for kind in (s.get("Component Data Definition")
                                    for s in _children(header, track)))

        chosen = next((t for t in tracks if is_picture(t)), tracks[0] if tracks else None)
        if chosen is not None:
            rate = chosen.get("Timeline Edit Rate")
            row["edit_rate"] = str(rate) if isinstance(rate, Fraction) else None
            segment = next(iter(_children(header, chosen)), None)
            if segment is not None:
                row["duration"] = segment.get("Component Length")
    for s in header.sets:
        width, height = s.get("Stored Width"), s.get("Stored Height")
        if row["picture_size"] is None and isinstance(width, int) and isinstance(height, int):
            row["picture_size"] = f"{width}x{height}"
        for item in CODEC_ITEMS:
            value = s.get(item)
            if value is not None and _name(value) not in row["codecs"]:
                row["codecs"].append(_name(value))
    return row


def scan(path):
    """One file's row, on whichever worker reads it: xsddict.read loads the built-in dictionary
    once per process and keeps it."""
    try:
        return summarize(path, xsddict.read(path))
    except xsddict.FileRefused as refused:
        return {"path": path, "size": os.path.getsize(path), "operational_pattern": None,
                "duration": None, "edit_rate": None, "tracks": 0, "picture_size": None,
                "codecs": [], "findings": [f"refused:{refused.rule}"]}


def mxf_files(folder):
    found = []
    for root, _, names in os.walk(folder):
        found.extend(os.path.join(root, n) for n in names if n.lower().endswith(".mxf"))
    return sorted(found)


def scan_archive(folder, client, partitions=None):
    """Every file's row, in path order, read on the cluster behind the client."""
    import dask.bag as db
    files = mxf_files(folder)
    if not files:
        return []
    bag = db.from_sequence(files, npartitions=partitions or max(1, min(len(files), 64)))
    return bag.map(scan).compute(scheduler=client.get)


def write_rows(rows, out, form):
    if form == "jsonl":
        for row in rows:
            out.write(json.dumps(row) + "\n")
        return
    writer = csv.DictWriter(out, fieldnames=COLUMNS)
    writer.writeheader()
    for row in rows:
        writer.writerow({**row, "codecs": "; ".join(row["codecs"]),
                         "findings": " ".join(row["findings"])})


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder")
    parser.add_argument("--scheduler", help="a dask.distributed scheduler's address")
    parser.add_argument("--workers", type=int, default=2, help="local worker processes")
    parser.add_argument("--format", choices=["csv", "jsonl"], default="csv")
    parser.add_argument("-o", "--output", help="the file to write (default: standard output)")
    args = parser.parse_args(argv)

    from dask.distributed import Client, LocalCluster
    if args.scheduler:
        client = Client(args.scheduler)
        cluster = None
    else:
        cluster = LocalCluster(n_workers=args.workers, threads_per_worker=1, processes=True,
                               dashboard_address=None)
        client = Client(cluster)
    try:
        rows = scan_archive(args.folder, client)
    finally:
        client.close()
        if cluster is not None:
            cluster.close()
    out = open(args.output, "w", newline="") if args.output else sys.stdout
    try:
        write_rows(rows, out, args.format)
    finally:
        if args.output:
            out.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
