# Type stubs of the xsddict package, for editors and type checkers.
import datetime
import os
import uuid
from fractions import Fraction
from typing import Any, Dict, List, Optional, Union, overload

Value = Union[int, float, str, bool, uuid.UUID, Fraction, datetime.datetime, "Label", bytes,
              List[Any], Dict[str, Any], None]
PathLike = Union[str, "os.PathLike[str]"]

__version__: str

class Error(Exception): ...

class FileRefused(Error):
    rule: str
    offset: int
    message: str
    def __init__(self, rule: str, offset: int, message: str) -> None: ...

class DictionaryError(Error): ...

class NoRoom(Error):
    needed: int
    def __init__(self, message: str, needed: int) -> None: ...

class Label:
    ul: str
    symbol: Optional[str]
    name: Optional[str]
    def __init__(self, ul: str, symbol: Optional[str] = ..., name: Optional[str] = ...) -> None: ...

class Element:
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

class Attribute:
    name: str
    symbol: str
    ul: str
    required: bool
    local_tag: Optional[int]

class SetDefinition:
    key: bytes
    ul: str
    name: str
    symbol: str
    attributes: List[Attribute]
    properties: Dict[str, str]

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

class Item:
    offset: int
    tag: int
    ul: Optional[str]
    name: Optional[str]
    type: Optional[str]
    registered_type: Optional[str]
    size: int
    value: Value
    decoded: bool
    defined_by: Optional[str]
    @property
    def tag_text(self) -> str: ...

class Set:
    offset: int
    key: str
    name: str
    instance_uid: Optional[uuid.UUID]
    depth: int
    parent: Optional[uuid.UUID]
    items: List[Item]
    def __getitem__(self, name: str) -> Value: ...
    def get(self, name: str, default: Any = ...) -> Value: ...

class Finding:
    rule: str
    set_offset: Optional[int]
    set_name: Optional[str]
    tag: Optional[int]
    item: Optional[str]
    message: str
    severity: str

class Header:
    file: str
    size: int
    run_in: int
    partitions: List[Partition]
    sets: List[Set]
    findings: List[Finding]
    walk: Optional[Dict[str, Any]]
    def to_json(self) -> str: ...
    def to_regxml(self, root: Optional[uuid.UUID] = ..., partition: str = ...) -> str: ...
    def to_html(self) -> str: ...
    @overload
    def set(self, name: str) -> Optional[Set]: ...
    @overload
    def set(self, name: str, value: Any) -> int: ...
    def sets_named(self, name: str) -> List[Set]: ...
    def remove(self, path: str) -> int: ...
    def add_set(self, path: str, kind: str) -> uuid.UUID: ...

class Dictionary:
    @classmethod
    def load(cls, path: PathLike, *more: PathLike) -> Dictionary: ...
    @property
    def clashes(self) -> List[str]: ...
    @classmethod
    def builtin(cls) -> Dictionary: ...
    def element(self, label: Union[bytes, str]) -> Optional[Element]: ...
    def element_by_tag(self, tag: Union[int, str]) -> Optional[Element]: ...
    def element_by_name(self, name: str) -> Optional[Element]: ...
    def set(self, key: Union[bytes, str]) -> Optional[SetDefinition]: ...
    def set_by_name(self, name: str) -> Optional[SetDefinition]: ...
    def label(self, label: Union[bytes, str]) -> Optional[Label]: ...
    @property
    def element_count(self) -> int: ...
    @property
    def set_count(self) -> int: ...
    @property
    def type_count(self) -> int: ...
    @property
    def label_count(self) -> int: ...

def read(path: PathLike, dictionary: Optional[Dictionary] = ..., walk: bool = ...) -> Header: ...
def write(header: Header, path: Optional[PathLike] = ...) -> Dict[str, Any]: ...
def recover(path: PathLike) -> Optional[Dict[str, Any]]: ...
def apply(path: PathLike, regxml: Union[str, bytes, PathLike], output: Optional[PathLike] = ...,
          in_place: bool = ..., dictionary: Optional[Dictionary] = ...) -> Dict[str, Any]: ...
