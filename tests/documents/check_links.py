#!/usr/bin/env -S python3 -B
"""Fails when a link between the documents leads nowhere: to no file of the tree, or no heading."""
import posixpath
import re
import sys

import tree

LINK = re.compile(r"\[[^\[\]]*\]\(\s*([^()\s]+)[^()]*\)|^ {0,3}\[[^\]]+\]:\s*(\S+)", re.M)


def anchors(name):
    """Of the headings, as the usual viewers of Markdown make them."""
    found = set()
    for heading in re.findall(r"^#{1,6} +(.*?)[ #]*$", tree.prose(name), re.M):
        text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading)
        base = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
        anchor, count = base, 0
        while anchor in found:
            count += 1
            anchor = f"{base}-{count}"
        found.add(anchor)
    return found


def keep_lines(code):
    return re.sub(r"[^\n]", "`", code[0])


def fault_of(name, target):
    path, _, anchor = target.partition("#")
    place = posixpath.normpath(posixpath.join(posixpath.dirname(name), path)) if path else name
    if not tree.exists(place):
        return "no such file in the tree"
    if anchor and not (place.endswith(".md") and anchor in anchors(place)):
        return "no such heading"
    return None


def main():
    count, faults = 0, []
    for name in tree.documents():
        blocks = tree.prose(name).split("\n\n")
        text = "\n\n".join(tree.CODE.sub(keep_lines, block) for block in blocks)
        for link in LINK.finditer(text):
            target = link[1] or link[2]
            if re.match(r"[a-z]+:", target):
                continue
            count += 1
            fault = fault_of(name, target)
            if fault:
                faults.append(f"{name}:{tree.line_of(text, link.start())}: {target}: {fault}")
    print("\n".join(faults + [f"links: {count}, of which {len(faults)} lead nowhere"]))
    if faults or not count:
        sys.exit(1)


main()
