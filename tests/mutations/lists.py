"""The lists of faults: reading them, and checking them against the sources."""
import dataclasses
import os
import pathlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
LISTS = ROOT / "tests/mutations"


@dataclasses.dataclass
class Section:
    """A source file, and the tests that must notice faults in it."""
    file: str
    tests: list  # unit tests, sources
    also: list  # sources to be compiled beside the tests when others include the file
    end_to_end: str = ""  # a filter: tests of the real executable instead
    sweep: str = ""  # a filter: the fault sweep instead
    schedules: bool = False  # every schedule instead
    limit: float = 0  # seconds

    def key(self):
        return (tuple(self.tests), self.end_to_end, self.sweep, self.schedules)

    def touched(self):
        """The sources that a fault in the file changes."""
        others = [*self.tests, *self.also]
        return others if self.file.endswith(".h") or self.also else [self.file]


@dataclasses.dataclass
class Fault:
    section: Section
    list: str
    number: int  # line of the list
    old: str
    new: str
    line: int = 0  # of the source

    def where(self):
        return f"{self.list}:{self.number}"

    def key(self):
        return repr((self.section.file, self.old, self.new, self.section.key()))

    def label(self):
        brief = lambda text: " ".join(text.split())
        return f"{self.section.file}:{self.line}: {brief(self.old)}  ->  {brief(self.new) or '(nothing)'}"


class ListError(Exception):
    pass


def new_section(file):
    beside = pathlib.Path(file)
    beside = beside.with_name(beside.stem + "_test.cpp")
    return Section(file, [str(beside)] if (ROOT / beside).exists() else [], [])


def near(section, names):
    """Sources by their names: beside the section's file, or by their paths from the root."""
    found = []
    for name in names.split():
        beside = pathlib.Path(section.file).parent / name
        found.append(str(beside) if (ROOT / beside).exists() else name)
        if not (ROOT / found[-1]).exists():
            raise ListError(f"there is no {name}")
    return found


def read_list(path):
    faults, section, fault = [], None, None
    for number, line in enumerate(path.read_text().splitlines(), 1):
        word, _, rest = line.partition(" ")
        try:
            if word not in ("-", "+"):
                fault = None
            if not line or word.startswith("#"):
                continue
            if word == "file":
                section = new_section(rest)
            elif word == "tests":
                section.tests = near(section, rest)
            elif word == "also":
                section.also = near(section, rest)
            elif word == "end-to-end":
                section.end_to_end = rest
            elif word == "sweep":
                section.sweep, section.tests = rest or "*", []
            elif word == "schedules":
                section.schedules, section.tests = True, []
            elif word == "-":
                if fault is None or fault.new is not None:
                    fault = Fault(section, path.name, number, rest, None)
                    faults.append(fault)
                else:
                    fault.old += "\n" + rest
            elif word == "+" and fault:
                fault.new = rest if fault.new is None else fault.new + "\n" + rest
            else:
                raise ListError(f"not understood: {line}")
        except ListError as error:
            raise ListError(f"{path.name}:{number}: {error}") from error
    return faults


def error_of(fault, sources):
    """The error in a fault of the list. Without an error, records the place of the fault."""
    file = ROOT / fault.section.file
    if file not in sources:
        sources[file] = file.read_text() if file.exists() else None
    source = sources[file]
    if source is None:
        return f"{fault.where()}: there is no {fault.section.file}"
    if fault.new is None:
        return f"{fault.where()}: says nothing to put in place"
    if source.count(fault.old) != 1:
        return f"{fault.where()}: found {source.count(fault.old)} times: {fault.old}"
    section = fault.section
    if not any((section.tests, section.end_to_end, section.sweep, section.schedules)):
        return f"{fault.where()}: no tests"
    fault.line = source[:source.index(fault.old)].count("\n") + 1
    return None


def read_faults(files):
    """All faults, or those of some source files or lists. Every list has to fit the sources."""
    faults = [fault for path in sorted(LISTS.glob("*.txt")) for fault in read_list(path)]
    sources = {}
    errors = [error for error in (error_of(fault, sources) for fault in faults) if error]
    seen = set()
    for fault in faults:
        if fault.key() in seen:
            errors.append(f"{fault.where()}: listed twice: {fault.old}")
        seen.add(fault.key())
    if errors:
        raise ListError("\n".join(errors))
    names = lambda fault: {fault.section.file, os.path.relpath(LISTS / fault.list, ROOT)}
    unknown = set(files).difference(*map(names, faults))
    if unknown:
        raise ListError(f"no faults for {' '.join(sorted(unknown))}")
    return [fault for fault in faults if not files or names(fault) & set(files)]
