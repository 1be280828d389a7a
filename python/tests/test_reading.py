"""The package as a script or notebook uses it: dictionaries, reading, values, refusals."""
import datetime
import json
import os
import subprocess
import sys
import threading
import uuid
from concurrent.futures import ThreadPoolExecutor
from fractions import Fraction

import pytest

import xsddict
from conftest import FIXTURES, ROOT, fixtures

MPEG2 = os.path.join(FIXTURES, "op1a-mpeg2-pcm.mxf")


def test_the_builtin_dictionary_answers_lookups_by_label_tag_and_name():
    d = xsddict.Dictionary.builtin()
    assert d is not None and xsddict.Dictionary.builtin()._handle is d._handle  # once a process
    assert (d.element_count, d.set_count, d.type_count, d.label_count) == (3037, 487, 521, 3316)
    by_label = d.element("06.0e.2b.34.01.01.01.01.01.01.15.02.00.00.00.00")
    by_urn = d.element("urn:smpte:ul:060e2b34.01010101.01011502.00000000")
    by_bytes = d.element(bytes.fromhex("060e2b34010101010101150200000000"))
    by_tag = d.element_by_tag("3c.0a")
    assert by_label == by_urn == by_bytes == by_tag == d.element_by_tag(0x3C0A)
    assert by_label.name == "Instance ID" and by_label.symbol == "InstanceID"
    assert by_label.local_tag == 0x3C0A and by_label.data_type == "UUID"
    layout = d.element_by_name("FrameLayout")
    assert layout == d.element_by_name("Frame Layout")
    assert layout.type == "LayoutType" and layout.properties["XMLTagName"] == "FrameLayout"
    preface = d.set_by_name("Preface")
    assert preface == d.set("06.0e.2b.34.02.53.01.01.0d.01.01.01.01.01.2f.00")
    required = [a.symbol for a in preface.attributes if a.required]
    assert "OperationalPattern" in required and "InstanceID" not in required
    assert d.label("06.0e.2b.34.04.01.01.01.0d.01.02.01.01.01.09.00").name.startswith("MXF OP1a")
    assert d.element("06.0e.2b.34.01.01.01.01.0f.0f.0f.0f.0f.0f.0f.0f") is None
    with pytest.raises(ValueError):
        d.element("06.0e.2b")
    with pytest.raises(ValueError):
        d.element_by_tag(0)


def test_dictionaries_load_in_either_form_or_raise_dictionary_error(tmp_path):
    sample = os.path.join(ROOT, "samples", "mxf-header.xsd")
    assert xsddict.Dictionary.load(sample).element_count == 60
    for broken in ("does-not-exist.xsd", "truncated.xsd"):
        path = os.path.join(ROOT, "tests", "MetaMetadata", "Loading", "broken", broken)
        with pytest.raises(xsddict.DictionaryError) as raised:
            xsddict.Dictionary.load(path)
        assert broken in str(raised.value) and isinstance(raised.value, xsddict.Error)
    compiled = tmp_path / "bad.xsdc"
    compiled.write_bytes(b"\x89XSDC\r\n\x1a" + bytes(24))
    with pytest.raises(xsddict.DictionaryError, match="format version 0"):
        xsddict.Dictionary.load(compiled)


def test_values_come_in_their_natural_types():
    header = xsddict.read(MPEG2)
    assert header.findings == [] and header.sets[0].name == "Preface" and header.size == 34873
    preface = header.sets[0]
    assert isinstance(preface["Instance ID"], uuid.UUID)
    assert preface.instance_uid == preface["3c.0a"]
    assert preface["Format Version"] == "1.3"
    assert preface["Operational Pattern UL"].symbol.startswith("MXFOP1a")
    assert [c.symbol for c in preface["Essence Containers"]][0] == "MXFGCFrameWrappedMPEGESVideoStream0SID"
    assert preface["Descriptive Metadata Schemes"] == []
    assert all(isinstance(i, uuid.UUID) for i in preface["Identification List"])
    identification = header.set("Identification")
    assert identification["Application Version Number"] == {
        "Major": 59, "Minor": 27, "Tertiary": 100, "PatchLevel": 0, "BuildType": "VersionUnknown"}
    assert identification["Modification Date-Time"] is None  # ffmpeg's zero timestamp
    assert xsddict._xsddict._timestamp("2024-02-29T23:59:58.996") == datetime.datetime(
        2024, 2, 29, 23, 59, 58, 996000, tzinfo=datetime.timezone.utc)
    assert xsddict._xsddict._timestamp("2023-02-29T00:00:00.000") is None
    track = header.set("Timeline Track")
    assert track["Timeline Edit Rate"] == Fraction(25, 1) and track["Track ID"] == 1
    timecode = header.set("Timecode")
    assert timecode["Drop Frame"] is False and timecode["Start Timecode"] == 900000
    descriptor = header.set("MPEG Video Descriptor")
    assert descriptor["Frame Layout"] == "FullFrame" and descriptor["Video Line Map"] == [0, 0]
    assert descriptor["Presentation Aspect Ratio"] == Fraction(4, 3)
    assert descriptor["Stored Width"] == 64 and descriptor.get("No Such Item", 7) == 7
    package = header.set("Source Package")
    assert isinstance(package["Package ID"], str) and len(package["Package ID"]) == 64
    kinds = {type(i.value) for s in header.sets for i in s.items}
    assert bytes not in kinds  # every item of the fixture decodes
    assert header.partitions[0].kind == "header" and header.partitions[0].kag_size == 512
    assert header.walk is None and xsddict.read(MPEG2, walk=True).walk["klvs"] > 0


def test_to_html_is_the_report_page_and_the_walk_gives_the_files_regions(xsddict_tool):
    for path in fixtures():
        header = xsddict.read(path, walk=True)
        page = subprocess.run([xsddict_tool, "report", path], check=True, capture_output=True,
                              text=True).stdout
        assert header.to_html() == page, path
        regions = header.walk["regions"]
        assert regions[0]["offset"] == 0 and regions[-1]["offset"] + regions[-1]["size"] == \
            os.path.getsize(path)
        assert all(a["offset"] + a["size"] == b["offset"] for a, b in zip(regions, regions[1:]))
        essence = [r for r in regions if r["kind"] == "essence"]
        assert sum(sum(r["track_bytes"].values()) for r in essence) <= header.walk["essence_bytes"]
        numbers = {n for r in essence for n in r["track_bytes"]}
        assert numbers == set(header.walk["essence_track_numbers"]), path
    # Without the walk, the map is drawn from the partitions alone.
    assert 'class="band k-partitionPack"' in xsddict.read(MPEG2).to_html()


def test_to_json_is_what_the_command_writes_and_to_regxml_the_document(xsddict_tool):
    for path in fixtures():
        header = xsddict.read(path)
        written = subprocess.run([xsddict_tool, "mxf", path, "--json"], check=True,
                                 capture_output=True, text=True).stdout
        assert header.to_json() == written, path
        json.loads(header.to_json())
        with open(path[:-4] + ".regxml", encoding="utf-8") as golden:
            assert header.to_regxml() == golden.read(), path
    storage = xsddict.read(MPEG2).set("Content Storage")
    assert xsddict.read(MPEG2).to_regxml(root=storage.instance_uid).splitlines()[1].startswith(
        "<r0:ContentStorage ")


def test_a_refused_file_raises_file_refused_with_its_rule_and_offset(tmp_path):
    data = open(MPEG2, "rb").read()
    cut = tmp_path / "cut.mxf"
    cut.write_bytes(data[:3000])
    with pytest.raises(xsddict.FileRefused) as raised:
        xsddict.read(cut)
    assert (raised.value.rule, raised.value.offset) == ("length-past-end", 2980)
    assert raised.value.message == "a length of 92 bytes where 3 are left"
    assert isinstance(raised.value, xsddict.Error)
    with pytest.raises(xsddict.FileRefused) as missing:
        xsddict.read(tmp_path / "none.mxf")
    assert missing.value.rule == "unreadable"
    with pytest.raises(xsddict.FileRefused, match="no-partition"):
        xsddict.read(os.path.join(ROOT, "README.md"))


def test_no_other_exception_or_crash_comes_out_of_broken_files(tmp_path):
    """Every fixture cut and changed at many places: a reading or a FileRefused, each time."""
    outcomes = {"read": 0, "refused": 0}
    for path in fixtures():
        good = open(path, "rb").read()
        variants = [good[:cut] for cut in range(0, min(len(good), 6000), 331)]
        for at in range(0, min(len(good), 6000), 97):
            changed = bytearray(good)
            changed[at] ^= 0xA5
            variants.append(bytes(changed))
        for n, data in enumerate(variants):
            target = tmp_path / f"v{n}.mxf"
            target.write_bytes(data)
            try:
                header = xsddict.read(target, walk=n % 2 == 1)
                header.to_json()
                header.to_regxml()
                outcomes["read"] += 1
            except xsddict.FileRefused:
                outcomes["refused"] += 1
    assert outcomes["read"] > 100 and outcomes["refused"] > 100


def test_reading_releases_the_gil_so_threads_read_in_parallel():
    files = fixtures() * 20
    alone = [xsddict.read(f).to_json() for f in files]
    with ThreadPoolExecutor(2) as pool:
        together = list(pool.map(lambda f: xsddict.read(f).to_json(), files))
    assert together == alone
    # Whether the load lets go of the GIL, told by order rather than by speed: with a switch
    # interval longer than the test, a thread that kept the GIL through its loads would let
    # this one run again only once it had ended; one that lets go in C++ lets it run while it
    # is still loading.
    started = threading.Event()
    schema = os.path.join(ROOT, "samples", "mxf-header.xsd")

    def load():
        started.set()
        for _ in range(20):
            xsddict.Dictionary.load(schema)

    interval = sys.getswitchinterval()
    sys.setswitchinterval(1000.0)
    try:
        loader = threading.Thread(target=load)
        loader.start()
        started.wait()
        ran_while_loading = loader.is_alive()
        loader.join()
    finally:
        sys.setswitchinterval(interval)
    assert ran_while_loading


def test_each_finding_has_a_severity_and_fail_on_moves_the_exit_status(tmp_path, xsddict_tool):
    original = open(MPEG2, "rb").read()
    identification = xsddict.read(MPEG2).set("Identification")
    key_at = identification.offset

    def patched(at, byte, name):
        data = bytearray(original)
        data[at] = byte
        path = tmp_path / name
        path.write_bytes(bytes(data))
        return str(path)

    # A local set keyed with registry designator 7f: read all the same, with a warning.
    warned = patched(key_at + 5, 0x7F, "warned.mxf")
    findings = xsddict.read(warned).findings
    assert [(f.rule, f.severity) for f in findings] == [("non-conformant-key", "warning")]
    assert xsddict.read(warned).set("Identification")["Application Name"] == "OP1a Muxer"
    # A key the dictionary does not know: only unknown to it, and nothing refers wrongly to it.
    unknown = patched(key_at + 14, 0xEE, "unknown.mxf")
    assert [(f.rule, f.severity) for f in xsddict.read(unknown).findings] == [
        ("unknown-set", "info")]

    def status(path, *options):
        return subprocess.run([xsddict_tool, "mxf", path, *options], capture_output=True,
                              check=False).returncode

    assert [status(warned), status(warned, "--fail-on", "error"),
            status(warned, "--fail-on", "info")] == [3, 0, 3]
    assert [status(unknown), status(unknown, "--fail-on", "warning"),
            status(unknown, "--fail-on", "info")] == [0, 0, 3]
    assert status(unknown, "--fail-on", "everything") == 2


def test_dictionaries_stack_and_say_what_clashed():
    tiny = os.path.join(FIXTURES, "tiny.xsd")
    builtin = xsddict.Dictionary.builtin()
    stacked = xsddict.Dictionary.load("+" + tiny)
    assert stacked.element_count == builtin.element_count + 3  # tiny's own Count, Content, Child
    assert stacked.element("06.0e.2b.34.01.01.01.01.0f.00.00.00.00.00.01.00").name == "Count"
    # The register's Preface stays; tiny's, of three attributes, is a clash.
    assert len(stacked.set_by_name("Preface").attributes) > 3
    assert any(c.startswith(tiny + ": set Preface") for c in stacked.clashes)
    assert xsddict.Dictionary.load(tiny).clashes == []
    with pytest.raises(xsddict.DictionaryError):
        xsddict.Dictionary.load("+" + tiny, os.path.join(FIXTURES, "no-such.xsd"))


def test_what_a_files_metadictionary_defines_is_named_by_it():
    avid = os.path.join(ROOT, "..", "shared", "mxf-corpus", "projectivetech_mxfinfo",
                        "IMG_0395.MOV.A14DC7130D.mxf")
    if not os.path.exists(avid):
        pytest.skip("no corpus of other writers' files beside the project")
    preface = xsddict.read(avid).set("Preface")
    assert preface["ProjectName"] == "Ballerinas_zippy"
    assert preface["ProjectEditRate"] == Fraction(25, 1)
    defined = {i.name: (i.registered_type, i.defined_by) for i in preface.items if i.defined_by}
    assert defined["ProjectName"] == ("UTF16String", "file")
    assert all(i.defined_by is None for i in preface.items if i.name == "Operational Pattern UL")


def test_to_regxml_gives_the_bytes_the_command_writes_of_other_writers_files(xsddict_tool):
    # An open header partition whose metadata differs from the footer's: the copy read (the
    # closed footer's) is written, as the command writes it, unless another is asked for.
    freemxf = os.path.join(ROOT, "..", "shared", "mxf-corpus", "buzz_mediainfo.js",
                           "freeMXF-mxf1.mxf")
    if not os.path.exists(freemxf):
        pytest.skip("no corpus of other writers' files beside the project")
    header = xsddict.read(freemxf)
    for partition in ("header", "footer", "auto"):
        command = subprocess.run([xsddict_tool, "regxml", freemxf, "--partition", partition],
                                 capture_output=True, check=True).stdout.decode()
        assert header.to_regxml(partition=partition) == command, partition
    assert header.to_regxml() == header.to_regxml(partition="footer")
    assert "18:58:47.524Z" in header.to_regxml()      # the closed footer's timestamp
    assert "18:58:47.292Z" in header.to_regxml(partition="header")
    with pytest.raises(ValueError):
        header.to_regxml(partition="middle")
