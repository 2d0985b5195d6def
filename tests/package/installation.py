#!/usr/bin/env python3
"""Installs, upgrades, fails to downgrade and removes the tool under Wine, and checks each step.

usage: installation.py OLD NEW PREFIX    (from the root of the tree; OLD and NEW are paths of packages
without .msi and .zip; PREFIX, the directory of Wine's registry and drives, is made anew)
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import zipfile

ENVIRONMENT = r"HKLM\System\CurrentControlSet\Control\Session Manager\Environment"
UNINSTALL = r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall"
SETTINGS = r"HKLM\Software\Kestrane, Inc."
LOG = SETTINGS + r"\Kestrane Vantor Telemetry\Service\Config\Log"
ZOLT = SETTINGS + r"\Kestrane Vantor Telemetry\ZOLT"
OLDER = SETTINGS + r"\Kestrane Harlen Telemetry\Service\Configuration\Logging"
# Other than all defaults.
COMMANDS = ["-setLogLevel Trace", "-setLogConfiguration maxLogSize 21",
            "-setLogConfiguration maxTraceLogSize 32", "-setLogConfiguration maxLogFiles 23",
            "-setZOLTDisabled true"]
STORED = {LOG: {"LogLevel": "Trace", "MaxFileSize": "0x15", "MaxTraceLogSize": "0x20",
                "MaxNumFiles": "0x17"},
          ZOLT: {"Disabled": "true"},
          OLDER: {"LogLevel": "trace", "VerboseLevel": "3", "kst_windows_log_verbose": "true",
                  "MaxLogSize": "21", "MaxTraceLogSize": "32", "MaxLogFiles": "23"}}
REFUSED = 1603 % 256  # ERROR_INSTALL_FAILURE, of which Linux keeps one byte
RESTART = 3010 % 256  # ERROR_SUCCESS_REBOOT_REQUIRED
FOREIGN = "collectLogs.ps1"  # what an administrator puts beside the tool


class Failure(Exception):
    pass


def expect(condition, what):
    if not condition:
        raise Failure(what)


class Machine:
    """A Windows of the test's own. Each call is a new process, which reads PATH anew."""

    def __init__(self, prefix):
        self.prefix = prefix
        self.stop()
        shutil.rmtree(prefix, ignore_errors=True)
        self.drive = prefix / "drive_c"
        self.directory = self.drive / "Program Files" / "ostrel"

    def stop(self):
        if self.prefix.is_dir():
            subprocess.run(["/usr/lib/wine/wineserver64", "-k", "-w"], check=False,
                           env={**os.environ, "WINEPREFIX": str(self.prefix.resolve())})

    def run(self, *command):
        """Exit status and output."""
        done = subprocess.run(["script/wine", self.prefix, *command], stdout=subprocess.PIPE,
                              stdin=subprocess.DEVNULL, check=False, timeout=300)
        return done.returncode, done.stdout.decode().replace("\r", "")

    def msiexec(self, option, what, *properties):
        return self.run("msiexec", option, what, *properties, "/qn")[0]

    def start(self, *command):
        return subprocess.Popen(["script/wine", self.prefix, *command], stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, text=True)

    def export(self, key):
        """Everything below a key, as a text; None without the key."""
        file = self.drive / "export.reg"
        file.unlink(missing_ok=True)
        self.run("reg", "export", key, "C:\\export.reg", "/y")
        if not file.exists():
            return None
        text = file.read_text(encoding="utf-16")
        file.unlink()
        return text

    def path(self):
        # Wine leaves the separator of a directory that it takes out.
        text = self.run("reg", "query", ENVIRONMENT, "/v", "PATH")[1].split("REG_EXPAND_SZ")[1]
        return [directory for directory in text.strip().split(";") if directory]

    def programs(self):
        """What the list of installed programs shows of the tool."""
        text = self.run("reg", "query", UNINSTALL, "/s")[1]
        products = [dict(re.findall(r"^    (\w+)    REG_\w+    (.*)$", product, re.MULTILINE))
                    for product in text.split("\n\n")]
        return [product for product in products if product.get("DisplayName") == "ostrel"]

    def versions(self):
        return [product["DisplayVersion"] for product in self.programs()]

    def files(self):
        """All names on the drive, with the contents of those in the tool's directory."""
        return {str(file.relative_to(self.drive)):
                file.read_bytes() if file.is_relative_to(self.directory) else b""
                for file in self.drive.rglob("*") if file.is_file()}

    def state(self):
        return {"files": self.files(), "PATH": self.path(), "versions": self.versions(),
                "settings": self.export(SETTINGS)}


class Package:
    def __init__(self, name):
        self.installer = name + ".msi"
        with zipfile.ZipFile(name + ".zip") as archive:
            self.files = {entry: archive.read(entry) for entry in archive.namelist()}
        properties = subprocess.run(["msiinfo", "export", self.installer, "Property"], check=True,
                                    stdout=subprocess.PIPE, text=True).stdout
        self.code = re.search(r"^ProductCode\t(\S+)", properties, re.MULTILINE).group(1)
        self.version = re.search(r"^ProductVersion\t(\S+)", properties, re.MULTILINE).group(1)


def changed_copy(installer, directory, *queries):
    copy = shutil.copy(installer, directory)
    subprocess.run(["msibuild", copy, "-q", *queries], check=True)
    return copy


def for_nobody(installer, directory):
    """A copy of an installer that takes the user for one without rights, because under Wine everybody
    is an administrator."""
    return changed_copy(installer, directory, "DELETE FROM LaunchCondition WHERE Condition = 'Privileged'",
                        "INSERT INTO LaunchCondition (Condition, Description)"
                        " VALUES ('NOT Privileged', 'no rights')")


def for_place(installer, directory, place):
    """A copy of an installer that has a property of its own: Wine 10 takes none with blanks from the
    command line."""
    return changed_copy(installer, directory,
                        f"INSERT INTO Property (Property, Value) VALUES ('INSTALLDIR', '{place}')")


def expect_files(directory, expected):
    files = {file.name: file.read_bytes() for file in directory.iterdir()}
    expect(files == expected, f"other files than in the ZIP: {sorted(files)}")


def expect_installed(machine, package, others, before):
    """Expects the files of the package beside the `others`, and a tool that works."""
    expect(machine.versions() == [package.version], f"installed: {machine.versions()}")
    shown = machine.programs()[0]
    expect(shown["Publisher"] == "Kestrane, Inc." and "ostrel.md" in shown["Comments"],
           f"the list of programs shows {shown}")
    expect_files(machine.directory, {**package.files, **others})
    expect(machine.path() == before["PATH"] + ["C:\\Program Files\\ostrel\\"],
           f"PATH: {machine.path()}")
    status, output = machine.run("ostrel", "-help")  # by its name alone
    expect(status == 0 and output.startswith(f"OVERVIEW: ostrel {package.version}\n"),
           f"ostrel -help: {status} {output[:99]}")


def expect_same(before, after, what):
    for subject, value in before.items():
        was, now = value, after[subject]
        if subject == "files":
            was, now = (dict(one.items() - other.items()) for one, other in ((was, now), (now, was)))
        expect(was == now, f"{what}: {subject}: {was!r:.2000} became {now!r:.2000}")


def expect_removed(machine, package, settings, before, others):
    status = machine.msiexec("/x", package.code)
    expect(status == 0, f"removing: status {status}")
    left = {"Program Files/ostrel/" + name: content for name, content in others.items()}
    expect_same({**before, "settings": settings, "files": {**before["files"], **left}},
                machine.state(), "removing")
    expect(machine.directory.exists() == bool(others), "the directory is left")
    mentioned = [line for line in machine.export("HKLM\\Software").splitlines()
                 if "ostrel" in line.lower()]
    expect(not mentioned, f"left in the registry: {mentioned}")


def change_settings(machine):
    for command in COMMANDS:
        status, output = machine.run("ostrel", *command.split())
        expect(status == 0 and output.startswith("Successfully"), f"{command}: {status} {output}")
    machine.run("reg", "add", LOG, "/v", "Other", "/d", "somebody else's", "/f")
    for key, values in STORED.items():
        text = machine.run("reg", "query", key)[1]
        stored = dict(re.findall(r"^    (\S+)    REG_\w+    (.*)$", text, re.MULTILINE))
        expect(stored.items() >= values.items(), f"{key}: {stored}")
    return machine.export(SETTINGS)


def expect_elsewhere(machine, package, place, installer, *properties):
    """Expects an installation at a place that works, and its removal."""
    expect(machine.msiexec("/i", installer, *properties) == 0, f"installing in {place} failed")
    directory = machine.drive / place[3:].replace("\\", "/")
    expect_files(directory, package.files)
    status, output = machine.run(place + "ostrel.exe", "-help")
    expect(status == 0 and output.startswith("OVERVIEW: "), f"{place}: {status} {output[:99]}")
    # Windows knows where the component lies. Wine does not find those of all users, and has to be told.
    expect(machine.msiexec("/x", package.code, *properties) == 0, f"removing from {place} failed")
    left = [file.name for file in directory.iterdir()] if directory.exists() else []
    expect(not left, f"removing left {left} in {place}")


def installation(machine, old, new):
    machine.run("cmd", "/c", "exit")  # the first program finds the drive made
    before = machine.state()
    expect(not machine.directory.exists() and not before["settings"], "the machine is not empty")

    def step(text):
        print("installation:", text, file=sys.stderr)

    step("install without rights")
    with tempfile.TemporaryDirectory() as directory:
        status = machine.msiexec("/i", for_nobody(old.installer, directory))
    expect(status == REFUSED, f"a user without rights got status {status}")
    expect_same(before, machine.state(), "a refused installation")

    step("install, twice")
    expect(machine.msiexec("/i", old.installer) == 0, "installing failed")
    expect(machine.export(SETTINGS) is None, "installing made settings")
    expect_installed(machine, old, {}, before)
    expect(machine.msiexec("/i", old.installer) == 0, "installing again failed")
    expect_installed(machine, old, {}, before)

    step("change the settings, upgrade while a program runs")
    settings = change_settings(machine)
    others = {FOREIGN: b"Write-Output collected\n"}
    (machine.directory / FOREIGN).write_bytes(others[FOREIGN])
    with machine.start("ostrel_watch_settings") as watcher:
        expect(watcher.stdout.readline().startswith("watching"), "the running program says nothing")
        status = machine.msiexec("/i", new.installer)
        expect(watcher.poll() is None, "upgrading ended the running program")
        watcher.kill()
    # What a running program's file becomes waits for the next start of Windows.
    expect(status == RESTART, f"upgrading: status {status}")
    machine.stop()
    expect_installed(machine, new, others, before)
    expect(machine.export(SETTINGS) == settings, "upgrading changed settings")

    step("no downgrade")
    upgraded = machine.state()
    expect(machine.msiexec("/i", old.installer) == REFUSED, "the downgrade was not refused")
    expect_same(upgraded, machine.state(), "a refused downgrade")
    expect_installed(machine, new, others, before)

    step("repair")
    # As msiexec /fa does, which Wine does not take with the code of a product.
    (machine.directory / "ostrel.md").unlink()
    expect(machine.msiexec("/i", new.code, "REINSTALL=ALL", "REINSTALLMODE=a") == 0, "repairing failed")
    expect_same(upgraded, machine.state(), "repairing")

    step("remove")
    expect_removed(machine, new, settings, before, others)
    (machine.directory / FOREIGN).unlink()
    machine.directory.rmdir()

    step("install beside settings, remove")
    expect(machine.msiexec("/i", new.installer) == 0, "installing again failed")
    expect_installed(machine, new, {}, before)
    expect(machine.export(SETTINGS) == settings, "installing changed settings")
    expect_removed(machine, new, settings, before, {})

    step("install elsewhere, remove")
    place = "C:\\Größe\\a&b\\"
    expect_elsewhere(machine, new, place, new.installer, "INSTALLDIR=" + place)
    place = "C:\\a b & co\\c d\\"
    with tempfile.TemporaryDirectory() as directory:
        expect_elsewhere(machine, new, place, for_place(new.installer, directory, place))


def main():
    old, new, prefix = sys.argv[1:]
    machine = Machine(pathlib.Path(prefix))
    try:
        installation(machine, Package(old), Package(new))
    except Failure as failure:
        sys.exit(f"installation: {failure}")
    finally:
        machine.stop()


main()
