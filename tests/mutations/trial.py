"""Building programs with a fault in them, and running their tests."""
import enum
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import subprocess
import sys
import time

from lists import ROOT, ListError

WORK = ROOT / "build/mutations"
BASE = WORK / "base"
IMPORTS = WORK / "imports.obj"
WINE = [str(ROOT / "script/wine"), str(WORK / "wine")]
TEST_LIBRARIES = ["tests/libtest_support.a", "lib/libgmock.a", "lib/libgtest.a"]
SYSTEM_LIBRARIES = ["-ladvapi32", "-lntdll", "-lshlwapi", "-lshell32"]
COMPILER_LIMIT = 300  # seconds
MAIN = "src/apps/ostrel/main.cpp"
NO_IMPORT = "not imported by this program"  # see tests/support/import_hook.cpp


class Verdict(enum.Enum):
    KILLED = "killed"
    BY_LIMIT = "killed by the time limit"
    SURVIVED = "survived"
    NOT_BUILT = "did not build"
    ERROR = "not tested"  # the check itself went wrong


def run_or_exit(*command, given=None):
    done = subprocess.run(command, cwd=ROOT, input=given, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace")
    if done.returncode != 0:
        sys.exit(f"{done.stdout}mutate: failed: {command[0]}")
    return done.stdout


def build_base():
    """All objects without a fault, compiled as fast as can be. Returns how each is compiled."""
    print("mutate: building without faults", file=sys.stderr)
    if not (BASE / "build.ninja").exists():
        run_or_exit("cmake", "--preset", "cross-release", "-B", str(BASE),
                    "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0")
    # Its commands are those of the present sources only once it has looked at them.
    run_or_exit("cmake", "--build", str(BASE), "--target", "end_to_end_tests")
    commands = {os.path.relpath(entry["file"], ROOT): shlex.split(entry["command"])
                for entry in json.loads((BASE / "compile_commands.json").read_text())
                if entry["file"].endswith(".cpp")}
    # The programs of all unit tests and of the sweep are not needed, and take long to link.
    run_or_exit("cmake", "--build", str(BASE), "--target", *map(object_of, commands.values()))
    subprocess.run([*WINE, "cmd", "/c", "exit"], check=True)
    build_imports(commands)
    return commands


def object_of(command):
    return command[command.index("-o") + 1]


def product_of(commands):
    """The sources of ostrel.exe. Those of the programs beside it lie in their library, but for their
    entries."""
    return [source for source in commands
            if source.startswith("src/") and not source.endswith(("_test.cpp", "_settings_main.cpp"))]


def build_imports(commands):
    """An object that refers to every function that the product imports. A program whose fault drops the
    only call of a function still imports it when this is linked in, as the hooks of its tests need."""
    objects = [str(BASE / object_of(commands[source])) for source in product_of(commands)]
    listed = run_or_exit("x86_64-w64-mingw32-nm", "--undefined-only", "--format=just-symbols",
                         *objects)
    names = {name for name in listed.split() if re.fullmatch(r"(?!_Z)\w+", name)}
    lines = ['.section .rdata,"dr"', *(f".quad {name}" for name in sorted(names)), ""]
    run_or_exit(commands[MAIN][0], "-x", "assembler", "-c", "-", "-o", str(IMPORTS),
                given="\n".join(lines))


class Worker:
    """One copy of the sources, with one fault at a time in it."""

    def __init__(self, number, commands):
        self.place = WORK / f"worker{number}"
        self.temporary = self.place / "tmp"
        self.commands = commands
        shutil.rmtree(self.place, ignore_errors=True)
        for directory in ("src", "tests"):
            shutil.copytree(ROOT / directory, self.place / directory)
        (self.place / "bin").mkdir()

    def base_object(self, source):
        return str(BASE / object_of(self.commands[source]))

    def compile(self, source):
        command = [re.sub(f"{re.escape(str(ROOT))}/(src|tests)(?=/|$)", f"{self.place}/\\1", word)
                   for word in self.commands[source]]
        target = self.place / (source.replace("/", "-") + ".obj")
        command[command.index("-o") + 1] = str(target)
        # A fault may keep the compiler busy for ever.
        subprocess.run([*command, "-w"], cwd=BASE, check=True, capture_output=True,
                       timeout=COMPILER_LIMIT)
        return str(target)

    def link(self, objects, libraries):
        """Links by lld, in a fiftieth of the time. The compiler prints its link command, but cannot be
        told to use lld."""
        program = self.place / "bin/program.exe"
        plan = subprocess.run([self.commands[MAIN][0], "-static", "-###", *objects, str(IMPORTS),
                               *libraries, *SYSTEM_LIBRARIES, "-o", str(program)],
                              cwd=BASE, check=True, capture_output=True, text=True).stderr
        words = shlex.split(next(line for line in plan.splitlines() if "/collect2 " in line))[1:]
        words = [word for word in words if "plugin" not in word]
        subprocess.run(["ld.lld", *words], cwd=BASE, check=True, capture_output=True)
        return program

    def needed(self, section):
        """The sources of the program that runs the section's tests. All of the product: the tests
        replace its imports, so they must be there."""
        product = product_of(self.commands)
        if section.end_to_end:
            return product
        product.remove(MAIN)
        if section.sweep:
            return product + [source for source in self.commands
                              if source.startswith("tests/faults/")]
        return product + ["tests/support/test_main.cpp", *section.tests]

    def build_schedules(self):
        """The program that tries every schedule: a project of its own, for the host."""
        build = self.place / "schedules"
        if not build.exists():
            subprocess.run(["cmake", "-S", self.place / "tests/schedules", "-B", build, "-G", "Ninja",
                            "-DCMAKE_CXX_COMPILER=clang++", "-DCMAKE_CXX_FLAGS=-w"],
                           check=True, capture_output=True)
        subprocess.run(["cmake", "--build", build], check=True, capture_output=True,
                       timeout=COMPILER_LIMIT)
        return build / "schedules"

    def build(self, section, is_faulty):
        """The program that runs the section's tests."""
        if section.schedules:
            return self.build_schedules()
        faulty = {source: self.compile(source) for source in section.touched()} if is_faulty else {}
        # The faulty ones first: of inline functions the linker takes the first.
        objects = [*faulty.values(), *(self.base_object(source) for source in self.needed(section)
                                       if source not in faulty)]
        if not section.end_to_end:
            return self.link(objects, TEST_LIBRARIES)
        # The real executable, beside a copy of what runs it.
        resource = next(BASE.glob("src/apps/ostrel/CMakeFiles/**/ostrel.rc.*"))
        tool = self.link([*objects, str(resource)], [])
        shutil.copytree(BASE / "bin", self.place / "bin", dirs_exist_ok=True)
        tool.rename(self.place / "bin/ostrel.exe")
        return self.place / "bin/end_to_end_tests.exe"

    def run(self, section, program, limit):
        """The outcome of the tests: a verdict, and the test that noticed the fault."""
        command = [str(ROOT / "tests/run_test"), *WINE, str(program), "--gtest_brief=1",
                   "--gtest_fail_fast"]
        if section.schedules:
            command = [str(program)]
        if section.end_to_end or section.sweep:
            command.append(f"--gtest_filter={section.end_to_end or section.sweep}")
        # Of its own, because a process that is killed does not clean up.
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir()
        process = subprocess.Popen(command, cwd=self.place, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                   start_new_session=True,
                                   env=os.environ | {"TMPDIR": str(self.temporary)})
        try:
            output = process.communicate(timeout=limit)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            return Verdict.BY_LIMIT, ""
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
            shutil.rmtree(self.temporary, ignore_errors=True)
        if NO_IMPORT in output:
            return Verdict.ERROR, re.search(f"{NO_IMPORT}.*", output)[0]
        if process.returncode == 0:
            return Verdict.SURVIVED, ""
        failed = re.search(r"(?:\[  FAILED  \]|^schedules:) (\S+?),? ", output, re.M)
        return Verdict.KILLED, failed[1] if failed else f"status {process.returncode}"

    def try_fault(self, fault, patience=1):
        """A verdict, and the test that noticed or the error. The tests may take `patience` times as long
        as tests without a fault."""
        file = self.place / fault.section.file
        whole = file.read_text()
        file.write_text(whole.replace(fault.old, fault.new))
        try:
            program = self.build(fault.section, is_faulty=True)
        except subprocess.CalledProcessError as error:
            errors = (error.stderr or b"").decode(errors="replace")
            return (Verdict.NOT_BUILT,
                    next((line for line in errors.splitlines() if "error" in line), ""))
        except subprocess.TimeoutExpired:
            return Verdict.NOT_BUILT, "time limit"
        finally:
            file.write_text(whole)
        return self.run(fault.section, program, patience * fault.section.limit)

    def measure(self, section):
        """How long the tests may take; without a fault they must pass."""
        begin = time.monotonic()
        verdict, detail = self.run(section, self.build(section, is_faulty=False), limit=300)
        if verdict != Verdict.SURVIVED:
            raise ListError(f"{section.file}: its tests fail without a fault: {detail}")
        return max(10.0, 5 * (time.monotonic() - begin))
