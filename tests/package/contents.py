#!/usr/bin/env python3
"""Checks the contents of a ZIP and an installer.
usage: contents.py PACKAGE    (a path without .zip and .msi)"""
import pathlib
import re
import subprocess
import sys
import tempfile
import zipfile

PROGRAMS = ["ostrel.exe", "ostrel_list_settings.exe", "ostrel_watch_settings.exe"]
FILES = {**{name: 0o644 for name in ("NOTICES.txt", "ostrel.md", "ostrel.spdx.json", "version.txt")},
         **{name: 0o755 for name in PROGRAMS}}
TEXTS = {"NOTICES.txt": ["Copyright (c) 2012 - present, Victor Zverovich",
                         "Permission is hereby granted, free of charge", "winpthreads",
                         "GCC RUNTIME LIBRARY EXCEPTION"],
         "ostrel.md": ["# ostrel\r\n", "-setLogLevel"]}
# Whatever may change the registry, and whatever may run.
FORBIDDEN = ["Registry", "RemoveRegistry", "IniFile", "RemoveIniFile", "Class", "ProgId",
             "CustomAction", "ServiceInstall", "ServiceControl", "RemoveFile"]
FMT_HEADER = pathlib.Path("build/cross-package/stage/include/fmt/core.h")
failures = []


def expect(condition, what):
    if not condition:
        failures.append(what)


def report():
    if failures:
        sys.exit("contents: " + "\ncontents: ".join(failures))


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout.decode()


def table(installer, name):
    """The rows of a table, each as a list of texts, without the three lines of its head."""
    if name not in output_of("msiinfo", "tables", installer).split():
        return []
    lines = output_of("msiinfo", "export", installer, name).split("\r\n")
    return [line.split("\t") for line in lines[3:] if line]


def check_archive(path, version):
    with zipfile.ZipFile(path) as archive:
        entries = archive.infolist()
        content = {entry.filename: archive.read(entry) for entry in entries}
    expect([entry.filename for entry in entries] == sorted(FILES), f"the ZIP holds {list(content)}")
    report()
    for entry in entries:
        mode = entry.external_attr >> 16 & 0o777
        expect(mode == FILES.get(entry.filename), f"{entry.filename} has mode {mode:o}")
        expect(not entry.extra, f"{entry.filename} has an owner or more times")
    for name, texts in TEXTS.items():
        for text in texts:
            expect(text.encode() in content[name], f"{name} lacks {text!r}")
    commit = output_of("git", "rev-parse", "HEAD").strip()
    fmt = int(re.search(r"define FMT_VERSION (\d+)", FMT_HEADER.read_text()).group(1))
    fmt = f"{fmt // 10000}.{fmt // 100 % 100}.{fmt % 100}"
    expect(content["version.txt"].decode() ==
           f"ostrel {version}\r\ncommit {commit}\r\nwith {{fmt}} {fmt}\r\nunsigned\r\n",
           f"version.txt is {content['version.txt']}")
    return content


def check_installer(path, version, content):
    with tempfile.TemporaryDirectory() as directory:
        subprocess.run(["msiextract", "-C", directory, path], check=True, stdout=subprocess.DEVNULL)
        files = {file.name: file.read_bytes() for file in pathlib.Path(directory).rglob("*")
                 if file.is_file()}
    expect(files == content, f"the installer holds {sorted(files)}")
    versions = {row[2]: row[4] for row in table(path, "File")}
    expect([versions.get(name) for name in PROGRAMS] == [f"{version}.0"] * len(PROGRAMS),
           f"the versions of files are {versions}")
    for name in FORBIDDEN:
        expect(table(path, name) == [], f"the installer has rows in {name}: {table(path, name)}")

    # For all users, and for administrators alone: word count (Source) without 8, "needs no rights".
    properties = dict(table(path, "Property"))
    expect(properties.get("ALLUSERS") == "1", "the installer is not for all users")
    expect(properties.get("ProductVersion") == version, "the installer has another version")
    expect(properties.get("Manufacturer") == "Kestrane, Inc.", "the installer has another publisher")
    expect("ostrel.md" in properties.get("ARPCOMMENTS", ""), "the list of programs shows no help")
    conditions = dict(table(path, "LaunchCondition"))
    expect(set(conditions) == {"Privileged", "NOT WIX_DOWNGRADE_DETECTED"},
           f"the installer starts under {conditions}")
    expect("administrator" in conditions.get("Privileged", ""), "the refusal is not clear")
    expect("newer version" in conditions.get("NOT WIX_DOWNGRADE_DETECTED", ""),
           "the refusal of a downgrade is not clear")
    summary = output_of("msiinfo", "suminfo", path)
    expect(re.search(r"^Source: 2 ", summary, re.MULTILINE), "the installer wants no rights")
    expect("Template: x64;1033" in summary, "the installer is not for 64 bits")
    expect([row[3] for row in table(path, "Component")] == ["256"], "a component of 32 bits")
    expect(table(path, "Environment") == [["Path", "=-*PATH", "[~];[INSTALLDIR]", "Tool"]],
           f"the installer changes {table(path, 'Environment')}")
    component = [row[1] for row in table(path, "Component")]
    expect([row[1:] for row in table(path, "CompLocator")] == [[*component, "0"]] and
           table(path, "AppSearch") == [["INSTALLDIR", table(path, "CompLocator")[0][0]]],
           "an upgrade does not look where the tool lies")
    check_order({row[0]: int(row[2]) for row in table(path, "InstallExecuteSequence")})


def check_order(number):
    """Checks that nothing happens before the conditions, that the old version is removed inside the
    transaction, and that its place is known before the files get theirs."""
    order = ["FindRelatedProducts", "AppSearch", "LaunchConditions", "CostInitialize", "InstallInitialize",
             "RemoveExistingProducts", "ProcessComponents", "RemoveEnvironmentStrings",
             "RemoveFiles", "InstallFiles", "WriteEnvironmentStrings", "RegisterProduct",
             "InstallFinalize"]
    expect([name for name, _ in sorted(number.items(), key=lambda item: item[1])
            if name in order] == order, f"the installer's order is {number}")


def main():
    package = sys.argv[1]
    version = re.search(r"ostrel-([0-9.]+)-windows", package).group(1)
    check_installer(package + ".msi", version, check_archive(package + ".zip", version))
    report()


main()
