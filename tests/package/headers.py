#!/usr/bin/python3
"""Checks what the headers of packaged programs say. usage: headers.py PROGRAM...

docs/releasing.md says what each property prevents.
"""
import sys

import pefile

# Windows maps these from its own list of known libraries, or has them in each process before the program
# begins: it looks for none of them beside the program. (SHLWAPI and SHELL32 are on the list since Windows 7.)
KNOWN_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ntdll.dll", "shell32.dll", "shlwapi.dll"}
CHARACTERISTICS = {"IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA": "addresses of 64 bits are not random",
                   "IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE": "the base address is not random",
                   "IMAGE_DLLCHARACTERISTICS_NX_COMPAT": "data can be executed",
                   "IMAGE_DLLCHARACTERISTICS_TERMINAL_SERVER_AWARE": "it is not terminal-server aware"}


def defects(path):
    program = pefile.PE(path)
    header = program.OPTIONAL_HEADER
    for name, defect in CHARACTERISTICS.items():
        if not getattr(header, name):
            yield defect
    for section in program.sections:
        if section.IMAGE_SCN_MEM_WRITE and section.IMAGE_SCN_MEM_EXECUTE:
            yield f"{section.Name} can be written and executed"
    if program.FILE_HEADER.IMAGE_FILE_RELOCS_STRIPPED or not hasattr(program, "DIRECTORY_ENTRY_BASERELOC"):
        yield "it can't be relocated"
    for name in ("OperatingSystem", "Subsystem"):
        version = getattr(header, f"Major{name}Version"), getattr(header, f"Minor{name}Version")
        if version != (10, 0):
            yield f"{name}Version is {version}"
    if header.Subsystem != pefile.SUBSYSTEM_TYPE["IMAGE_SUBSYSTEM_WINDOWS_CUI"]:
        yield "it is no console program"
    if not program.verify_checksum():
        yield "the checksum is wrong"
    for table in ("DIRECTORY_ENTRY_IMPORT", "DIRECTORY_ENTRY_DELAY_IMPORT"):
        for library in getattr(program, table, []):
            name = library.dll.decode().lower()
            if name not in KNOWN_LIBRARIES:
                yield f"it imports {name}"
            yield from (f"it imports number {function.ordinal} of {name}"
                        for function in library.imports if not function.name)


def main():
    found = [f"{path}: {defect}" for path in sys.argv[1:] for defect in defects(path)]
    if found:
        sys.exit("headers: " + "\nheaders: ".join(found))


main()
