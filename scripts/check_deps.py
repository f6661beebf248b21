#!/usr/bin/env python3
"""Checks that every #include of the libraries and the agent reaches only what their target links.

Usage: scripts/check_deps.py [build folder]          (default: build; it only has to be configured)

The declared dependencies come from <build>/kp_dependencies.txt, which configuring writes from the
targets themselves (cmake/KpatdmclTargets.cmake). A .cpp/.c file may include its own library, every
library its target links, and whatever those export PUBLIC, transitively. A header is read by the
target's users too, so it may only include what its target links PUBLIC (and what that exports).
A dependency that nothing includes, or a PUBLIC one that no header includes, is reported too.
Each offending line is printed as `file:line: ...`; the exit status is 1 when there is one, 2 when
the build folder has not been configured.
"""

import os
import re
import sys

# System headers that belong to a library the build links by name.
SYSTEM_INCLUDES = {"X11/": "PkgConfig::XLIBS"}
HEADER_SUFFIXES = (".h", ".hpp", ".inc")
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')


def read_targets(path):
    targets = {}
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            words = line.split()
            if not words:
                continue
            if len(words) != 3:
                sys.exit(f"check_deps: {path}:{number}: unreadable line")
            kind, name, value = words
            if kind in ("library", "executable"):
                targets[name] = {"kind": kind, "folder": value, "sources": [], "public": [], "private": []}
            elif kind == "source":
                targets[name]["sources"].append(value)
            elif kind in ("public", "private"):
                targets[name][kind].append(value)
            else:
                sys.exit(f"check_deps: {path}:{number}: unknown entry {kind}")
    return targets


class Layout:
    def __init__(self, root, targets):
        self.root = root
        self.targets = targets
        # Longest folder first, so that a library in a sub-folder wins over its parent's.
        self.folders = sorted(
            ((t["folder"], name) for name, t in targets.items() if t["kind"] == "library"),
            key=lambda entry: -len(entry[0]),
        )

    def library_of(self, path):
        for folder, name in self.folders:
            if path.startswith(folder + "/"):
                return name
        return None

    def exported(self, name, seen=None):
        """The target itself and everything it exports PUBLIC, transitively."""
        seen = set() if seen is None else seen
        if name not in seen:
            seen.add(name)
            for dep in self.targets.get(name, {}).get("public", []):
                self.exported(dep, seen)
        return seen

    def reachable(self, name, deps):
        found = {name}
        for dep in deps:
            found |= self.exported(dep)
        return found

    def files(self, name):
        """The files compiled into the target, plus for a library the headers of its folder."""
        target = self.targets[name]
        files = [s for s in target["sources"] if not os.path.isabs(s) and not s.startswith("..")]
        if target["kind"] == "library":
            top = os.path.join(self.root, target["folder"])
            for folder, _, names in os.walk(top):
                for file_name in names:
                    if file_name.endswith(HEADER_SUFFIXES):
                        rel = os.path.relpath(os.path.join(folder, file_name), self.root)
                        if self.library_of(rel) == name:
                            files.append(rel)
        return sorted(set(files))

    def owner_of_include(self, including, quoted, angled):
        """(shown include, library) for one include line; library None means outside every library."""
        if angled is not None:
            for prefix, library in SYSTEM_INCLUDES.items():
                if angled.startswith(prefix):
                    return f"<{angled}>", library
            return None
        library = self.library_of(quoted)
        if library is None:
            # A quoted include is looked up beside the including file first.
            beside = os.path.normpath(os.path.join(os.path.dirname(including), quoted))
            if os.path.exists(os.path.join(self.root, beside)):
                library = self.library_of(beside)
        return f'"{quoted}"', library


def report_unused(layout, name, target, used):
    """A target links exactly what it includes: no dependency without an include, none PUBLIC
    that only its .cpp/.c files include. Libraries the check cannot see into are left alone."""
    known = set(layout.targets) | set(SYSTEM_INCLUDES.values())
    problems = 0
    for dep in target["public"] + target["private"]:
        if dep not in known:
            continue
        if dep not in used["any"]:
            print(f"check_deps: {name} links {dep}, but none of its files includes it")
            problems += 1
        elif dep in target["public"] and dep not in used["header"]:
            print(f"check_deps: {name} links {dep} PUBLIC, but none of its headers includes it (make it PRIVATE)")
            problems += 1
    return problems


def check(root, build):
    listing = os.path.join(build, "kp_dependencies.txt")
    if not os.path.exists(listing):
        print(f"check_deps: {listing} is missing: configure {build} first", file=sys.stderr)
        return 2
    layout = Layout(root, read_targets(listing))
    problems = 0
    for name, target in layout.targets.items():
        for_sources = layout.reachable(name, target["public"] + target["private"])
        for_headers = layout.reachable(name, target["public"])
        used = {"header": set(), "any": set()}
        for rel in layout.files(name):
            header = rel.endswith(HEADER_SUFFIXES)
            allowed = for_headers if header else for_sources
            with open(os.path.join(root, rel), encoding="utf-8", errors="replace") as f:
                for number, line in enumerate(f, 1):
                    match = INCLUDE.match(line)
                    if not match:
                        continue
                    found = layout.owner_of_include(rel, match.group(1), match.group(2))
                    if found is None:
                        continue
                    shown, library = found
                    used["any"].add(library)
                    if header:
                        used["header"].add(library)
                    if library is None:
                        print(f"{rel}:{number}: includes {shown}, which is in no library")
                    elif library in allowed:
                        continue
                    elif header and library in for_sources:
                        print(f"{rel}:{number}: includes {shown} from library {library}, "
                              f"which {name} does not declare PUBLIC (a header is read by {name}'s users)")
                    else:
                        print(f"{rel}:{number}: includes {shown} from library {library}, "
                              f"which {name} does not declare")
                    problems += 1
        problems += report_unused(layout, name, target, used)
    if problems:
        print(f"check_deps: {problems} problem(s) with the declared library dependencies", file=sys.stderr)
        return 1
    return 0


def main():
    root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
    build = sys.argv[1] if len(sys.argv) > 1 else "build"
    if len(sys.argv) > 2:
        print("usage: scripts/check_deps.py [build folder]", file=sys.stderr)
        return 2
    return check(root, os.path.join(root, build) if not os.path.isabs(build) else build)


if __name__ == "__main__":
    sys.exit(main())
