#!/usr/bin/env python3
"""Files of other writers read as their reviewed expectations say.

    corpus.py check XSDDICT CORPUS EXPECTATIONS    the test: exit 0 equal, 1 not, 77 no corpus
    corpus.py draft XSDDICT CORPUS EXPECTATIONS    writes a draft of the expectations to review

Each file of the corpus is read with `xsddict mxf --json`, plainly and with --walk: its outcome
(read, or refused with the rule), its findings counted by severity, rule, set and item, and a
handful of values. A draft keeps only the values that MediaInfo reads alike (the writer's
names, picture size, sample rate, channels, operational pattern); it is then reviewed, and the
reason each remaining finding is right (or what the file's bytes show) is written beside it.
"""
import json
import os
import subprocess
import sys

SKIP = 77


def read(xsddict, path, walk):
    command = [xsddict, "mxf", "--json", path] + (["--walk"] if walk else [])
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode not in (0, 3, 4):
        raise SystemExit(f"{' '.join(command)}: exit {done.returncode}\n{done.stderr}")
    return json.loads(done.stdout)


def outcome(document):
    refused = document.get("refused")
    return f"refused {refused['rule']}" if refused else "read"


def findings(document):
    counted = {}
    for f in document.get("findings", []):
        where = "/".join(part for part in (f["setName"], f["item"]) if part)
        line = f"{f['severity']} {f['rule']}" + (f" {where}" if where else "")
        counted[line] = counted.get(line, 0) + 1
    return dict(sorted(counted.items()))


def value(document, path):
    """The JSON of the first item of this name in the first set of this name: "Set/Item"."""
    set_name, item_name = path.split("/", 1)
    for s in document.get("sets", []):
        if s["name"] == set_name:
            for item in s["items"]:
                if item["name"] == item_name and "value" in item:
                    return json.dumps(item["value"])
    return None


def actual(xsddict, corpus, relative):
    path = os.path.join(corpus, relative)
    plain, walked = read(xsddict, path, False), read(xsddict, path, True)
    return plain, {
        "outcome": outcome(plain),
        "walkOutcome": outcome(walked),
        "findings": findings(plain),
        "walkFindings": findings(walked),
    }


def mxf_files(corpus):
    found = []
    for folder, _, names in os.walk(corpus):
        found += [os.path.relpath(os.path.join(folder, n), corpus)
                  for n in names if n.lower().endswith(".mxf")]
    return sorted(found)


def check(xsddict, corpus, expectations_path):
    if not os.path.isdir(corpus):
        print(f"skipped: no corpus of other writers' files at {corpus}")
        return SKIP
    with open(expectations_path, encoding="utf-8") as f:
        expectations = json.load(f)
    failures = []
    files = mxf_files(corpus)
    for relative in sorted(set(files) | set(expectations)):
        expected = expectations.get(relative)
        if expected is None:
            failures.append(f"{relative}: no reviewed expectation")
            continue
        if relative not in files:
            failures.append(f"{relative}: expected, but not in the corpus")
            continue
        plain, got = actual(xsddict, corpus, relative)
        for key in ("outcome", "walkOutcome", "findings", "walkFindings"):
            if got[key] != expected[key]:
                failures.append(f"{relative}: {key}\n  expected {json.dumps(expected[key])}\n"
                                f"  got      {json.dumps(got[key])}")
        for path, wanted in expected.get("values", {}).items():
            if value(plain, path) != wanted:
                failures.append(f"{relative}: {path} is {value(plain, path)}, not {wanted}")
        # A finding of error severity needs its reason written down.
        errors = [line for line in {**got["findings"], **got["walkFindings"]}
                  if line.startswith("error ")]
        if errors and not expected.get("why"):
            failures.append(f"{relative}: errors {errors} with no reason given")
    for failure in failures:
        print(failure)
    print(f"{len(files)} files, {len(failures)} differences")
    return 1 if failures else 0


def mediainfo(path):
    done = subprocess.run(["mediainfo", "--Output=JSON", path], capture_output=True, text=True,
                          check=False)
    try:
        return json.loads(done.stdout)["media"]["track"]
    except (ValueError, KeyError, TypeError):
        return []


def agreeing_values(plain, tracks):
    """Values of ours that MediaInfo gives alike."""
    general = next((t for t in tracks if t.get("@type") == "General"), {})
    pairs = [("Identification/Application Supplier Name", general.get("Encoded_Application_CompanyName")),
             ("Identification/Application Name", general.get("Encoded_Application_Name"))]
    for t in tracks:
        if t.get("@type") == "Video" and "Width" in t:
            for name in ("RGBA Descriptor", "CDCI Descriptor", "JPEG 2000 Picture Sub-Descriptor",
                         "MPEG Video Descriptor"):
                pairs.append((f"{name}/Stored Width", t["Width"]))
                pairs.append((f"{name}/Stored Height", t["Height"]))
        if t.get("@type") == "Audio":
            for name in ("WAVE PCM Descriptor", "AES3 PCM Descriptor"):
                if "SamplingRate" in t:
                    pairs.append((f"{name}/Audio Sample Rate", f"[{t['SamplingRate']}, 1]"))
                if "Channels" in t:
                    pairs.append((f"{name}/Channel Count", t["Channels"]))
    values = {}
    for path, theirs in pairs:
        if theirs is None:
            continue
        ours = value(plain, path)
        if ours is not None and (ours == theirs or ours == json.dumps(theirs)):
            values[path] = ours
    profile = general.get("Format_Profile", "")
    op = next((p.get("operationalPattern") for p in plain.get("partitions", [])), None)
    if op and profile:
        values["Preface/Operational Pattern UL"] = value(plain, "Preface/Operational Pattern UL")
    return values


def draft(xsddict, corpus, expectations_path):
    old = {}
    if os.path.exists(expectations_path):
        with open(expectations_path, encoding="utf-8") as f:
            old = json.load(f)
    out = {}
    for relative in mxf_files(corpus):
        plain, got = actual(xsddict, corpus, relative)
        got["values"] = agreeing_values(plain, mediainfo(os.path.join(corpus, relative)))
        got["why"] = old.get(relative, {}).get("why", "")
        out[relative] = got
    with open(expectations_path, "w", encoding="utf-8") as f:
        json.dump(out, f, indent=1, ensure_ascii=False)
        f.write("\n")
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 5 or sys.argv[1] not in ("check", "draft"):
        print(__doc__)
        sys.exit(2)
    sys.exit((check if sys.argv[1] == "check" else draft)(*sys.argv[2:]))
