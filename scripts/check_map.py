#!/usr/bin/env python3
"""Checks that docs/architecture.md, the map of the code, names only what the tree has.

Usage: scripts/check_map.py [map]          (default: docs/architecture.md)

Every name in backticks, and every path and qualified name inside the map's fenced blocks, is
looked up in the tracked files:
- a path (it has a slash or a file extension) must exist: from the root, or as the end of a tracked
  path ("utf8.cpp", "string/"); "*" matches as in a shell; a path under build/ is made by the build,
  so its last part must be named by a tracked CMake or script file; an absolute path is the
  system's and is not looked up;
- a qualified name (`Type::Member`, `ns::Type`, `ns::`) must be declared where it says: the literal
  text occurs in a source, or each part is declared (a function, member, type, namespace or
  constant) inside the braces of a class, struct, enum or namespace of the part before it;
- a single identifier (`Function`, `Type`, `CONSTANT`) must occur as a word in a source.
Text in backticks that is no name (an expression, a flag, a placeholder such as <user>) is skipped;
IGNORED lists the few names from outside the tree. Every library folder (kp_library in the CMake
files) and every top-level folder must also be named, as `folder/`.
Prints each problem as `map:line: ...` and exits 1 when there is one.
"""

import fnmatch
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SOURCE_SUFFIXES = (".cpp", ".h", ".c", ".py", ".cmake", ".sh", ".txt", ".in", ".prf", ".1")
# Names in backticks that are not the tree's and must stay so (a system call, a C library or kernel
# name that no source happens to mention); none today.
IGNORED = set()
IDENT = r"[A-Za-z_~][A-Za-z0-9_]*"
QUALIFIED = re.compile(r"^(?:%s::)+(?:%s)?$" % (IDENT, IDENT))
PATH = re.compile(r"^[\w.*/-]+$")
FENCE_NAMES = re.compile(r"(?<![\w:])((?:%s::)+%s|[\w./-]+/[\w.*-]+|[\w-]+\.(?:cpp|h|py|txt|sh))" % (IDENT, IDENT))


def tracked():
    # Tracked and new (not ignored) files, so that a file added in the same commit counts.
    out = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                         capture_output=True, text=True, check=True).stdout
    return [p for p in out.splitlines() if os.path.exists(os.path.join(ROOT, p))]


class Tree:
    def __init__(self, files):
        self.files = files
        self.folders = {os.path.dirname(p) for p in files}
        for folder in list(self.folders):
            while folder:
                folder = os.path.dirname(folder)
                self.folders.add(folder)
        self.texts = {}
        for p in files:
            if p.endswith(SOURCE_SUFFIXES) or os.path.basename(p) == "CMakeLists.txt":
                if p.startswith("docs/"):
                    continue
                with open(os.path.join(ROOT, p), encoding="utf-8", errors="replace") as f:
                    self.texts[p] = f.read()
        self.words = set()
        for text in self.texts.values():
            self.words.update(re.findall(IDENT, text))
        self.bodies = {}  # name -> the texts between the braces of each class/struct/enum/namespace so named

    def body_of(self, name):
        if name not in self.bodies:
            found = []
            opener = re.compile(r"\b(?:class|struct|union|enum(?:\s+class)?|namespace)\s+(?:\w+::)*%s\b[^;{()]*\{"
                                % re.escape(name))
            for text in self.texts.values():
                for m in opener.finditer(text):
                    depth, i = 1, m.end()
                    while i < len(text) and depth:
                        depth += {"{": 1, "}": -1}.get(text[i], 0)
                        i += 1
                    found.append(text[m.end():i])
            self.bodies[name] = found
        return self.bodies[name]

    def declares(self, outer, inner):
        """Whether `inner` is declared inside a body of `outer`."""
        declaration = re.compile(r"(?:\b(?:class|struct|enum|namespace|using)\s+(?:class\s+)?%s\b)|"
                                 r"(?:(?<![\w:])%s\s*(?:[({;=,\[]|:(?!:)))" % (re.escape(inner), re.escape(inner)))
        return any(declaration.search(body) for body in self.body_of(outer))

    def has_path(self, path):
        if path.startswith("/"):  # the system's (/proc/net/udp, /etc/passwd), not the tree's
            return True
        if path.startswith("build/"):
            last = path.rstrip("/").rsplit("/", 1)[-1]
            return any(last in t for p, t in self.texts.items() if p.endswith((".cmake", "CMakeLists.txt", ".sh", ".py")))
        bare = path.rstrip("/")
        if "*" in bare:
            return any(fnmatch.fnmatch(p, bare) or fnmatch.fnmatch(p, "*/" + bare) for p in self.files)
        if path.endswith("/"):
            return any(f == bare or f.endswith("/" + bare) for f in self.folders)
        return any(p == bare or p.endswith("/" + bare) for p in self.files) or bare in self.folders

    def has_name(self, name):
        if name in IGNORED:
            return True
        if "::" not in name:
            return name in self.words
        parts = [p for p in name.split("::") if p]
        if len(parts) == 1:
            return bool(self.body_of(parts[0]))
        if any(name in text for text in self.texts.values()):
            return True
        return all(any("%s::%s" % (outer, inner) in text for text in self.texts.values()) or self.declares(outer, inner)
                   for outer, inner in zip(parts, parts[1:]))


def names(line, fenced):
    if fenced:
        return [m.group(1) for m in FENCE_NAMES.finditer(line)]
    found = []
    for span in re.findall(r"`([^`]+)`", line):
        span = span.strip()
        if span.endswith("()"):
            span = span[:-2]
        if "<" in span or ">" in span or "..." in span or " " in span:
            continue
        found.append(span)
    return found


def main():
    if len(sys.argv) > 2 or sys.argv[1:] and sys.argv[1].startswith("-"):
        print(__doc__)
        return 0 if sys.argv[1:] in (["-h"], ["--help"]) else 2
    path = os.path.join(ROOT, sys.argv[1] if len(sys.argv) > 1 else "docs/architecture.md")
    tree = Tree(tracked())
    problems = []
    named_folders = set()
    fenced = False
    with open(path, encoding="utf-8") as f:
        lines = f.read().splitlines()
    for number, line in enumerate(lines, 1):
        if line.lstrip().startswith("```"):
            fenced = not fenced
            continue
        for name in names(line, fenced):
            if QUALIFIED.match(name) or re.fullmatch(IDENT, name) and not re.search(r"\.\w+$", name):
                if re.fullmatch(IDENT, name) and fenced:
                    continue
                if not tree.has_name(name):
                    problems.append("%d: `%s` is declared nowhere in the sources" % (number, name))
            elif PATH.match(name) and ("/" in name or re.search(r"\.\w+$", name)):
                if name.endswith("/"):
                    named_folders.add(name.rstrip("/"))
                if not tree.has_path(name):
                    problems.append("%d: `%s` is no path of the tree" % (number, name))
    libraries = set()
    for p, text in tree.texts.items():
        if os.path.basename(p) == "CMakeLists.txt":
            libraries.update(re.findall(r"^\s*kp_library\(\S+\s+([^\s)]+)", text, re.M))
    top = {p.split("/", 1)[0] for p in tree.files if "/" in p and not p.startswith(".")}
    for folder in sorted(libraries | top):
        if folder not in named_folders:
            kind = "library" if folder in libraries else "top-level"
            problems.append("the %s folder `%s/` is not on the map" % (kind, folder))
    rel = os.path.relpath(path, ROOT)
    for problem in problems:
        print("%s:%s" % (rel, problem) if problem[0].isdigit() else "%s: %s" % (rel, problem))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
