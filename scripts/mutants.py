#!/usr/bin/env python3
"""Mutation testing: puts one small, realistic bug (a mutant) at a time into the sources, rebuilds
and runs the tests, which should fail on every one. Run it before dropping or merging tests: a mutant
that survives is a fault the remaining tests no longer catch.

Usage, from anywhere in the checkout:
  scripts/mutants.py [--build DIR] [--only TEXT] [--jobs N] [--no-baseline] [LIST ...]
    --build DIR     build folder, configured on first use (default build-mutants)
    --only TEXT     only the mutants whose line contains TEXT (an id, a path, a word)
    --jobs N        parallel build and test jobs (default: the number of processors)
    --no-baseline   skip running the whole unmutated suite first (when it just passed on this tree)
    LIST            mutant lists (default tests/mutants.txt)

A list has one mutant per line:  id | path | regex | replacement | what
Blank lines and lines starting with # are skipped. The regex is matched against the whole text of
the file (\\n matches a line end, \\s also a line end) and must match exactly once; the replacement is
literal text, except that $1..$9 stand for the regex's groups. Fields are separated by a bar with
blanks around it; inside a field such a bar is written \\| (a regex's "||" needs nothing).

Each mutant first meets the unit tests of the library it is in (the test binary labelled with that
folder, built alone, stopping at the first failure); only a mutant those tests miss is built whole
and run against the whole suite, the end-to-end tests included. Prints KILLED, SURVIVED or NOT APPLIED per mutant, then the totals;
exits 1 when a mutant survived or did not apply, 2 when the unmutated tree does not build or pass.
The mutated file is always put back (also on Ctrl-C or a termination signal; after a kill -9, the
next run with the same build folder puts it back first). The last output is in DIR/mutant.log.
"""
import argparse
import os
import re
import signal
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def fields(line):
    # A separator is a bar with blanks on both sides; "\|" inside a field is not one.
    return [f.strip() for f in re.split(r"\s+\|(?=\s)", line)]


def expand(replacement, match):
    def one(m):
        if m.group(1) is None:
            return "|"
        n = int(m.group(1))
        return (match.group(n) or "") if n <= match.re.groups else ""

    return re.sub(r"\\\||\$(\d)", one, replacement)


def test_folders():
    """Maps a library folder to its test binary and label, from tests/CMakeLists.txt's kp_test lines."""
    folders = {}
    with open(os.path.join(ROOT, "tests", "CMakeLists.txt"), encoding="utf-8") as f:
        for name, folder in re.findall(r"^kp_test\((\S+)\s+(\S+)", f.read(), re.M):
            folders[folder] = name
    return folders


class Runner:
    def __init__(self, build, jobs):
        self.build = build
        self.jobs = str(jobs)
        self.log = os.path.join(build, "mutant.log")
        self.pending = os.path.join(build, "mutant.pending")

    def run(self, *command, env=None):
        with open(self.log, "w") as log:
            return subprocess.run(command, cwd=ROOT, stdout=log, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL,
                                  env=env).returncode == 0

    def compile(self, target=None):
        command = ["cmake", "--build", self.build, "-j", self.jobs]
        return self.run(*command, *(["--target", target] if target else []))

    def check(self, *selection):
        env = dict(os.environ, GTEST_FAIL_FAST="1")
        return self.run("ctest", "--test-dir", self.build, "-j", self.jobs, "--timeout", "300", "--stop-on-failure",
                        *selection, env=env)

    def first_failure(self):
        with open(self.log, encoding="utf-8", errors="replace") as f:
            m = re.search(r"tests FAILED:\s*\n\s*\d+ - (.+)", f.read())
        return m.group(1).strip() if m else "run failed"

    def restore(self):
        if not os.path.exists(self.pending):
            return
        with open(self.pending, encoding="utf-8") as f:
            path = f.read()
        # Written over rather than moved back: the new modification time makes the next build recompile.
        with open(self.pending + ".orig", "rb") as src, open(path, "wb") as dst:
            dst.write(src.read())
        os.remove(self.pending)
        os.remove(self.pending + ".orig")

    def apply(self, path, regex, replacement):
        """Mutates the file; returns None, or why the mutant does not apply."""
        full = os.path.join(ROOT, path)
        with open(full, encoding="utf-8") as f:
            text = f.read()
        try:
            pattern = re.compile(regex)
        except re.error as e:
            return "an invalid pattern: %s" % e
        n = len(pattern.findall(text))
        if n != 1:
            return "the pattern matched %d times" % n
        with open(self.pending + ".orig", "w", encoding="utf-8") as f:
            f.write(text)
        with open(self.pending, "w", encoding="utf-8") as f:
            f.write(full)
        with open(full, "w", encoding="utf-8") as f:
            f.write(pattern.sub(lambda m: expand(replacement, m), text, count=1))
        return None


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", default="build-mutants")
    parser.add_argument("--only", default="")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--no-baseline", action="store_true")
    parser.add_argument("lists", nargs="*")
    args = parser.parse_args()
    lists = [os.path.abspath(p) for p in args.lists] or [os.path.join(ROOT, "tests", "mutants.txt")]
    runner = Runner(os.path.join(ROOT, args.build), args.jobs)  # a relative folder is under the checkout's root
    os.makedirs(runner.build, exist_ok=True)
    runner.restore()
    for sig in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(sig, lambda n, _frame: sys.exit(128 + n))

    if not os.path.exists(os.path.join(runner.build, "build.ninja")):
        if not runner.run("cmake", "-S", ROOT, "-B", runner.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
                          "-DKPATDMCL_TESTS=ON", "-DKPATDMCL_BENCH=OFF"):
            sys.exit("mutants.py: configuring %s failed, see %s" % (runner.build, runner.log))
    if not runner.compile() or (not args.no_baseline and not runner.check()):
        sys.exit("mutants.py: the unmutated tree does not build or pass its tests, see %s" % runner.log)

    folders = test_folders()
    killed = survived = unapplied = 0
    try:
        for listing in lists:
            with open(listing, encoding="utf-8") as f:
                lines = f.read().splitlines()
            for line in lines:
                if not line.strip() or line.lstrip().startswith("#") or args.only not in line:
                    continue
                f = fields(line)
                if len(f) != 5 or not os.path.isfile(os.path.join(ROOT, f[1])):
                    print("NOT APPLIED %s (not five fields, or no file %s)" % (f[0], f[1] if len(f) > 1 else ""),
                          flush=True)
                    unapplied += 1
                    continue
                ident, path, regex, replacement, what = f
                why = runner.apply(path, regex, replacement)
                if why:
                    print("NOT APPLIED %s (%s)" % (ident, why), flush=True)
                    unapplied += 1
                    continue
                folder = max((d for d in folders if path.startswith(d + "/")), key=len, default=None)
                # The library's own unit tests (not the end-to-end suites that share a label): they
                # need only their binary built.
                label = ["-L", "^%s$" % re.escape(folder), "-LE", "^(e2e|packaging)$"] if folder else None
                try:
                    if label and not runner.compile(folders[folder]):
                        result = "KILLED %s %s: the build failed" % (ident, what)
                    elif label and not runner.check(*label):
                        result = "KILLED %s %s: test %s" % (ident, what, runner.first_failure())
                    elif not runner.compile():
                        result = "KILLED %s %s: the build failed" % (ident, what)
                    elif not runner.check():
                        result = "KILLED %s %s: test %s" % (ident, what, runner.first_failure())
                    else:
                        result = "SURVIVED %s %s" % (ident, what)
                finally:
                    runner.restore()
                print(result, flush=True)
                if result.startswith("KILLED"):
                    killed += 1
                else:
                    survived += 1
    finally:
        runner.restore()
    summary = "%d killed, %d survived" % (killed, survived)
    if unapplied:
        summary += ", %d not applied" % unapplied
    print(summary)
    sys.exit(1 if survived or unapplied else 0)


if __name__ == "__main__":
    main()
