#!/usr/bin/env python3
"""Names the public names without a comment, from Doxygen's XML; fails when there are any.

Doxygen itself warns of neither enumerators nor names of a namespace that have none.
usage: undocumented.py XML-DIRECTORY
"""
import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def has_comment(element):
    return any("".join(element.find(kind).itertext()).strip()
               for kind in ("briefdescription", "detaileddescription"))


def speaks_for_itself(member):
    """A destructor, and what is deleted."""
    return (member.findtext("name").startswith("~")
            or member.findtext("argsstring", "").endswith("=delete"))


def names_of(compound):
    """Each public name of a compound, and whether it has a comment."""
    scope = compound.findtext("compoundname")
    yield scope, has_comment(compound)
    for member in compound.iter("memberdef"):
        if member.get("prot") == "private" or speaks_for_itself(member):
            continue
        name = scope + "::" + member.findtext("name")
        yield name + member.findtext("argsstring", ""), has_comment(member)
        for value in member.iter("enumvalue"):
            yield name + "::" + value.findtext("name"), has_comment(value)


def main(directory):
    names = []
    for path in sorted(pathlib.Path(directory).glob("*.xml")):
        for compound in ElementTree.parse(path).iter("compounddef"):
            if compound.get("kind") in ("class", "struct", "union", "namespace", "concept"):
                names += names_of(compound)
    undocumented = sorted({name for name, documented in names if not documented})
    for name in undocumented:
        print("undocumented:", name)
    if len(names) < 100:
        sys.exit(f"undocumented: only {len(names)} names seen; are the headers not read?")
    if undocumented:
        sys.exit(1)
    print(f"undocumented: none of {len(names)} names")


main(sys.argv[1])
