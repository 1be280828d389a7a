"""Header metadata edited from Python and written back: in place, to a new file, and from a
RegXML document; what other readers see of the result."""
import fractions
import json
import os
import shutil
import subprocess
import uuid

import pytest

import xsddict
from conftest import FIXTURES, fixtures

SOURCE = os.path.join(FIXTURES, "op1a-mpeg2-pcm.mxf")


def copy(tmp_path, name="a.mxf", source=SOURCE):
    path = tmp_path / name
    shutil.copyfile(source, path)
    return path


def values(header, path):
    set_path, item = path.rsplit("/", 1)
    return [i.value for s in header.sets_named(set_path) for i in s.items if i.name == item]


def essence_and_indexes(path):
    """The bytes of the file's essence, index tables and generic streams, in order."""
    header = xsddict.read(path, walk=True)
    data = open(path, "rb").read()
    kept = b""
    for region in header.walk["regions"]:
        if region["kind"] in ("essence", "indexTable", "genericStream"):
            kept += data[region["offset"]:region["offset"] + region["size"]]
    return kept


def without_offsets(value):
    if isinstance(value, dict):
        return {k: without_offsets(v) for k, v in value.items() if k != "offset"}
    if isinstance(value, list):
        return [without_offsets(v) for v in value]
    return value


def test_a_value_set_and_written_in_place(tmp_path):
    path = copy(tmp_path)
    before = essence_and_indexes(path)
    header = xsddict.read(path)
    assert header.set("Timecode/Start Timecode", 90000) == 2
    assert header.set("Material Package/Package Tracks[0]/Timeline Edit Rate",
                      fractions.Fraction(30000, 1001)) == 1
    assert header.set("Preface/Is RIP Present", True) == 1
    assert values(header, "Timecode/Start Timecode") == [90000, 90000]  # refreshed
    report = xsddict.write(header)
    assert report["moved"] == 0 and report["partitions"] == [0]
    again = xsddict.read(path)
    assert values(again, "Timecode/Start Timecode") == [90000, 90000]
    assert again.set("Preface")["Is RIP Present"] is True
    assert essence_and_indexes(path) == before
    assert os.path.getsize(path) == os.path.getsize(SOURCE)


def test_refusals_are_errors_and_change_nothing(tmp_path):
    path = copy(tmp_path)
    header = xsddict.read(path)
    for path_, value in [("Timecode/Rounded Timecode Timebase", 65536),
                         ("Timecode/Drop Frame", "maybe"), ("Nothing/Start Timecode", 1),
                         ("Timecode/Instance ID", "adab4424-2f25-4dc7-92ff-000c00000099")]:
        with pytest.raises(xsddict.Error):
            header.set(path_, value)
    with pytest.raises(xsddict.Error):
        header.remove("Preface")
    header.set("Identification/Application Name", "x" * 3000)
    with pytest.raises(xsddict.NoRoom) as refused:
        xsddict.write(header)
    assert refused.value.needed == 5545
    assert open(path, "rb").read() == open(SOURCE, "rb").read()


def test_a_new_file_where_the_metadata_needs_more_room(tmp_path):
    header = xsddict.read(SOURCE)
    header.set("Identification/Application Name", "x" * 3000)
    report = xsddict.write(header, tmp_path / "b.mxf")
    assert report["moved"] > 0 and report["moved"] % 512 == 0
    assert essence_and_indexes(tmp_path / "b.mxf") == essence_and_indexes(SOURCE)
    assert values(xsddict.read(tmp_path / "b.mxf"), "Identification/Application Name") == [
        "x" * 3000]
    assert sorted(os.listdir(tmp_path)) == ["b.mxf"]


def test_sets_added_and_removed(tmp_path):
    header = xsddict.read(SOURCE)
    uid = header.add_set("Preface/Identification List", "Identification")
    header.set(f"{uid}/Application Name", "Archive")
    # Written, a set must hold what it requires: the written file has no finding the source had
    # not.
    with pytest.raises(xsddict.Error, match="required"):
        xsddict.write(header, tmp_path / "c.mxf")
    header.set(f"{uid}/Application Supplier Name", "Archive Ltd")
    header.set(f"{uid}/Application Version String", "1.0")
    header.set(f"{uid}/Application Product ID", uuid.UUID(int=7))
    header.set(f"{uid}/Generation ID", uuid.UUID(int=8))
    assert header.remove("Source Package/Package Tracks[0]") == 1
    xsddict.write(header, tmp_path / "c.mxf")
    again = xsddict.read(tmp_path / "c.mxf", walk=True)
    added = [s for s in again.sets if s.instance_uid == uid]
    assert added and added[0]["Application Name"] == "Archive"
    assert len(again.sets_named("Timecode")) == 1
    assert again.findings == []


@pytest.mark.parametrize("path", fixtures(), ids=os.path.basename)
def test_regxml_applied_back_gives_the_same_metadata(tmp_path, path):
    header = xsddict.read(path)
    document = header.to_regxml(partition="auto")
    xsddict.apply(path, document, output=tmp_path / "rt.mxf")
    again = xsddict.read(tmp_path / "rt.mxf")
    assert again.to_regxml(partition="auto") == document
    assert without_offsets(json.loads(again.to_json())["sets"]) == without_offsets(
        json.loads(header.to_json())["sets"])


def test_apply_in_place_from_a_document_file(tmp_path):
    path = copy(tmp_path)
    document = xsddict.read(path).to_regxml().replace(
        "<r1:ApplicationName>OP1a Muxer</r1:ApplicationName>",
        "<r1:ApplicationName>Applied</r1:ApplicationName>")
    (tmp_path / "doc.xml").write_text(document, encoding="utf-8")
    with pytest.raises(ValueError):
        xsddict.apply(path, tmp_path / "doc.xml")
    xsddict.apply(path, tmp_path / "doc.xml", in_place=True)
    assert values(xsddict.read(path), "Identification/Application Name") == ["Applied"]
    with pytest.raises(xsddict.Error):
        xsddict.apply(path, "<r0:Preface>", in_place=True)


def test_other_readers_see_the_edited_values(tmp_path):
    if not shutil.which("ffprobe") or not shutil.which("mediainfo"):
        pytest.skip("no ffprobe or mediainfo")
    path = copy(tmp_path)
    header = xsddict.read(path)
    header.set("Timecode/Start Timecode", 90000)  # 01:00:00:00 at 25 frames a second
    header.set("Identification/Application Name", "Archive copy")
    xsddict.write(header)
    probe = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-show_format", "-of", "json", str(path)],
        capture_output=True, check=True, text=True).stdout)
    tags = probe["format"]["tags"]
    assert tags["product_name"] == "Archive copy"
    assert tags["timecode"] == "01:00:00:00"
    info = json.loads(subprocess.run(["mediainfo", "--Output=JSON", str(path)],
                                     capture_output=True, check=True, text=True).stdout)
    tracks = info["media"]["track"]
    assert tracks[0]["Encoded_Application_Name"] == "Archive copy"
    timecodes = {t.get("TimeCode_Settings"): t.get("TimeCode_FirstFrame") for t in tracks}
    assert timecodes["Material Package"] == timecodes["Source Package"] == "01:00:00:00"


def test_an_edit_cut_short_is_said_and_put_back(tmp_path, xsddict_tool):
    strace = shutil.which("strace")
    if not strace:
        pytest.skip("no strace to cut an edit short")
    path = copy(tmp_path)
    old = path.read_bytes()
    # Killed at its second write: the journal is whole, the first copy half the story.
    subprocess.run([strace, "-f", "-qq", "-o", "/dev/null", "-e", "trace=pwrite64",
                    "-e", "inject=pwrite64:signal=KILL:when=2", xsddict_tool, "set", str(path),
                    "Timecode/Start Timecode=123456", "--in-place"], capture_output=True)
    journal = tmp_path / ".a.mxf.xsddict-journal"
    assert journal.exists()
    finding = xsddict.read(path).findings[0]
    assert (finding.rule, finding.severity) == ("interrupted-edit", "error")
    assert str(journal) in finding.message
    assert xsddict.recover(path) == {"journal": str(journal), "regions": 1}
    assert path.read_bytes() == old and not journal.exists()
    assert xsddict.recover(path) is None
    # Torn, it is refused and left.
    journal.write_bytes(b"xsddict journal1")
    with pytest.raises(xsddict.Error, match="does not verify"):
        xsddict.recover(path)
    assert journal.exists() and path.read_bytes() == old
