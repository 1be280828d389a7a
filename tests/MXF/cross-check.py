#!/usr/bin/env python3
"""Compares a reading (xsddict mxf FILE --json) with what two independent readers say of FILE.

    cross-check.py FILE.mxf READING.json

mediainfo --Details=1 prints each header-metadata item at its offset with its value: every item
whose value both print in a comparable form is compared there (integers, rationals, booleans,
strings, identifiers, timestamps, versions, enumerations). ffprobe gives the stream and
identification fields, which are compared with the descriptors, tracks and Identification set.
Prints the counts; exits 1 and lists every difference if there is one. Used when the fixtures
are regenerated, to review a reading before it becomes an expectation. Enumerations come as
their symbols: their numbers, which mediainfo prints, are looked up in the types register
beside this script's project (registers/Types.xml), independently of the dictionary.
"""
import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree as ET
from fractions import Fraction

INTEGERS = {"Int8", "Int16", "Int32", "Int64", "UInt8", "UInt16", "UInt32", "UInt64", "Length",
            "Position"}
LINE = re.compile(r"^([0-9A-F]+)( +)(\S.*)$")
HEADED = re.compile(r"^(.*?) - (.*) \((\d+) bytes\)$")
LEAF = re.compile(r"^([^:]+):\s+(.*)$")


def hexdigits(text):
    if isinstance(text, dict):  # a registered label: {"ul", "symbol", "name"}
        text = text["ul"]
    return re.sub(r"[^0-9a-f]", "", re.sub(r"^0x", "", text.lower()))


def enumeration_values():
    """Every enumeration item's symbol -> its number, from the types register."""
    here = os.path.dirname(os.path.abspath(__file__))
    root = ET.parse(os.path.join(here, "..", "..", "registers", "Types.xml")).getroot()
    values = {}
    for element in root.iter():
        if element.tag.endswith("}Facet"):
            fields = {child.tag.split("}")[1]: child.text for child in element}
            if fields.get("Symbol") and re.fullmatch(r"-?\d+", fields.get("Value") or ""):
                values.setdefault(fields["Symbol"], int(fields["Value"]))
    return values


ENUMERATIONS = enumeration_values()


def mediainfo_items(path):
    """Offset -> (label, value on the item's line or None, the values of the lines under it)."""
    out = subprocess.run(["mediainfo", "--Details=1", path], check=True, capture_output=True,
                         text=True).stdout
    items, current = {}, None
    for line in out.splitlines():
        match = LINE.match(line)
        if not match:
            continue
        offset, depth, text = int(match.group(1), 16), len(match.group(2)) - 1, match.group(3)
        if depth <= 1:
            current = None
        if depth == 1 and offset not in items:
            headed = HEADED.match(text)
            label = headed.group(1) if headed else re.sub(r" \(\d+ bytes\)$", "", text)
            current = items[offset] = (label, headed.group(2) if headed else None, [])
        elif current is not None and depth == 2:
            leaf, headed = LEAF.match(text), HEADED.match(text)
            if leaf and leaf.group(1) not in ("Code", "Length", "Count"):
                current[2].append(leaf.group(2))
            elif headed:
                current[2].append(headed.group(2))
    return items


def compare_item(item, headed, leaves):
    """True or False when comparable, None when the two forms say different things."""
    kind = item["type"]
    value = item["value"] if "value" in item else item.get("hex")  # raw items come as hex
    if kind in ("Array", "Batch"):
        if item["subType"] in ("StrongRef", "UUID", "AUID", "WeakRef") and all(
                len(hexdigits(v)) == 32 for v in leaves):
            return [hexdigits(v) for v in leaves] == [hexdigits(v) for v in value]
        if item["subType"] in INTEGERS and all(re.match(r"-?\d+", v) for v in leaves):
            return [int(re.match(r"-?\d+", v).group()) for v in leaves] == value
        return None
    if kind == "Rational" and headed is None and len(leaves) == 2:
        return [int(re.match(r"-?\d+", v).group()) for v in leaves] == value
    theirs = headed
    if theirs is None:
        if len(leaves) != 1:
            return None
        theirs = leaves[0]
    if kind in INTEGERS:
        if re.fullmatch(r"[0-9A-F]+", theirs) and "Number" in item["name"]:
            return int(theirs, 16) == value  # track numbers are printed in hex
        number = re.match(r"-?\d+", theirs)
        return None if number is None else int(number.group()) == value
    if kind == "Boolean":
        words = {"Yes": True, "No": False, "1 (0x1)": True, "0 (0x0)": False}
        return words[theirs] == value if theirs in words else None
    if kind == "Rational":
        try:
            return abs(float(theirs) - float(Fraction(value[0], value[1]))) < 0.0005
        except (ValueError, ZeroDivisionError):
            return None
    if kind in ("UUID", "StrongRef"):
        return hexdigits(theirs) == hexdigits(value) if len(hexdigits(theirs)) == 32 else None
    if kind in ("AUID", "WeakRef"):
        # mediainfo names the labels it knows; only its hex forms compare.
        return hexdigits(theirs) == hexdigits(value) if re.fullmatch(r"[0-9A-Fa-f.\-]{32,47}",
                                                                      theirs) else None
    if kind == "UMID32":
        # mediainfo prints the material number, the last 16 bytes.
        digits = hexdigits(theirs)
        return hexdigits(value).endswith(digits) if len(digits) == 32 else None
    if kind in ("UTF16String", "UTF8String", "ISO7String", "VersionType"):
        return theirs == value
    if kind == "Timestamp":
        ours = [int(n) for n in re.findall(r"\d+", value)][:6]
        return [int(n) for n in re.findall(r"\d+", theirs)][:6] == ours
    if kind == "Record" and "Version" in item["name"] and isinstance(value, dict):
        fields = [value["Major"], value["Minor"], value["Tertiary"], value["PatchLevel"],
                  ENUMERATIONS.get(value["BuildType"], value["BuildType"])]
        return ".".join(map(str, fields)) == theirs
    if kind == "Enumeration" and re.match(r"\d+", theirs):
        number = ENUMERATIONS.get(value, value)
        return number == int(re.match(r"\d+", theirs).group())
    return None


def ffprobe_checks(path, reading):
    probe = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-show_streams", "-show_format", "-of", "json", path],
        check=True, capture_output=True, text=True).stdout)
    values = {}
    for s in reading["sets"]:
        for item in s["items"]:
            values.setdefault((s["name"], item["name"]), []).append(item.get("value"))

    def ours(set_name, item_name):
        return values.get((set_name, item_name), [])

    checks = []
    tags = probe["format"].get("tags", {})
    for tag, set_name, item_name in [
            ("company_name", "Identification", "Application Supplier Name"),
            ("product_name", "Identification", "Application Name"),
            ("application_platform", "Identification", "Application Platform"),
            ("uid", "Identification", "Instance ID"),
            ("generation_uid", "Identification", "Generation ID"),
            ("product_uid", "Identification", "Application Product ID"),
            ("operational_pattern_ul", "Preface", "Operational Pattern UL"),
            ("material_package_umid", "Material Package", "Package ID")]:
        if tag in tags:
            found = [hexdigits(v if isinstance(v, dict) else str(v))
                     for v in ours(set_name, item_name)]
            wanted = hexdigits(tags[tag]) if tag.endswith(("uid", "_ul", "umid")) else tags[tag]
            checks.append((tag, wanted, found,
                           wanted in found or tags[tag] in ours(set_name, item_name)))
    descriptors = [s for s in reading["sets"] if s["name"].endswith("Descriptor")]
    for stream in probe["streams"]:
        kind = stream["codec_type"]
        fields = {}
        for d in descriptors:  # the stream's own descriptor or, failing that, any
            for item in d["items"]:
                fields.setdefault(item["name"], []).append(item.get("value"))
        if kind == "video":
            checks.append(("width", stream["width"], fields.get("Stored Width"),
                           stream["width"] in fields.get("Stored Width", [])))
            checks.append(("height", stream["height"], fields.get("Stored Height"),
                           stream["height"] in fields.get("Stored Height", []) or
                           stream["height"] // 2 in fields.get("Stored Height", [])))
            rate = Fraction(stream["r_frame_rate"])
            checks.append(("r_frame_rate", str(rate), fields.get("Sample Rate"),
                           any(Fraction(*r) == rate for r in fields.get("Sample Rate", []))))
        elif kind == "audio":
            rate = int(stream["sample_rate"])
            checks.append(("sample_rate", rate, fields.get("Audio Sample Rate"),
                           any(Fraction(*r) == rate for r in fields.get("Audio Sample Rate", []))))
            checks.append(("channels", stream["channels"], fields.get("Channel Count"),
                           stream["channels"] in fields.get("Channel Count", [])))
            bits = stream.get("bits_per_raw_sample") or stream.get("bits_per_sample")
            checks.append(("bits", int(bits), fields.get("Bits Per Audio Sample"),
                           int(bits) in fields.get("Bits Per Audio Sample", [])))
        if "duration_ts" in stream:
            # In seconds: the descriptors' lengths at their sample rates, and the sequences'
            # at the tracks' edit rates.
            seconds = Fraction(stream["duration_ts"]) * Fraction(stream["time_base"])
            ours_seconds = {Fraction(n) / Fraction(*r)
                            for d in descriptors
                            for n in [i.get("value") for i in d["items"]
                                      if i["name"] == "Essence Length"]
                            for r in [i.get("value") for i in d["items"]
                                      if i["name"] == "Sample Rate"]}
            ours_seconds |= {Fraction(n) / Fraction(*r)
                             for n in ours("Sequence", "Component Length")
                             for r in ours("Timeline Track", "Timeline Edit Rate")}
            checks.append(("duration", str(seconds), sorted(map(str, ours_seconds)),
                           seconds in ours_seconds))
        umid = stream.get("tags", {}).get("file_package_umid")
        if umid:
            found = [hexdigits(v) for v in ours("Source Package", "Package ID")]
            checks.append(("file_package_umid", hexdigits(umid), found, hexdigits(umid) in found))
    return checks


def main():
    path, reading_path = sys.argv[1], sys.argv[2]
    with open(reading_path) as f:
        reading = json.load(f)
    theirs = mediainfo_items(path)
    compared, differences, uncompared = 0, [], 0
    for s in reading["sets"]:
        for item in s["items"]:
            if item["offset"] not in theirs:
                uncompared += 1
                continue
            name, text, leaves = theirs[item["offset"]]
            same = compare_item(item, text, leaves)
            if same is None:
                uncompared += 1
                continue
            compared += 1
            if not same:
                differences.append(f"@{item['offset']} {s['name']} / {item['name']}: "
                                   f"{item.get('value', item.get('hex'))!r}, mediainfo {name} = "
                                   f"{text if text is not None else leaves!r}")
    checks = ffprobe_checks(path, reading)
    for field, wanted, found, same in checks:
        if not same:
            differences.append(f"ffprobe {field} = {wanted!r}, reading has {found!r}")
    print(f"{path}: {compared} items equal to mediainfo's ({uncompared} not comparable), "
          f"{sum(1 for c in checks if c[3])} of {len(checks)} ffprobe fields equal")
    for line in differences:
        print("  DIFFERENT " + line)
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main())
