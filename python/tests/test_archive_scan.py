"""The archive example on a LocalCluster of two worker processes: every row as a read in this
process gives it."""
import json
import os
import shutil

import pytest

import xsddict
from conftest import fixtures

archive_scan = pytest.importorskip("archive_scan")
distributed = pytest.importorskip("dask.distributed")


def test_every_row_matches_a_read_in_this_process(tmp_path):
    folder = tmp_path / "archive"
    originals = fixtures()
    for copy in range(30):
        sub = folder / f"reel{copy % 7}"
        sub.mkdir(parents=True, exist_ok=True)
        for path in originals:
            shutil.copy(path, sub / f"{copy:03d}-{os.path.basename(path)}")
    broken = folder / "BROKEN.MXF"  # names in any case; a refusal is a row too
    broken.write_bytes(open(originals[0], "rb").read()[:700])
    output = tmp_path / "rows.jsonl"

    assert archive_scan.main([str(folder), "--workers", "2", "--format", "jsonl",
                              "-o", str(output)]) == 0

    rows = [json.loads(line) for line in output.read_text().splitlines()]
    files = archive_scan.mxf_files(str(folder))
    assert len(files) == 30 * len(originals) + 1 == len(rows)
    assert [row["path"] for row in rows] == files
    for row in rows:
        try:
            expected = archive_scan.summarize(row["path"], xsddict.read(row["path"]))
        except xsddict.FileRefused as refused:
            assert row["findings"] == [f"refused:{refused.rule}"]
            continue
        assert row == json.loads(json.dumps(expected)), row["path"]
    by_name = {os.path.basename(r["path"])[4:]: r for r in rows}
    assert by_name["d10.mxf"]["picture_size"] == "720x304"
    assert by_name["op1a-long.mxf"]["duration"] == 300
    assert by_name["op1a-long.mxf"]["edit_rate"] == "25"
    assert "MPEG-2 MP-ML Long GOP" in by_name["op1a-mpeg2-pcm.mxf"]["codecs"]


def test_rows_go_to_csv_by_default(tmp_path):
    out = tmp_path / "rows.csv"
    rows = [archive_scan.scan(path) for path in fixtures()[:2]]
    with open(out, "w", newline="") as handle:
        archive_scan.write_rows(rows, handle, "csv")
    lines = out.read_text().splitlines()
    assert lines[0] == ",".join(archive_scan.COLUMNS) and len(lines) == 3
