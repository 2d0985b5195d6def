"""What has passed before: a directory of keys in the user's cache directory, which all clones share.

A key is made from the content of everything that decides a result. Only passes are kept. If anything
goes wrong here, nothing is remembered: the checks run, and one line says why.
"""

import os
import pathlib
import sys
import tempfile
import time

UNUSED_DAYS = 60


def default_directory():
    cache = os.environ.get("XDG_CACHE_HOME", "")
    if not os.path.isabs(cache):  # the convention says to ignore a relative path
        cache = pathlib.Path.home() / ".cache"
    return pathlib.Path(cache, "ostrel", "lint")


class Memory:
    def __init__(self, directory):
        self._directory = directory
        self._usable = True
        self._attempt(lambda: directory.mkdir(parents=True, exist_ok=True))

    def has(self, key):
        return bool(self._attempt(lambda: self._read(key)))

    def add(self, key):
        self._attempt(lambda: self._write(key))

    def forget_unused(self):
        self._attempt(self._remove_old)

    def _attempt(self, action):
        if not self._usable:
            return None
        try:
            return action()
        except OSError as error:
            self._usable = False
            print(f"lint: goes on without its memory: {error}", file=sys.stderr)
            return None

    def _read(self, key):
        entry = self._directory / key
        try:
            # A machine that lost power may have kept the name and lost the content.
            if entry.read_text(errors="replace") != key:
                return False
            os.utime(entry)
        except FileNotFoundError:  # or another run has just removed it
            return False
        return True

    def _write(self, key):
        # Whole or not at all, since several runs may share the directory.
        with tempfile.NamedTemporaryFile("w", dir=self._directory, delete=False) as file:
            try:
                file.write(key)
                file.close()
                os.replace(file.name, self._directory / key)
            except OSError:
                os.unlink(file.name)
                raise

    def _remove_old(self):
        oldest = time.time() - UNUSED_DAYS * 24 * 60 * 60
        for entry in os.scandir(self._directory):
            try:
                if entry.stat().st_mtime < oldest:
                    os.unlink(entry)
            except FileNotFoundError:
                pass
