#!/usr/bin/env -S python3 -B
"""Holds documents against the tree: the map in README.md and the table of scripts in CONTRIBUTING.md
name everything that there is and nothing else, and the paths that documents name exist."""
import re
import sys

import tree


def code(text):
    return [span for block in text.split("\n\n") for span in tree.CODE.findall(block)]


def first_cells(document, heading):
    """The first cells of the first table below a heading."""
    section = re.split(r"^## ", tree.prose(document), flags=re.M)
    section = next((part for part in section if part.startswith(heading + "\n")), "")
    table = re.search(r"(?:^\|.*\n)+", section, re.M)
    if not table:
        sys.exit(f"check_map: {document} has no table below {heading}")
    return [row.split("|")[1] for row in table[0].splitlines()[2:]]


def to_be_mapped():
    """Directories at the top, programs and libraries, kinds of test, documents; a path below one
    will do for a directory."""
    for name in tree.files():
        parts = name.split("/")
        if len(parts) > 1:
            yield parts[0] + "/"
        if parts[0] == "src" and len(parts) > 3:
            yield "/".join(parts[:3]) + "/"
        if parts[0] == "tests" and len(parts) > 2:
            yield "/".join(parts[:2]) + "/"
        if name.endswith(".md") and name != "README.md" and parts[0] in (name, "docs"):
            yield name


def map_faults():
    mapped = [path for cell in first_cells("README.md", "Map of the tree") for path in code(cell)]
    for path in mapped:
        if not tree.exists(path):
            yield f"README.md: the map names {path}, which does not exist"
    for wanted in sorted(set(to_be_mapped())):
        if not any(path == wanted or (wanted.endswith("/") and path.startswith(wanted))
                   for path in mapped):
            yield f"README.md: {wanted} is missing in the map"


def script_faults():
    named = {code(cell)[0].split()[0] for cell in first_cells("CONTRIBUTING.md", "The scripts")}
    present = {name for name in tree.files() if re.fullmatch(r"script/[^/]*", name)}
    for name in sorted(named - present):
        yield f"CONTRIBUTING.md: the table names {name}, which does not exist"
    for name in sorted(present - named):
        yield f"CONTRIBUTING.md: {name} is missing in the table of scripts"


def path_faults():
    """Whatever begins with a directory of the tree is a path."""
    tops = "|".join(re.escape(top) for top in {n.split("/")[0] for n in tree.files() if "/" in n})
    for name in tree.documents():
        for span in code(tree.prose(name)):
            path = re.match(rf"({tops})/[\w./-]*", span)
            if path and not tree.exists(path[0]):
                yield f"{name}: {path[0]} does not exist"


def main():
    faults = [*map_faults(), *script_faults(), *path_faults()]
    print("\n".join(faults + [f"check_map: {len(faults)} faults"]))
    sys.exit(bool(faults))


main()
