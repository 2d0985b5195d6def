#!/usr/bin/env python3
"""Tests script/lint: what it remembers, and that it still finds every kind of fault whose check is left
out in .clang-tidy because another check or a warning finds the same."""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

import tidy

ROOT = pathlib.Path(__file__).resolve().parents[2]
TIDY = ROOT / "tests/lint/tidy.py"
DATABASE = ROOT / "build/lint/all/compile_commands.json"
RESERVED = "clang-diagnostic-reserved-identifier"
DEPRECATED = "clang-diagnostic-deprecated-declarations"

# For each check that is left out: the check or compiler warning that must find the fault, and the fault.
# Missing are cert-sig30-c, which only checks C, cert-mem57-cpp, which checks nothing from C++17 on, and
# cert-con36-c and cert-con54-cpp, which do not know this C++ library's condition variables.
FOUND_OTHERWISE = [
    ("cert-dcl37-c", RESERVED, "int _Upper = 1;"),
    ("cert-dcl51-cpp", RESERVED, "struct Two__Underscores {};"),
    (
        "bugprone-reserved-identifier",
        "clang-diagnostic-reserved-macro-identifier",
        "#define _GUARD 1",
    ),
    (
        "cert-dcl03-c",
        "misc-static-assert",
        "#include <cstdlib>\n#define assert(x) if (!(x)) abort()\n"
        "void Check() { assert(sizeof(int) == 4); }",
    ),
    (
        "cert-dcl21-cpp",
        "readability-const-return-type",
        "struct S { const S operator++(int); };\nconst S S::operator++(int) { return *this; }",
    ),
    (
        "cert-dcl50-cpp",
        "modernize-avoid-variadic-functions",
        "int Sum(int count, ...) { return count; }",
    ),
    (
        "cert-dcl58-cpp",
        "bugprone-std-namespace-modification",
        "namespace std { int number; }",
    ),
    (
        "cert-env33-c",
        "bugprone-command-processor",
        "#include <cstdlib>\nint Run() { return std::system(\"a\"); }",
    ),
    (
        "cert-err34-c",
        "bugprone-unchecked-string-to-number-conversion",
        "#include <cstdlib>\nint Number(const char* text) { return std::atoi(text); }",
    ),
    (
        "cert-err52-cpp",
        "modernize-avoid-setjmp-longjmp",
        "#include <csetjmp>\nvoid Jump(std::jmp_buf& place) { std::longjmp(place, 1); }",
    ),
    (
        "cert-err60-cpp",
        "bugprone-exception-copy-constructor-throws",
        "struct E { E(const E&) noexcept(false); };\nvoid F(const E& e) { throw e; }",
    ),
    (
        "cert-flp30-c",
        "bugprone-float-loop-counter",
        "void F() { for (float f = 0; f < 1; f += 0.1F) {} }",
    ),
    (
        "cert-oop57-cpp",
        "bugprone-raw-memory-call-on-non-trivial-type",
        "#include <cstring>\nstruct S { S(); int n = 1; };\n"
        "void F() { S s; std::memset(&s, 0, sizeof(S)); }",
    ),
    (
        "cert-oop58-cpp",
        "bugprone-copy-constructor-mutates-argument",
        "struct S { S(S& s) { s.n = 1; } int n = 0; };",
    ),
    (
        "cert-dcl54-cpp",
        "misc-new-delete-overloads",
        "#include <cstddef>\nstruct S { static void* operator new(std::size_t size); };",
    ),
    ("cert-dcl59-cpp", "google-build-namespaces", '#include "fault.h"'),
    (
        "cert-err09-cpp, cert-err61-cpp",
        "misc-throw-by-value-catch-by-reference",
        "#include <exception>\nint F() { try { return 1; } catch (std::exception e) { return 2; } }",
    ),
    (
        "cert-exp42-c, cert-flp37-c",
        "bugprone-suspicious-memory-comparison",
        "#include <cstring>\nstruct P { char c; int i; };\n"
        "bool Same(const P* a, const P* b) { return std::memcmp(a, b, sizeof(P)) == 0; }",
    ),
    (
        "cert-fio38-c",
        "misc-non-copyable-objects",
        "#include <cstdio>\nvoid Take(FILE file);",
    ),
    (
        "cert-msc30-c, cert-msc50-cpp",
        "misc-predictable-rand",
        "#include <cstdlib>\nint Roll() { return std::rand(); }",
    ),
    ("cert-msc32-c, cert-msc51-cpp", "bugprone-random-generator-seed", "#include <random>\nstd::mt19937 generator;"),
    (
        "cert-oop11-cpp",
        "performance-move-constructor-init",
        "struct B { B() = default; B(const B&) {} B(B&&) noexcept {} };\n"
        "struct D : B { D(D&& d) noexcept : B(d) {} };",
    ),
    (
        "cert-oop54-cpp",
        "bugprone-unhandled-self-assignment",
        "struct S { S& operator=(const S& s) { n = s.n + 1; return *this; } int n = 0; };",
    ),
    (
        "cert-str34-c",
        "bugprone-signed-char-misuse",
        "int Number(signed char c) { int n = c; return n; }",
    ),
    (
        "modernize-replace-auto-ptr",
        DEPRECATED,
        "#include <memory>\nstd::auto_ptr<int> pointer;",
    ),
    (
        "modernize-replace-random-shuffle",
        DEPRECATED,
        "#include <algorithm>\nvoid Mix(int* b, int* e) { std::random_shuffle(b, e); }",
    ),
    (
        "modernize-use-uncaught-exceptions",
        DEPRECATED,
        "#include <exception>\nbool Falling() { return std::uncaught_exception(); }",
    ),
    (
        "modernize-deprecated-ios-base-aliases",
        "clang-diagnostic-error",
        "#include <ios>\nstd::ios_base::io_state state;",
    ),
]


class Project:
    """A small tree with its own compilation database and its own memory."""

    def __init__(self, directory, configuration):
        self.root = pathlib.Path(directory, "tree")
        self.cache = pathlib.Path(directory, "cache")
        self.root.mkdir()
        self.write(".clang-tidy", configuration)
        self.arguments = []

    def write(self, name, text):
        (self.root / name).write_text(text)

    def lint(self, *options, cache=None):
        ours = json.loads(DATABASE.read_text())[0]
        source = str(self.root / "fault.cpp")
        arguments = [source if a == ours["file"] else a for a in ours["arguments"]]
        entry = {
            "directory": str(self.root),
            "file": source,
            "arguments": arguments + self.arguments,
        }
        self.write("compile_commands.json", json.dumps([entry]))
        return subprocess.run(
            [TIDY, self.root / "compile_commands.json", "--root", self.root, *options],
            capture_output=True,
            text=True,
            env=os.environ | {"XDG_CACHE_HOME": str(cache or self.cache)},
        )


class LintTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def project(self):
        configuration = "Checks: '-*,clang-diagnostic-*,misc-static-assert'\nWarningsAsErrors: '*'\n"
        project = Project(self.directory, configuration)
        project.write("fault.h", "int Number();\n")
        project.write("fault.cpp", '#include "fault.h"\nint Number() { return 1; }\n')
        return project

    def assert_checks(self, project, *options, **keywords):
        result = project.lint(*options, **keywords)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertIn("1 files, 0 of them passed before", result.stderr)
        return result

    def assert_remembers(self, project, *options, **keywords):
        result = project.lint(*options, **keywords)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)
        self.assertIn("1 files, 1 of them passed before", result.stderr)


class MemoryTest(LintTest):
    def test_a_file_that_passed_is_not_checked_again(self):
        project = self.project()
        self.assert_checks(project)
        self.assert_remembers(project)
        self.assert_checks(project, "--all")

    def test_another_clone_of_the_same_content_profits(self):
        project = self.project()
        self.assert_checks(project)
        project.root = project.root.rename(project.root.with_name("clone"))
        self.assert_remembers(project)

    def test_a_change_in_the_source_is_seen_and_so_is_one_in_a_comment(self):
        project = self.project()
        self.assert_checks(project)
        project.write("fault.cpp", '#include "fault.h"\nint Number() { return 1; }  // one\n')
        self.assert_checks(project)

    def test_a_change_in_a_header_is_seen(self):
        project = self.project()
        self.assert_checks(project)
        project.write("fault.h", "int Number();\nint Other();\n")
        self.assert_checks(project)

    def test_a_change_in_the_configuration_is_seen(self):
        project = self.project()
        self.assert_checks(project)
        project.write(".clang-tidy", "Checks: '-*,misc-new-delete-overloads'\n")
        self.assert_checks(project)

    def test_a_change_in_the_arguments_is_seen(self):
        project = self.project()
        self.assert_checks(project)
        project.arguments = ["-DMORE"]
        self.assert_checks(project)

    def test_another_version_of_the_tool_is_seen(self):
        project = self.project()
        self.assert_checks(project)
        tools = pathlib.Path(self.directory, "tools")
        tools.mkdir()
        newer = tools / tidy.TOOL
        newer.write_text(
            '#!/bin/sh\n[ "$1" != --version ] || echo "a later build"\n'
            f'PATH={os.environ["PATH"]} exec {tidy.TOOL} "$@"\n'
        )
        newer.chmod(0o755)
        with unittest.mock.patch.dict(os.environ, PATH=f"{tools}:{os.environ['PATH']}"):
            self.assert_checks(project)

    def test_findings_are_not_kept(self):
        project = self.project()
        project.write("fault.cpp", "int _Upper = 1;\n")
        for _ in range(2):
            result = project.lint()
            self.assertEqual(result.returncode, 1)
            self.assertIn(RESERVED, result.stdout)

    def test_a_source_that_does_not_compile_fails_each_time(self):
        project = self.project()
        project.write("fault.cpp", '#include "missing.h"\n')
        for _ in range(2):
            self.assertEqual(project.lint().returncode, 1)

    def test_a_file_that_nothing_compiles_is_named(self):
        result = self.project().lint("--all", "fault.h")
        self.assertIn("0 files", result.stderr)
        self.assertIn("no compile command for", result.stderr)

    def test_only_what_differs_from_a_revision_is_looked_at(self):
        project = self.project()
        project.write(".gitignore", "compile_commands.json\n")
        git = ["git", "-C", project.root, "-c", "user.name=check", "-c", "user.email=check@localhost"]
        subprocess.run([*git, "init", "--quiet"], check=True)
        subprocess.run([*git, "add", "."], check=True)
        subprocess.run([*git, "commit", "--quiet", "--message", "first"], check=True)
        self.assertIn("0 files", project.lint("--changed-since", "HEAD").stderr)
        project.write("fault.h", "int Number();\nint Other();\n")
        self.assert_checks(project, "--changed-since", "HEAD")


    def test_a_file_that_changes_while_it_is_checked_is_not_kept(self):
        project = self.project()
        tools = pathlib.Path(self.directory, "tools")
        tools.mkdir()
        slow = tools / tidy.TOOL
        slow.write_text(
            "#!/bin/sh\n"
            f'[ "$1" = --version ] || echo "int Other();" >>{project.root}/fault.h\n'
            f'PATH={os.environ["PATH"]} exec {tidy.TOOL} "$@"\n'
        )
        slow.chmod(0o755)
        with unittest.mock.patch.dict(os.environ, PATH=f"{tools}:{os.environ['PATH']}"):
            self.assert_checks(project)
            self.assert_checks(project)


class BadMemoryTest(LintTest):
    def assert_goes_on(self, project, cache):
        result = self.assert_checks(project, cache=cache)
        self.assertEqual(result.stderr.count("without its memory"), 1, result.stderr)

    def test_a_file_in_place_of_the_directory(self):
        project = self.project()
        project.cache.write_text("")
        self.assert_goes_on(project, project.cache)

    def test_a_directory_that_cannot_be_written(self):
        self.assert_goes_on(self.project(), "/proc")

    def test_a_full_disk(self):
        project = self.project()
        cache = pathlib.Path(project.cache, "ostrel")
        cache.mkdir(parents=True)
        # Writing a file of more than no bytes fails as on a full disk.
        result = subprocess.run(
            ["bash", "-c", 'ulimit -f 0; trap "" XFSZ; exec "$@"', "-", sys.executable, "-c",
             "import sys; sys.path.insert(0, sys.argv[1]); import memory, pathlib\n"
             "m = memory.Memory(pathlib.Path(sys.argv[2]))\n"
             "for key in ('a', 'b'): m.add(key)\n"
             "print(m.has('a'), list(pathlib.Path(sys.argv[2]).iterdir()))",
             TIDY.parent, cache],
            capture_output=True, text=True, check=True,
        )  # fmt: skip
        self.assertEqual(result.stdout, "False []\n")
        self.assertEqual(result.stderr.count("without its memory"), 1, result.stderr)

    def test_a_damaged_entry_counts_as_none(self):
        project = self.project()
        self.assert_checks(project)
        (entry,) = pathlib.Path(project.cache, "ostrel/lint").iterdir()
        entry.write_bytes(b"\xff\0")
        self.assert_checks(project)
        self.assert_remembers(project)

    def test_two_runs_at_once(self):
        project = self.project()
        self.assert_checks(project)
        command = [TIDY, project.root / "compile_commands.json", "--root", project.root, "--all"]
        environment = os.environ | {"XDG_CACHE_HOME": str(project.cache)}
        runs = [subprocess.Popen(command, env=environment, stderr=subprocess.PIPE) for _ in "12"]
        for run in runs:
            self.assertNotIn(b"without its memory", run.communicate()[1])
            self.assertEqual(run.returncode, 0)
        self.assert_remembers(project)


class FaultTest(LintTest):
    def test_what_left_out_checks_find_is_found(self):
        configuration = (ROOT / ".clang-tidy").read_text().replace("/(src|tests|examples)/", ".*")
        project = Project(self.directory, configuration)
        project.write("fault.h", "#pragma once\nnamespace {\nint hidden = 1;\n}\n")
        for left_out, finder, fault in FOUND_OTHERWISE:
            with self.subTest(left_out):
                project.write("fault.cpp", fault + "\n")
                self.assertIn(f"[{finder}", project.lint().stdout)


if __name__ == "__main__":
    unittest.main()
