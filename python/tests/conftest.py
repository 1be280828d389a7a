import os
import shutil
import sys

import pytest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
FIXTURES = os.path.join(ROOT, "tests", "MXF", "fixtures")
sys.path.insert(0, os.path.join(ROOT, "examples", "python"))


@pytest.fixture(scope="session")
def xsddict_tool():
    """The inspector of the same build, which the package must agree with."""
    tool = os.environ.get("XSDDICT") or shutil.which("xsddict")
    if not tool:
        pytest.skip("no xsddict program (set XSDDICT)")
    return tool


def fixtures():
    return sorted(os.path.join(FIXTURES, f) for f in os.listdir(FIXTURES) if f.endswith(".mxf"))
