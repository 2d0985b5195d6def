#!/usr/bin/python3
"""Tests the checks of packages: changes one thing after the other, and expects the message that tells it.

usage: faults.py PACKAGE BUILD    (a path without .zip and .msi; the build directory of the package)
"""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import zipfile

import pefile

HERE = pathlib.Path(__file__).resolve().parent
failures = []


def expect_message(check, arguments, message):
    ran = subprocess.run([HERE / check, *arguments], check=False, capture_output=True, text=True)
    if message:
        told = ran.returncode != 0 and message in ran.stderr
    else:
        told = ran.returncode == 0 and not ran.stderr
    if not told:
        failures.append(f"{check} should say {message!r}, and ended with {ran.returncode}: {ran.stderr}")


def clear(structure, field, bits):
    setattr(structure, field, getattr(structure, field) & ~bits)


def import_by_number(program):
    function = program.DIRECTORY_ENTRY_IMPORT[0].imports[0]
    function.struct_table.AddressOfData = 1 << 63 | 1


def import_another_library(program):
    for library in program.DIRECTORY_ENTRY_IMPORT:
        if library.dll.lower() == b"shlwapi.dll":
            program.set_bytes_at_rva(library.struct.Name, b"version.dll")


def without_relocations(program):
    table = program.OPTIONAL_HEADER.DATA_DIRECTORY[pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_BASERELOC"]]
    table.VirtualAddress = table.Size = 0


HEADERS = [
    (None, None),
    (lambda program: clear(program.OPTIONAL_HEADER, "DllCharacteristics", 0x20), "of 64 bits are not random"),
    (lambda program: clear(program.OPTIONAL_HEADER, "DllCharacteristics", 0x40), "base address is not random"),
    (lambda program: clear(program.OPTIONAL_HEADER, "DllCharacteristics", 0x100), "data can be executed"),
    (lambda program: clear(program.OPTIONAL_HEADER, "DllCharacteristics", 0x8000), "not terminal-server aware"),
    (lambda program: setattr(program.sections[0], "Characteristics", 0xE0000020), "be written and executed"),
    (lambda program: setattr(program.FILE_HEADER, "Characteristics", 0x23), "it can't be relocated"),
    (without_relocations, "it can't be relocated"),
    (lambda program: setattr(program.OPTIONAL_HEADER, "MajorSubsystemVersion", 5), "SubsystemVersion is (5, 0)"),
    (lambda program: setattr(program.OPTIONAL_HEADER, "MinorOperatingSystemVersion", 1),
     "OperatingSystemVersion is (10, 1)"),
    (lambda program: setattr(program.OPTIONAL_HEADER, "Subsystem", 2), "it is no console program"),
    (import_another_library, "it imports version.dll"),
    (import_by_number, "it imports number 1 of "),
]


def check_headers(content):
    original = content / "ostrel.exe"
    changed = content / "changed.exe"
    for change, message in HEADERS:
        program = pefile.PE(original)
        if change:
            change(program)
            program.OPTIONAL_HEADER.CheckSum = program.generate_checksum()
        program.write(changed)
        expect_message("headers.py", [changed], message)
    program = pefile.PE(original)
    program.OPTIONAL_HEADER.CheckSum ^= 1
    program.write(changed)
    expect_message("headers.py", [changed], "the checksum is wrong")
    changed.unlink()


def named(bill, name):
    return next(package for package in bill["packages"] if package["name"] == name)


def without_program(bill):
    file = next(file for file in bill["files"] if file["fileName"] == "./ostrel.exe")
    bill["files"].remove(file)
    bill["relationships"] = [relationship for relationship in bill["relationships"]
                             if relationship["relatedSpdxElement"] != file["SPDXID"]]


BILLS = [
    (lambda bill: None, None),
    (lambda bill: bill.pop("name"), "the document lacks {'name'}"),
    (lambda bill: bill.update(spdxVersion="SPDX-2.2"), "the document is of another kind"),
    (lambda bill: bill.update(documentNamespace="urn:uuid:1#2"), "the name space is no URI"),
    (lambda bill: bill["creationInfo"].update(created="2026-01-01"), "created: no time"),
    (lambda bill: bill["creationInfo"].update(creators=[]), "created by nobody"),
    (lambda bill: bill["files"][0].update(SPDXID="SPDXRef-DOCUMENT"), "an identifier stands twice"),
    (lambda bill: bill["files"][0].update(SPDXID="SPDXRef-a b"), "SPDXRef-a b is no identifier"),
    (lambda bill: named(bill, "{fmt}").pop("copyrightText"), "lacks {'copyrightText'}"),
    (lambda bill: bill["files"][0].pop("licenseConcluded"), "lacks {'licenseConcluded'}"),
    (lambda bill: bill["relationships"][0].update(relatedSpdxElement="SPDXRef-x"), "nothing is called as one of"),
    (lambda bill: bill["relationships"][0].update(relationshipType="KNOWS"), "unknown: "),
    (lambda bill: named(bill, "{fmt}").update(licenseConcluded="MIT AND"), "no licences: MIT AND"),
    (lambda bill: bill["hasExtractedLicensingInfos"][0].update(extractedText=""), "own licences: "),
    (lambda bill: bill["files"][0]["checksums"][0].update(checksumValue="00"), "has other checksums"),
    (lambda bill: bill["files"][0]["checksums"].pop(), "has other checksums"),
    (lambda bill: named(bill, "{fmt}")["packageVerificationCode"].update(packageVerificationCodeValue="00"),
     "{fmt} has another verification code"),
    (without_program, "of the ZIP are listed"),
    (lambda bill: named(bill, "{fmt}").update(versionInfo="1.0"), "the versions are "),
    (lambda bill: named(bill, "ostrel").update(versionInfo="9.9.9"), "the versions are "),
    (lambda bill: named(bill, "ostrel").update(sourceInfo="commit 00"), "the commit is another"),
]


def rewrite(package, change):
    """Makes the ZIP anew, of the entries that `change` makes of a list of pairs: an entry, its bytes."""
    path = f"{package}.zip"
    with zipfile.ZipFile(path) as archive:
        entries = [(entry, archive.read(entry)) for entry in archive.infolist()]
    with zipfile.ZipFile(path, "w") as archive:
        for entry, data in change(entries):
            archive.writestr(entry, data)


def replace(name, old, new):
    return lambda entries: [(entry, data.replace(old, new) if entry.filename == name else data)
                            for entry, data in entries]


def check_bills(fresh_copy, build):
    for change, message in BILLS:
        package = fresh_copy()
        path = pathlib.Path(f"{package}.spdx.json")
        old = path.read_bytes()
        bill = json.loads(old)
        change(bill)
        path.write_text(json.dumps(bill))
        rewrite(package, replace("ostrel.spdx.json", old, path.read_bytes()))
        expect_message("bill.py", [package, build], message)
    for (name, old, new), message in (
            (("ostrel.spdx.json", b"SPDX-2.3", b"SPDX-2.1"), "the one in the ZIP is another"),
            (("NOTICES.txt", b"--- mingw-w64", b"--- mingw"), "the notices do not name mingw-w64 runtime")):
        package = fresh_copy()
        rewrite(package, replace(name, old, new))
        expect_message("bill.py", [package, build], message)


def set_entry(name, **attributes):
    def change(entries):
        for entry, _ in entries:
            if entry.filename == name:
                for attribute, value in attributes.items():
                    setattr(entry, attribute, value)
        return entries
    return change


ARCHIVES = [
    (lambda entries: entries, None),
    (lambda entries: entries[:-1], "the ZIP holds"),
    (lambda entries: entries[::-1], "the ZIP holds"),
    (set_entry("ostrel.exe", external_attr=0o100644 << 16), "ostrel.exe has mode 644"),
    (set_entry("ostrel.md", extra=b"UT\5\0\1\0\0\0\0"), "ostrel.md has an owner or more times"),
    (replace("NOTICES.txt", b"winpthreads", b"threads"), "NOTICES.txt lacks 'winpthreads'"),
    (replace("version.txt", b"unsigned", b"signed"), "version.txt is "),
    (replace("ostrel.md", b"OPTIONS", b"options"), "the installer holds"),
]
PROPERTY = "UPDATE Property SET Value = 'other' WHERE Property = '{}'"
SEQUENCE = "UPDATE InstallExecuteSequence SET Sequence = {} WHERE Action = '{}'"
INSTALLERS = [
    (["UPDATE File SET Version = '0.1' WHERE File = 'ostrel.exe'"], "the versions of files are"),
    (["INSERT INTO CustomAction (Action, Type) VALUES ('Run', 1)"], "has rows in CustomAction"),
    ([PROPERTY.format("ALLUSERS")], "is not for all users"),
    ([PROPERTY.format("ProductVersion")], "has another version"),
    ([PROPERTY.format("Manufacturer")], "has another publisher"),
    ([PROPERTY.format("ARPCOMMENTS")], "shows no help"),
    (["DELETE FROM LaunchCondition WHERE Condition = 'Privileged'"], "the installer starts under"),
    (["UPDATE LaunchCondition SET Description = 'No.' WHERE Condition = 'Privileged'"], "the refusal is not clear"),
    (["UPDATE LaunchCondition SET Description = 'No.' WHERE Condition = 'NOT WIX_DOWNGRADE_DETECTED'"],
     "the refusal of a downgrade is not clear"),
    (["UPDATE Component SET Attributes = 0"], "a component of 32 bits"),
    (["UPDATE Environment SET Value = '[INSTALLDIR]'"], "the installer changes"),
    (["DELETE FROM AppSearch"], "does not look where the tool lies"),
    (["UPDATE CompLocator SET Type = 1"], "does not look where the tool lies"),
    ([SEQUENCE.format(1450, "RemoveExistingProducts")], "the installer's order is"),
    ([SEQUENCE.format(2000, "AppSearch")], "the installer's order is"),
]
SUMMARIES = [("15\t2", "15\t10", "the installer wants no rights"), ("x64;1033", "Intel;1033", "not for 64 bits")]


def check_contents(fresh_copy):
    for change, message in ARCHIVES:
        package = fresh_copy()
        rewrite(package, change)
        expect_message("contents.py", [package], message)
    for queries, message in INSTALLERS:
        package = fresh_copy()
        subprocess.run(["msibuild", f"{package}.msi", "-q", *queries], check=True)
        expect_message("contents.py", [package], message)
    for old, new, message in SUMMARIES:
        package = fresh_copy()
        name = "_SummaryInformation"
        table = subprocess.run(["msiinfo", "export", f"{package}.msi", name], check=True, capture_output=True).stdout
        file = package.with_name(f"{name}.idt")
        file.write_bytes(table.replace(old.encode(), new.encode()))
        subprocess.run(["msibuild", f"{package}.msi", "-i", file], check=True)
        expect_message("contents.py", [package], message)


def main():
    package, build = pathlib.Path(sys.argv[1]), sys.argv[2]
    with tempfile.TemporaryDirectory() as scratch:
        def fresh_copy():
            for suffix in (".zip", ".msi", ".spdx.json"):
                shutil.copy(f"{package}{suffix}", scratch)
            return pathlib.Path(scratch, package.name)

        with zipfile.ZipFile(f"{package}.zip") as archive:
            archive.extract("ostrel.exe", scratch)
        check_headers(pathlib.Path(scratch))
        check_bills(fresh_copy, build)
        check_contents(fresh_copy)
    if failures:
        sys.exit("faults: " + "\nfaults: ".join(failures))


main()
