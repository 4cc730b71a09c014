"""Writes the stubs of the compiled module from its signatures and docstrings: `python stubs.py > _core.pyi`.

What pybind11 says of a function in the first line of its docstring is taken for its signature. Arrays are told as
what they are taken from, and as what they are answered as.
"""

import re
import sys
import textwrap
import types
from typing import Any

from zqmanipulator import _core as module

HEADER = '''# Written by python/packaging/stubs.py: change the bindings, and not this file.
import os
from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from typing import Any, ClassVar, NamedTuple, overload

import numpy
from numpy.typing import ArrayLike, NDArray

from ._run import Run

class _Numbers:
    """A property that is set to whatever makes an array."""
    def __get__(self, instance: object, owner: Any = None) -> NDArray[numpy.float64]: ...
    def __set__(self, instance: object, value: ArrayLike) -> None: ...

'''
#: Of methods that pybind11 tells nothing of, or too little.
SIGNATURES = {
    "__eq__": "(self, other: object) -> bool",
    "__hash__": "(self) -> int",
    "__getstate__": "(self) -> object",
    "__setstate__": "(self, state: Any) -> None",
}
ARGUMENTS = [(r"\bnumpy\.ndarray\[[\w.]+\]", "ArrayLike"), (r"\bList\[", "Sequence["), (r"\b(path|meshes): object", r"\1: str | os.PathLike[str]"),
             (r"\bmeshes: Optional\[object\]", "meshes: str | os.PathLike[str] | None"), (r"\blink: handle", "link: str | Link"),
             (r"\btargets: object", "targets: Target | Sequence[Target] | Mapping[str, ArrayLike] | Mapping[Link, ArrayLike]"),
             (r"\bpackages: Optional\[Dict\[str, object\]\]", "packages: Mapping[str, str | os.PathLike[str]] | None"),
             (r": dict\b(?!\[)", ": dict[Any, Any]"), (r"\bIterable\b", "Iterable[str]")]
#: Answers that pybind11 tells too little of.
ANSWERS = {
    "InverseKinematicsAnswer.limits": "dict[str, tuple[str, bool]]",
    "Trajectory.__call__": "TrajectoryPoint",
    "Dynamics.forward_derivatives": "ForwardDerivatives",
    "Dynamics.inverse_derivatives": "InverseDerivatives",
    "Simulation.contacts": "list[Contact]",
    "Simulation.energy": "dict[str, float]",
    "Simulation.fired_criteria": "list[tuple[str, str, float]]",
    "Simulation.limit_hits": "dict[str, float]",
    "Simulation.run": "Run",
}
#: What is added to classes in Python.
ADDED = {
    "Scene": "    def _repr_html_(self) -> str | None: ...\n"
    "    def save_page(self, path: str | os.PathLike[str], title: str = '') -> None: ...\n",
}
RESULTS = [(r"^object$", "Any"), (r"^dict$", "dict[str, Any]"), (r"^list$", "list[Any]"), (r"\bnumpy\.ndarray\[([\w.]+)\]", r"NDArray[\1]"), (r"\bList\[", "list[")]
COMMON = [
    (r"\bzqmanipulator\._core\.", ""),
    (r"\bDict\[", "dict["),
    (r"\bTuple\[", "tuple["),
    (r"\bUnion\[([^\[\]]*)\]", lambda found: " | ".join(part.strip() for part in found[1].split(","))),
    (r"\bdict\b(?!\[)", "dict[Any, Any]"),
    (r"\bOptional\[((?:[^\[\]]|\[[^\[\]]*\])*)\]", r"\1 | None"),
    (r"\bnumpy\.int64\b", "numpy.int64"),
    (r"\*\*kwargs", "**kwargs: Any"),
    (r"= <[^>]*>", "= ..."),
    (r"= inf\b", "= ..."),
]


def translated(text: str, rules: list[Any]) -> str:
    for pattern, replacement in rules + COMMON:
        text = re.sub(pattern, replacement, text)
    return text


def signatures(function: Any) -> list[tuple[str, str]]:
    """What pybind11 tells of each overload: the signature, and the documentation."""
    lines = (function.__doc__ or "").split("\n")
    name = re.escape(function.__name__)
    if len(lines) > 1 and "Overloaded function." in lines[1]:
        lines = [line for line in lines[2:]]
        parts: list[tuple[str, str]] = []
        for line in lines:
            if found := re.match(rf"\d+\. {name}(\(.*)", line):
                parts.append((found[1], ""))
            elif parts:
                parts[-1] = (parts[-1][0], parts[-1][1] + "\n" + line)
        return [(signature, text.strip()) for signature, text in parts]
    if found := re.match(rf"{name}(\(.*)", lines[0]):
        return [(found[1], "\n".join(lines[1:]).strip())]
    return []


def signature_of(text: str, of_class: str | None, answer: str | None = None) -> str:
    arguments, _, result = text.rpartition(" -> ")
    if of_class is not None:
        arguments = re.sub(r"\(self: [\w.]+", "(self", arguments)
    return translated(arguments, ARGUMENTS) + " -> " + (answer or translated(result, RESULTS))


def documented(head: str, text: str, indent: str) -> str:
    if not text:
        return f"{indent}{head}: ...\n"
    text = textwrap.indent('"""' + text + '"""', indent + "    ").replace("\n" + indent + "    \n", "\n\n")
    return f"{indent}{head}:\n{text}\n"


def function_stub(name: str, function: Any, of_class: str | None = None, is_static: bool = False) -> str:
    indent = "    " if of_class else ""
    result = ""
    if of_class is not None and name in SIGNATURES:
        return f"{indent}def {name}{SIGNATURES[name]}: ...\n"
    overloads = signatures(function)
    for signature, text in overloads:
        if len(overloads) > 1:
            result += f"{indent}@overload\n"
        if is_static:
            result += f"{indent}@staticmethod\n"
        head = signature_of(signature, None if is_static else of_class, ANSWERS.get(f"{of_class}.{name}"))
        if name == "__iter__":
            head = "(self) -> Iterator[" + ELEMENTS[of_class or ""] + "]"
        result += documented(f"def {name}{head}", text, indent)
    return result


#: What iteration gives.
ELEMENTS = {"Scene": "Manipulator", "Manipulator": "Link"}


def property_stub(name: str, value: property, of_class: str) -> str:
    found = re.search(r" -> (.*)", (value.fget.__doc__ or "").split("\n")[0])
    result = ANSWERS.get(f"{of_class}.{name}") or translated(found[1] if found else "Any", RESULTS)
    if result.startswith("NDArray") and value.fset is not None:
        return f'    {name}: _Numbers\n    """{value.__doc__ or name}"""\n'
    text = "    @property\n" + documented(f"def {name}(self) -> {result}", value.__doc__ or "", "    ")
    if value.fset is not None:
        taken = re.search(r", (?:arg\d+|\w+): (.*)\) -> ", (value.fset.__doc__ or "").split("\n")[0])
        argument = translated(taken[1] if taken else "Any", ARGUMENTS)
        text += f"    @{name}.setter\n    def {name}(self, value: {argument}) -> None: ...\n"
    return text


def is_enum(value: type) -> bool:
    return hasattr(value, "__members__")


def class_stub(value: type) -> str:
    name = value.__name__
    base = value.__bases__[0]
    inherits = f"({base.__name__})" if base.__module__ in ("builtins", module.__name__) and base is not object and "pybind11" not in base.__name__ else ""
    text = f"class {name}{inherits}:\n"
    if documentation := (value.__doc__ or "").split("\n\nMembers:")[0].strip():
        text += textwrap.indent('"""' + documentation + '"""', "    ").replace("\n    \n", "\n\n") + "\n"
    if issubclass(value, tuple):
        text = text.replace(f"class {name}(tuple):", f"class {name}(NamedTuple):")
        return text + "".join(f"    {field}: Any\n" for field in value._fields)  # type: ignore[attr-defined]
    if is_enum(value):
        for member in value.__members__:  # type: ignore[attr-defined]
            text += f"    {member}: ClassVar[{name}]\n"
        return text + "    @property\n    def name(self) -> str: ...\n    @property\n    def value(self) -> int: ...\n    def __int__(self) -> int: ...\n"
    if issubclass(value, BaseException):
        return text + ("    diagnostics: list[Diagnostic]\n    run: Run\n" if name == "Error" else "    ...\n")
    body = ADDED.get(name, "")
    for member, attribute in sorted(value.__dict__.items()):
        if isinstance(attribute, property):
            body += property_stub(member, attribute, name)
        elif isinstance(attribute, staticmethod):
            body += function_stub(member, attribute.__func__, name, True)
        elif member not in ("__doc__", "__module__", "__new__", "__repr__", "__str__") and callable(attribute):
            body += function_stub(member, getattr(value, member), name)
    return text + (body or "    ...\n")


def stubs() -> str:
    text = HEADER
    names = sorted(name for name in vars(module) if not name.startswith("__") or name == "__version__")
    for name in names:
        value = getattr(module, name)
        if isinstance(value, type):
            text += class_stub(value) + "\n"
        elif callable(value):
            text += function_stub(name, value) + "\n"
        elif not isinstance(value, types.ModuleType):
            text += f"{name}: {type(value).__name__}\n\n"
    return text.rstrip("\n") + "\n"


if __name__ == "__main__":
    sys.stdout.write(stubs())
