"""Dictionaries of SMPTE registered metadata, and MXF files read through them.

    >>> import xsddict
    >>> header = xsddict.read("clip.mxf")          # with the built-in register dictionary
    >>> header.sets[0].name, header.findings
    ('Preface', [])
    >>> header.set("CDCI Descriptor")["Frame Layout"]
    'FullFrame'

Values come in their natural Python types: int, float, str, bool, uuid.UUID,
fractions.Fraction, datetime.datetime, lists, dicts for records, Label for registered
labels, bytes for what stays raw. Reading releases the GIL, so threads read in parallel.
A file that cannot be read raises FileRefused; a dictionary that does not load,
DictionaryError; both are Errors.
"""

from __future__ import annotations

import os as _os
import datetime as _datetime
import fractions as _fractions
import json as _json
import re as _re
import tempfile as _tempfile
import uuid as _uuid
from dataclasses import dataclass, field
from typing import Any, Dict, List, Optional, Union

__all__ = [
    "Error", "FileRefused", "DictionaryError", "Dictionary", "read", "Header", "Partition",
    "Set", "Item", "Finding", "Label", "Element", "Attribute", "SetDefinition", "__version__",
]


class Error(Exception):
    """Anything the libraries refuse or fail at."""


class FileRefused(Error):
    """A file whose structure cannot be read: the rule broken, the byte where, and why."""

    def __init__(self, rule: str, offset: int, message: str):
        super().__init__(f"{rule} at offset {offset}: {message}")
        self.rule = rule
        self.offset = offset
        self.message = message

    def __reduce__(self):  # survives pickling between processes
        return (FileRefused, (self.rule, self.offset, self.message))


class DictionaryError(Error):
    """A dictionary that does not load: what and why."""


class NoRoom(Error):
    """In place, the header metadata does not fit the room its partition gives it; needed: how
    many bytes more it takes. Nothing was written."""

    def __init__(self, message: str, needed: int):
        super().__init__(message)
        self.needed = needed

    def __reduce__(self):
        return (NoRoom, (str(self), self.needed))


@dataclass(frozen=True)
class Label:
    """A universal label (dotted bytes) with its register symbol and name, where it has them."""
    ul: str
    symbol: Optional[str] = None
    name: Optional[str] = None

    def __str__(self) -> str:
        return self.name or self.ul


@dataclass(frozen=True)
class Element:
    """A registered element of a dictionary."""
    label: bytes
    ul: str
    name: str
    symbol: str
    data_type: Optional[str]
    item_type: Optional[str]
    local_tag: Optional[int]
    type: Optional[str]
    targets: List[str]
    properties: Dict[str, str]


@dataclass(frozen=True)
class Attribute:
    """A member of a set definition."""
    name: str
    symbol: str
    ul: str
    required: bool
    local_tag: Optional[int]


@dataclass(frozen=True)
class SetDefinition:
    """A set of a dictionary and its attributes, inherited ones included."""
    key: bytes
    ul: str
    name: str
    symbol: str
    attributes: List[Attribute]
    properties: Dict[str, str]


@dataclass(frozen=True)
class Partition:
    offset: int
    kind: str
    status: str
    version: str
    kag_size: int
    this_partition: int
    previous_partition: int
    footer_partition: int
    header_byte_count: int
    index_byte_count: int
    index_sid: int
    body_offset: int
    body_sid: int
    operational_pattern: Label
    essence_containers: List[Label]


@dataclass(frozen=True)
class Item:
    """An item of a set: where it is, what the dictionary calls it, and its value."""
    offset: int
    tag: int
    ul: Optional[str]
    name: Optional[str]
    type: Optional[str]
    registered_type: Optional[str]
    size: int
    value: Any
    decoded: bool  # False: value is the bytes as stored
    defined_by: Optional[str] = None  # "file": the file's own metadictionary names and types it

    @property
    def tag_text(self) -> str:
        return f"{self.tag >> 8:02x}.{self.tag & 0xff:02x}"


class Set:
    """A local set of the header metadata, in tree order. Its items are made into Python
    objects when first asked for, so that a program that looks at a few sets of many files
    pays for those."""

    __slots__ = ("offset", "key", "name", "instance_uid", "depth", "parent", "_reading", "_index",
                 "_items")

    def __init__(self, offset: int, key: str, name: str, instance_uid: Optional[Any], depth: int,
                 parent: Optional[Any], reading: Any = None, index: int = 0,
                 items: Optional[List[Item]] = None):
        self.offset, self.key, self.name = offset, key, name
        self.instance_uid, self.depth, self.parent = instance_uid, depth, parent
        self._reading, self._index, self._items = reading, index, items

    @property
    def items(self) -> List[Item]:
        if self._items is None:
            self._items = self._reading.items(self._index)
        return self._items

    def __getitem__(self, name: str) -> Any:
        """The value of the item of this name (or tag text, "3c.0a"); KeyError if none."""
        for item in self.items:
            if item.name == name or item.tag_text == name:
                return item.value
        raise KeyError(name)

    def get(self, name: str, default: Any = None) -> Any:
        try:
            return self[name]
        except KeyError:
            return default

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Set) and (self.offset, self.key, self.instance_uid, self.items) == (
            other.offset, other.key, other.instance_uid, other.items)

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        return f"Set({self.name or self.key} @{self.offset}, {len(self.items)} items)"


@dataclass(frozen=True)
class Finding:
    """Something wrong with a file that could still be read."""
    rule: str
    set_offset: Optional[int]
    set_name: Optional[str]
    tag: Optional[int]
    item: Optional[str]
    message: str
    severity: str = "error"  # "error", "warning" or "info"


_UNSET: Any = object()


def _value_text(value: Any) -> str:
    """A Python value in the text form the library reads values from."""
    if isinstance(value, str):
        return value
    if isinstance(value, bool):
        return "True" if value else "False"
    if isinstance(value, (int, float)):
        return repr(value)
    if isinstance(value, _fractions.Fraction):
        return f"{value.numerator}/{value.denominator}"
    if isinstance(value, _uuid.UUID):
        return value.urn
    if isinstance(value, _datetime.datetime):
        stamp = value.astimezone(_datetime.timezone.utc) if value.tzinfo else value
        return stamp.strftime("%Y-%m-%dT%H:%M:%S.") + f"{stamp.microsecond // 1000:03d}"
    if isinstance(value, Label):
        return value.ul
    return _json.dumps(value, default=_json_default)


def _json_default(value: Any) -> Any:
    if isinstance(value, Label):
        return value.ul
    if isinstance(value, _uuid.UUID):
        return str(value)
    if isinstance(value, _fractions.Fraction):
        return [value.numerator, value.denominator]
    raise TypeError(f"no text form for {type(value).__name__}")


@dataclass
class Header:
    """A file's partitions and header metadata, as read."""
    file: str
    size: int
    run_in: int
    partitions: List[Partition]
    sets: List[Set]
    findings: List[Finding]
    walk: Optional[Dict[str, Any]]
    _reading: Any = field(repr=False, compare=False, default=None)

    def to_json(self) -> str:
        """The document xsddict mxf --json writes for the file."""
        return self._reading.to_json()

    def to_regxml(self, root: Optional[Any] = None, partition: str = "auto") -> str:
        """The header metadata as a RegXML document, the same bytes as `xsddict regxml`; root:
        the InstanceUID (uuid.UUID) of the set to start from, the Preface by default;
        partition: whose header metadata, "auto" (the default: the copy read, which write()
        edits), "header", "footer" or "body"."""
        return self._reading.to_regxml(None if root is None else root.bytes, partition)

    def to_html(self) -> str:
        """The report page `xsddict report` writes for the file: its summary, the map of its
        bytes (its regions where it was read with walk=True, else its partitions), its findings
        and its metadata tree, in one page that stands alone."""
        return self._reading.to_html()

    def set(self, name: str, value: Any = _UNSET) -> Any:
        """With a name only: the first set of this name, in tree order.

        With a value: sets the item a path names (in every set it names) to it, as `xsddict set`
        does, adding the item where a set lacks it, and returns how many items were set. The
        path names sets by name or InstanceUID, then sets below by item or name, "[n]" the n-th,
        and last an item ("Timecode/Start Timecode", "Preface/Identification[0]/Application
        Name"). The value is its text form (as RegXML writes it) or a Python value: bool, int,
        float, Fraction, uuid.UUID, datetime, Label, or a dict or list as the reader gives
        records and lists. Nothing is written to a file until write(). Raises Error when the
        path names no item or the value does not fit its type, changing nothing."""
        if value is _UNSET:
            return next((s for s in self.sets if s.name == name), None)
        count = self._reading.set_item(name, _value_text(value))
        self._refresh()
        return count

    def remove(self, path: str) -> int:
        """Removes the item a path names, or the sets it names with what they hold (and the
        references that held them). Raises Error where another set still refers to them."""
        count = self._reading.remove(path)
        self._refresh()
        return count

    def add_set(self, path: str, kind: str) -> Any:
        """Adds a set of a kind (name or symbol) to the strong-reference item a path names;
        returns its new InstanceUID."""
        uid = self._reading.add_set(path, kind)
        self._refresh()
        return uid

    def _refresh(self) -> None:
        data = self._reading.data()
        self.sets, self.findings = data["sets"], data["findings"]

    def sets_named(self, name: str) -> List[Set]:
        return [s for s in self.sets if s.name == name]


from . import _xsddict  # noqa: E402  (the classes above are what it makes)

__version__ = _xsddict.__version__


def _label_bytes(label: Union[bytes, str]) -> bytes:
    if isinstance(label, bytes):
        return label
    digits = _re.sub(r"^urn:smpte:ul:|[.\-]", "", label.strip().lower())
    if not _re.fullmatch(r"[0-9a-f]{32}", digits):
        raise ValueError(f"not a label: {label!r}")
    return bytes.fromhex(digits)


class Dictionary:
    """A dictionary of registered metadata: elements, sets, their registered types and labels."""

    def __init__(self, handle: Any):
        self._handle = handle

    @classmethod
    def load(cls, path: Union[str, "_os.PathLike[str]"],
             *more: Union[str, "_os.PathLike[str]"]) -> "Dictionary":
        """Loads an XML Schema dictionary or a compiled one (told apart by content).

        Given several, each adds to those before it (a vendor's private register on top of the
        standard one); a "+" before a path keeps the built-in dictionary underneath them all.
        What clashed is in `clashes`.
        """
        if not more and not _os.fspath(path).startswith("+"):
            return cls(_xsddict._Dictionary.load(_os.fspath(path)))
        return cls(_xsddict._Dictionary.stacked([_os.fspath(p) for p in (path, *more)]))

    @property
    def clashes(self) -> List[str]:
        """What a stacked load found defined twice, a line each ("PATH: what")."""
        return list(self._handle.clashes())

    @classmethod
    def builtin(cls) -> "Dictionary":
        """The register dictionary the package carries, loaded once per process."""
        return cls(_xsddict._Dictionary.builtin())

    def element(self, label: Union[bytes, str]) -> Optional[Element]:
        """The element of this label (16 bytes, dotted or URN text), the version byte aside."""
        return self._handle.element(_label_bytes(label))

    def element_by_tag(self, tag: Union[int, str]) -> Optional[Element]:
        """The element of this local tag (0x3c0a or "3c.0a")."""
        if isinstance(tag, str):
            tag = int(tag.replace(".", ""), 16)
        return self._handle.element_by_tag(tag)

    def element_by_name(self, name: str) -> Optional[Element]:
        """The element of this XML tag name ("InstanceID") or name ("Instance ID")."""
        return self._handle.element_by_name(name)

    def set(self, key: Union[bytes, str]) -> Optional[SetDefinition]:
        """The set of this key, the version and group coding bytes aside."""
        return self._handle.set(_label_bytes(key))

    def set_by_name(self, name: str) -> Optional[SetDefinition]:
        return self._handle.set_by_name(name)

    def label(self, label: Union[bytes, str]) -> Optional[Label]:
        """A registered label's symbol and name."""
        return self._handle.label(_label_bytes(label))

    @property
    def element_count(self) -> int:
        return self._handle.counts()[0]

    @property
    def set_count(self) -> int:
        return self._handle.counts()[1]

    @property
    def type_count(self) -> int:
        return self._handle.counts()[2]

    @property
    def label_count(self) -> int:
        return self._handle.counts()[3]

    def __repr__(self) -> str:
        e, s, t, l = self._handle.counts()
        return f"<xsddict.Dictionary: {e} elements, {s} sets, {t} types, {l} labels>"


def write(header: Header, path: Optional[Union[str, "_os.PathLike[str]"]] = None) -> Dict[str, Any]:
    """Writes a header's (edited) metadata: into a new file at path, written whole under a
    temporary name and renamed, essence and index tables copied as they are (moved where the
    metadata needs more room); or, with no path, into the file it was read from, in place,
    where it fits the fill after the metadata (else NoRoom). The file is read back before and
    after it is written. Returns the partitions written, the metadata's bytes, the bytes
    written and how far what follows moved."""
    return header._reading.write("" if path is None else _os.fspath(path))


def apply(path: Union[str, "_os.PathLike[str]"], regxml: Union[str, bytes, "_os.PathLike[str]"],
          output: Optional[Union[str, "_os.PathLike[str]"]] = None, in_place: bool = False,
          dictionary: Optional[Dictionary] = None) -> Dict[str, Any]:
    """Replaces a file's header metadata by a RegXML document's (the document's text, or a path
    to it), as `xsddict apply` does, writing to output or in place (one of the two)."""
    if (output is None) == (not in_place):
        raise ValueError("apply writes to output or in place: give one of them")
    header = read(path, dictionary)
    if isinstance(regxml, (bytes, str)) and (isinstance(regxml, bytes) or
                                               regxml.lstrip().startswith("<")):
        data = regxml if isinstance(regxml, bytes) else regxml.encode("utf-8")
        with _tempfile.NamedTemporaryFile(suffix=".xml") as document:
            document.write(data)
            document.flush()
            header._reading.apply(document.name)
    else:
        header._reading.apply(_os.fspath(regxml))
    return write(header, output)


def recover(path: Union[str, "_os.PathLike[str]"]) -> Optional[Dict[str, Any]]:
    """Puts back an edit in place that was cut short (a kill, a power loss), from the journal it
    left beside the file, as `xsddict recover` does: returns the journal's path and how many
    regions it put back, or None where there was no journal. A journal that does not verify is
    never applied: Error, and the journal is left. A read of such a file has the finding
    interrupted-edit; write() in place recovers first by itself."""
    return _xsddict._recover(_os.fspath(path))


def read(path: Union[str, "_os.PathLike[str]"], dictionary: Optional[Dictionary] = None,
         walk: bool = False) -> Header:
    """Reads an MXF file's partitions and header metadata through the dictionary (the built-in
    one by default). walk: also step through every KLV and check the partitions and index
    tables. Raises FileRefused when the file's structure cannot be read."""
    reading = _xsddict._read(_os.fspath(path), None if dictionary is None else dictionary._handle,
                             walk)
    data = reading.data()
    return Header(data["file"], data["size"], data["run_in"], data["partitions"], data["sets"],
                  data["findings"], data["walk"], reading)
