"""The files of the tree and what its Markdown says."""
import functools
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
CODE = re.compile(r"`([^`]+)`")  # within one block of text


@functools.cache
def files():
    """All files of the tree, tracked or about to be, by their paths from the root."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return {name for name in listed.split("\0") if name and (ROOT / name).is_file()}


@functools.cache
def directories():
    return {str(parent) for name in files() for parent in pathlib.PurePosixPath(name).parents}


def exists(path):
    return path in files() or path.rstrip("/") in directories()


def documents():
    found = sorted(name for name in files() if name.endswith(".md"))
    if "README.md" not in found:
        raise SystemExit("documents: no README.md; is this the tree?")
    return found


def prose(name):
    """A document without its blocks of code; the lines keep their numbers."""
    lines = []
    fence = None
    for line in (ROOT / name).read_text(encoding="utf-8").split("\n"):
        mark = re.match(r" {0,3}(```+|~~~+)", line)
        if fence:
            if mark and mark[1].startswith(fence):
                fence = None
            line = ""
        elif mark:
            fence = mark[1]
            line = ""
        elif line.startswith("    ") and not (lines and lines[-1]):
            line = ""
        lines.append(line)
    return "\n".join(lines)


def line_of(text, place):
    return text.count("\n", 0, place) + 1
