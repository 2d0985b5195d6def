#!/usr/bin/env python3
"""Checks a bill of materials against SPDX 2.3 and the files that it lists.

usage: bill.py PACKAGE BUILD    (a path without .zip; the build directory of the package)
Of licences judges the reader of SPDX expressions that Debian has (node-spdx-expression-parse). For whole
documents of version 2.3 it has no validator: what the standard demands of them is checked here.
"""
import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import zipfile

DOCUMENT = {"spdxVersion", "dataLicense", "SPDXID", "name", "documentNamespace", "creationInfo"}
PACKAGE = {"SPDXID", "name", "versionInfo", "downloadLocation", "packageVerificationCode", "licenseConcluded",
           "licenseDeclared", "copyrightText"}
FILE = {"SPDXID", "fileName", "checksums", "licenseConcluded", "copyrightText"}
RELATIONSHIP = {"spdxElementId", "relationshipType", "relatedSpdxElement"}
KINDS = {"DESCRIBES", "CONTAINS", "STATIC_LINK"}
UNKNOWN = """for (const text of process.argv.slice(1))
  try { require('spdx-expression-parse')(text) } catch { console.log(text) }"""
failures = []


def expect(condition, what):
    if not condition:
        failures.append(what)


def report():
    if failures:
        sys.exit("bill: " + "\nbill: ".join(failures))


def check_document(bill):
    expect(DOCUMENT <= bill.keys(), f"the document lacks {DOCUMENT - bill.keys()}")
    expect((bill["spdxVersion"], bill["dataLicense"], bill["SPDXID"]) ==
           ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT"), "the document is of another kind")
    expect(re.fullmatch(r"[a-z]+:[^#\s]+", bill["documentNamespace"]), "the name space is no URI")
    creation = bill["creationInfo"]
    expect(re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ", creation["created"]), "created: no time")
    expect(creation["creators"] and all(re.match(r"(Tool|Organization|Person): ", creator)
                                        for creator in creation["creators"]), "created by nobody")


def check_elements(bill):
    identifiers = [element["SPDXID"] for element in bill["packages"] + bill["files"]] + [bill["SPDXID"]]
    expect(len(set(identifiers)) == len(identifiers), "an identifier stands twice")
    for identifier in identifiers:
        expect(re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", identifier), f"{identifier} is no identifier")
    for elements, fields in ((bill["packages"], PACKAGE), (bill["files"], FILE),
                             (bill["relationships"], RELATIONSHIP)):
        for element in elements:
            expect(fields <= element.keys(), f"{element} lacks {fields - element.keys()}")
    for relationship in bill["relationships"]:
        ends = {relationship["spdxElementId"], relationship["relatedSpdxElement"]}
        expect(ends <= set(identifiers), f"nothing is called as one of {ends}")
        expect(relationship["relationshipType"] in KINDS, f"unknown: {relationship}")


def check_licences(bill):
    own = {info["licenseId"] for info in bill["hasExtractedLicensingInfos"] if info["extractedText"]}
    used = {element[field] for element in bill["packages"] + bill["files"]
            for field in ("licenseConcluded", "licenseDeclared") if field in element} - {"NOASSERTION"}
    expect({name for name in used if name.startswith("LicenseRef-")} == own, f"own licences: {own}")
    unknown = subprocess.run(["node", "-e", UNKNOWN, *used], check=True, stdout=subprocess.PIPE, text=True,
                             env={**os.environ, "NODE_PATH": "/usr/share/nodejs"}).stdout
    expect(not unknown, f"no licences: {unknown}")


def check_files(bill, contents):
    """Compares checksums with `contents`, functions that give a package's file by its name."""
    files = {file["SPDXID"]: file for file in bill["files"]}
    listed = {}
    for package in bill["packages"]:
        contained = [files[relationship["relatedSpdxElement"]] for relationship in bill["relationships"]
                     if relationship["spdxElementId"] == package["SPDXID"]
                     and relationship["relationshipType"] == "CONTAINS"]
        listed[package["name"]] = {file["fileName"][2:] for file in contained}
        sums = []
        for file in contained:
            data = contents[package["name"]](file["fileName"][2:])
            sums.append(hashlib.sha1(data).hexdigest())
            expect({sum["algorithm"]: sum["checksumValue"] for sum in file["checksums"]} ==
                   {"SHA1": sums[-1], "SHA256": hashlib.sha256(data).hexdigest()},
                   f"{file['fileName']} has other checksums")
        code = hashlib.sha1("".join(sorted(sums)).encode()).hexdigest()
        expect(package["packageVerificationCode"]["packageVerificationCodeValue"] == code,
               f"{package['name']} has another verification code")
    return listed


def main():
    package, build = sys.argv[1], pathlib.Path(sys.argv[2])
    with zipfile.ZipFile(package + ".zip") as archive:
        shipped = {name: archive.read(name) for name in archive.namelist()}
    text = shipped.pop("ostrel.spdx.json")
    expect(pathlib.Path(package + ".spdx.json").read_bytes() == text, "the one in the ZIP is another")
    bill = json.loads(text)
    check_document(bill)
    check_elements(bill)
    check_licences(bill)
    report()

    def header(name):
        return (build / "stage/include" / name).read_bytes()

    def linked(name):
        return pathlib.Path("/", name).read_bytes()

    listed = check_files(bill, {"ostrel": shipped.__getitem__, "{fmt}": header,
                                "GCC runtime libraries": linked, "mingw-w64 runtime": linked})
    expect(listed["ostrel"] == set(shipped), f"of the ZIP are listed {listed['ostrel']}")
    expect("fmt/format.h" in listed["{fmt}"], "{fmt} has no headers")
    for name, library in (("GCC runtime libraries", "libstdc++.a"), ("mingw-w64 runtime", "libmingwex.a")):
        expect(any(file.endswith("/" + library) for file in listed[name]), f"{name} without {library}")
    version, commit, fmt, _ = shipped["version.txt"].decode().split("\r\n")[:4]
    versions = {element["name"]: element["versionInfo"] for element in bill["packages"]}
    expect(f"ostrel {versions['ostrel']}" == version and f"with {{fmt}} {versions['{fmt}']}" == fmt,
           f"the versions are {versions}")
    expect([element.get("sourceInfo") for element in bill["packages"] if element["name"] == "ostrel"] ==
           [commit], "the commit is another")
    for name in set(versions) - {"ostrel"}:
        expect(f"--- {name}".encode() in shipped["NOTICES.txt"], f"the notices do not name {name}")
    report()


main()
