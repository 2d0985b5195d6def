#!/usr/bin/env -S python3 -B
"""Holds the debugger's views against the headers: the file is well formed, and each type and member
that it names is declared. How a view looks is for the debugger to show."""
import re
import sys
import xml.etree.ElementTree as ElementTree

import tree

VIEWS = "src/support/config/tessel.natvis"
WANTED = {"tessel::expected<*,*>", "tessel::expected<void,*>", "tessel::SignalConnection",
          "tessel::config::StoragePath", "tessel::config::StorageValue"}
PREFIX = "{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}"


def body_of(name):
    """What a class declares, without its functions' bodies; a specialisation is one for void."""
    scope, _, plain = re.sub(r"<.*", "", name).rpartition("::")
    arguments = "<void" if "<void" in name else ""
    head = re.compile(rf"^(?:class|struct) (?:\[\[nodiscard\]\] )?{plain}\b"
                      rf"{arguments or '(?!<)'}[^;{{]*{{(.*?)^}};", re.M | re.S)
    for path in sorted(tree.files()):
        if re.match(r"src/support/\w+/include/.*\.h$", path):
            text = (tree.ROOT / path).read_text(encoding="utf-8")
            found = head.search(text) if f"namespace {scope} {{" in text else None
            if found:
                return found[1]
    return None


def expressions(view):
    for element in view.iter():
        yield element.get("Condition", "")
        if element.tag == PREFIX + "DisplayString":
            yield from re.findall(r"\{([^}]*)\}", element.text)
        elif element.tag == PREFIX + "Item":
            yield element.text


def main():
    views = list(ElementTree.parse(tree.ROOT / VIEWS).getroot().iter(PREFIX + "Type"))
    missing = WANTED - {view.get("Name") for view in views}
    count, faults = 0, [f"no view for {name}" for name in sorted(missing)]
    for view in views:
        name = view.get("Name")
        body = body_of(name)
        if body is None:
            faults.append(f"{name} is declared nowhere")
            continue
        for member in re.findall(r"[A-Za-z_]\w*", " ".join(expressions(view))):
            count += 1
            if not re.search(rf"^ +[\w:<>*, ]+ {member}(?: = [^;()]*|{{[^;()]*}})?;", body, re.M):
                faults.append(f"{name} has no member {member}")
    print("\n".join([f"{VIEWS}: {fault}" for fault in faults] + [f"check_natvis: {count} members"]))
    if faults or not count:
        sys.exit(1)


main()
