#!/usr/bin/env python3
"""Every example the help and the README give, run as a user would type it.

    examples.py XSDDICT README FIXTURES DICTIONARY_XSD [REGISTERS]

The examples are the lines under "examples:" in `xsddict help COMMAND` for every command, the
path the global help gives in its prose, and the README's shell lines that start with
`xsddict` and hold no metasyntax ([options], A|B, ...). Each runs in a scratch folder where the
names they use stand for real things: file.mxf and FILE.mxf a fixture, archive/ and DIR a
folder of fixtures, registers.xsd the built-in dictionary's schema, registers/ the register
snapshots (the import example is skipped without them). A URL fetched is the fixture read, an
edit by hand is none, and the example's made-up InstanceUID is one the fixture holds. Each
must exit 0. Exit 0 when all do, 1 otherwise.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

FIXTURE = "op1a-mpeg2-pcm.mxf"
# What the examples name that a scratch folder has to hold (left) and what stands for it.
NAMES = [
    (r"\bFILE\.mxf\b", "file.mxf"),
    (r"\bFILE\.xsdc\b", "registers.xsdc"),
    (r"\bFILE\.xsd\b", "registers.xsd"),
    (r"\bmy\.xsdc\b", "registers.xsdc"),
    (r"\bFILE\.html\b", "file.html"),
    (r"\bFILE\.xml\b", "file.xml"),
    (r"\bOUT\.mxf\b", "out.mxf"),
    (r"import-registers DIR\b", "import-registers registers"),
    (r"(?<![\w/])DIR\b", "archive"),
    (r"curl -s \S+", "cat file.mxf"),
    (r"\(edit file\.xml\)", "true"),
]


def help_examples(xsddict):
    commands = []
    usage = subprocess.run([xsddict, "--help"], capture_output=True, text=True).stdout
    for line in usage.splitlines():
        found = re.match(r"^  ([a-z][a-z-]+) ", line)
        if found and found.group(1) not in commands and found.group(1) != "help":
            commands.append(found.group(1))
    examples = []
    for command in commands:
        text = subprocess.run([xsddict, "help", command], capture_output=True, text=True).stdout
        below = text.split("examples:\n", 1)
        if len(below) == 2:
            examples += [("help " + command, line.strip()) for line in below[1].splitlines()
                         if line.startswith("  ")]
    # The path the global help gives in its prose, set as its own example would set it.
    for path in re.findall(r"'([A-Z][^'=]*/[^'=]*=[^']*)'", usage.replace("\n", " ")):
        path = re.sub(r"\s+", " ", path.replace("  ", ""))
        examples.append(("--help", f"xsddict set file.mxf '{path}' -o prose.mxf"))
    return commands, examples


def readme_examples(readme):
    examples = []
    inside = False
    block = 0
    with open(readme, encoding="utf-8") as text:
        for line in text:
            if line.startswith("```"):
                inside = line.strip() == "```sh"
                block += 1
                continue
            command = line.split("  #", 1)[0].strip()
            if inside and command.startswith("xsddict ") and not re.search(
                    r"\[|\.\.\.|\b(WHAT|COMMAND|OUT/)\b|\|[a-z]+\||\bDOC\.xml\|", command):
                examples.append((f"README block {block}", command))
    return examples


def scratch_folder(fixtures, dictionary, registers, xsddict):
    folder = tempfile.mkdtemp(prefix="xsddict-examples-")
    shutil.copyfile(os.path.join(fixtures, FIXTURE), os.path.join(folder, "file.mxf"))
    shutil.copyfile(os.path.join(fixtures, "d10.mxf"), os.path.join(folder, "more.mxf"))
    os.makedirs(os.path.join(folder, "archive", "deeper"))
    shutil.copyfile(os.path.join(fixtures, "op1a-dv.mxf"), os.path.join(folder, "archive", "dv.mxf"))
    shutil.copyfile(os.path.join(fixtures, "opatom-audio.mxf"),
                    os.path.join(folder, "archive", "deeper", "audio.mxf"))
    shutil.copyfile(os.path.join(fixtures, "tiny.xsd"), os.path.join(folder, "vendor.xsd"))
    shutil.copyfile(dictionary, os.path.join(folder, "registers.xsd"))
    subprocess.run([xsddict, "compile", "registers.xsd", "-o", "registers.xsdc"], cwd=folder,
                   check=True, capture_output=True)
    if registers:
        os.symlink(os.path.abspath(registers), os.path.join(folder, "registers"))
    return folder


def instance_uid(xsddict, folder):
    out = subprocess.run([xsddict, "mxf", "file.mxf"], cwd=folder, capture_output=True,
                         text=True).stdout
    return re.search(r"Identification @\d+\n\s+3c\.0a Instance ID \(UUID\) = \"([0-9a-f-]+)\"",
                     out).group(1)


def main(argv):
    xsddict, readme, fixtures, dictionary = (os.path.abspath(a) for a in argv[1:5])
    registers = argv[5] if len(argv) > 5 and os.path.isdir(argv[5]) else None
    commands, examples = help_examples(xsddict)
    examples += readme_examples(readme)
    failed = 0
    ran = 0
    # Examples of one place run in order in one folder: a README block may write a document
    # that its next line applies.
    groups = {}
    for where, example in examples:
        groups.setdefault(where, []).append(example)
    bin_folder = os.path.dirname(xsddict)
    env = dict(os.environ, PATH=bin_folder + os.pathsep + os.environ.get("PATH", ""))
    for where, group in groups.items():
        folder = scratch_folder(fixtures, dictionary, registers, xsddict)
        uid = instance_uid(xsddict, folder)
        try:
            for example in group:
                command = example
                for pattern, name in NAMES:
                    command = re.sub(pattern, name, command)
                if "import-registers" in command and not registers:
                    print(f"skipped (no register snapshots): {example}")
                    continue
                command = command.replace("0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", uid)
                done = subprocess.run(["/bin/sh", "-c", "set -e; " + command], cwd=folder,
                                      env=env, capture_output=True, text=True, timeout=600)
                ran += 1
                if done.returncode != 0:
                    failed += 1
                    print(f"{where}: {example}\n  as run: {command}\n  exit {done.returncode}: "
                          f"{done.stderr.strip()[:500]}")
        finally:
            shutil.rmtree(folder)
    # Every command's help gives at least one example.
    for command in commands:
        if not any(where == "help " + command for where, _ in examples):
            failed += 1
            print(f"xsddict help {command} gives no example")
    print(f"{ran} examples run, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
