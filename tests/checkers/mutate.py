#!/usr/bin/python3
"""The mutation check: breaks one line of src/ at a time, in a private copy of the tree, and runs
the suite until a test fails. Prints each broken line that no test detects.

With --guards, the check breaks the lines in tests/checkers/guards.toml instead: lines chosen by
hand because safety depends on them. Each entry names the test that must fail, or the compiler that
must refuse the broken line. Every broken line must be detected."""
import argparse
import collections
import contextlib
import fnmatch
import hashlib
import os
import pathlib
import random
import re
import subprocess
import sys
import time
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[2]
TREE = ROOT / "build/mutate/tree"
BUILD = TREE / "build"
EXPLAINED = ROOT / "tests/checkers/mutants-explained"
GUARDS = ROOT / "tests/checkers/guards.toml"
COPIED = ["CMakeLists.txt", "CMakePresets.json", "cmake", "data", "examples", "fuzz", "src", "tests"]

# The test programs of each folder of src/, the most likely to fail first: a mutant that is killed
# early needs no further build.
PROGRAMS = {
    "applist": ["fuzz_items_replay", "fuzz_operations_replay", "fuzz_dispatch_replay", "list-tests",
                "fault_test", "channel_test"],
    "ipc": ["fuzz_dispatch_replay", "fuzz_bodies_replay", "fuzz_handshake_replay",
            "handshake_explorer", "channel_test", "fault_test", "list-tests", "hostile_test"],
    "common": ["common_test", "platform_log_test", "list-tests", "channel_test"],
    "client": ["client_test"],
    "qt": ["qt_test"],
    "glib": ["glib_test"],
}

OPERATORS = [
    ("== becomes !=", r" == ", " != "),
    ("!= becomes ==", r" != ", " == "),
    ("< becomes <=", r" < ", " <= "),
    ("< becomes >", r" < ", " > "),
    ("<= becomes <", r" <= ", " < "),
    (">= becomes >", r" >= ", " > "),
    ("> becomes >=", r" > ", " >= "),
    ("&& becomes ||", r" && ", " || "),
    ("|| becomes &&", r" \|\| ", " && "),
    ("+ becomes -", r" \+ ", " - "),
    ("- becomes +", r" - ", " + "),
    ("* becomes +", r" \* (?=[a-z0-9])", " + "),
    ("negation dropped", r"!(?=[a-zA-Z(])", ""),
    ("condition negated", r"\bif \((?!constexpr)(.*)\) \{$", r"if (!(\1)) {"),
    ("true becomes false", r"\btrue\b", "false"),
    ("false becomes true", r"\bfalse\b", "true"),
    ("0 becomes 1", r"(?<![\w.\"])0(?![\w.x\"])", "1"),
    ("1 becomes 2", r"(?<![\w.\"])1(?![\w.\"])", "2"),
    ("number becomes 3 more", r"(?<![\w.\"%:])([2-9]|[1-9][0-9]+)(?=[;,)])", None),
    ("nothing returned", r"\breturn (?!nullptr|false|true|\{\}|[01];)\w.*;$", "return {};"),
    ("statement dropped", None, None),
    ("error becomes debug", r"APPLIST_LOG_ERROR\(", "APPLIST_LOG_DEBUG("),
    ("debug becomes info", r"APPLIST_LOG_DEBUG\(", "APPLIST_LOG_INFO("),
]
STATEMENT = re.compile(r"^\s+(?!return|const |auto|static |using |struct |class |case |else|break|"
                       r"typedef|friend|virtual|explicit|std::\w+(<.*>)? \w+;|g_auto|unsigned|int |bool |"
                       r"GVariant\*|GError\*)"
                       r"[A-Za-z_*(:][\w:>.\-<&*() ]*(\(.*\)|=.*|\+\+);$")
# Left to others: a lock that is gone is found by the thread-safety analysis and ThreadSanitizer,
# not by the outcome of a test.
NOT_MUTATED = re.compile(r"^\s*(//|/?\*|#|\})|Lock|APPLIST_(GUARDED|REQUIRES|ACQUIRE|RELEASE|API)|"
                         r"static_assert|operator|= delete|= default|template")


# Text of a file, from one character to another, and its replacement.
Change = collections.namedtuple("Change", "name file start end new")


# --- The private copy ----------------------------------------------------------------------------

def run(command, timeout, check=True):
    """The exit status, 124 after the time, and the output."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                               stdin=subprocess.DEVNULL, start_new_session=True, text=True,
                               errors="replace")
    try:
        output, _ = process.communicate(timeout=timeout)
        status = process.returncode
    except BaseException as error:
        os.killpg(process.pid, 9)
        output, _ = process.communicate()
        status = 124
        if not isinstance(error, subprocess.TimeoutExpired):
            raise
    if check and status != 0:
        raise RuntimeError(f"mutate: {' '.join(map(str, command))} failed:\n{output[-3000:]}")
    return status, output


def copy_tree():
    """Copies only changed files, so that the build stays incremental."""
    TREE.mkdir(parents=True, exist_ok=True)
    run(["rsync", "--recursive", "--links", "--perms", "--checksum", "--delete", "--exclude=/build",
         *(ROOT / name for name in COPIED), TREE], 300)
    run(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
         "-DCMAKE_CXX_FLAGS=-O0 -w", "-DAPPLIST_BUILD_TOOLS=OFF", "-DCMAKE_UNITY_BUILD=ON"], 300)


def build(program):
    status, output = run(["ninja", "-C", BUILD, "-j", "2", program], 1800, check=False)
    return status == 0, output


def programs_without_packages(names):
    """The programs that the tree cannot build, because a package for them is missing."""
    targets = run(["ninja", "-C", BUILD, "-t", "targets", "all"], 60)[1]
    known = {line.partition(": ")[0] for line in targets.splitlines()}
    return {name for name in names if name not in known}


def find_program(name):
    for path in BUILD.rglob(name):
        if path.is_file() and "CMakeFiles" not in path.parts:
            return path
    raise RuntimeError(f"mutate: {name} was not built")


@contextlib.contextmanager
def broken(change):
    path = TREE / change.file
    original = path.read_text(encoding="utf-8")
    try:
        path.write_text(original[:change.start] + change.new + original[change.end:],
                        encoding="utf-8")
        yield
    finally:
        path.write_text(original, encoding="utf-8")


def must_pass(name, detects):
    """A test that fails on the untouched tree detects nothing."""
    if detects() and detects():
        raise RuntimeError(f"mutate: {name} fails on the untouched tree")


# --- Mutants -------------------------------------------------------------------------------------

def mutations(line):
    """(operator, mutated line) for each place where an operator fits."""
    code_end = line.find("//")
    code = line if code_end < 0 else line[:code_end].rstrip()
    if NOT_MUTATED.search(line) or not code.strip():
        return
    strings = [match.span() for match in re.finditer(r'"(\\.|[^"])*"', code)]
    for name, pattern, new in OPERATORS:
        if name == "statement dropped":
            if STATEMENT.match(code) and "LOG" not in code:
                yield name, re.match(r"\s*", line).group() + ";"
            continue
        for match in re.finditer(pattern, code):
            if any(start < match.start() < end for start, end in strings):
                continue
            text = str(int(match.group()) + 3) if new is None else match.expand(new)
            changed = code[:match.start()] + text + code[match.end():]
            if changed != code:
                yield name, changed


def is_declaration(file, line):
    """Of a header, what is not inside a function: dropping it would not build."""
    return file.endswith(".h") and re.search(
        r"\) = 0;|^\s*(virtual|APPLIST_)|^    [\w:<>*& ]+\(.*\)( const)?( override)?;", line)


def all_mutants():
    mutants = []
    for path in sorted((ROOT / "src").rglob("*")):
        if path.suffix not in (".cpp", ".h"):
            continue
        file = str(path.relative_to(ROOT))
        seen = collections.Counter()
        start = 0
        for line in path.read_text(encoding="utf-8").split("\n"):
            for operator, after in () if is_declaration(file, line) else mutations(line):
                what = f"{file}|{line.strip()}|{operator}|{after.strip()}"
                seen[what] += 1
                digest = hashlib.sha1(f"{what}|{seen[what]}".encode()).hexdigest()[:12]
                mutants.append(Change(digest, file, start, start + len(line), after))
            start += len(line) + 1
    # By their own digests: the same ones as long as their lines stay, spread over all files.
    return sorted(mutants)


class Suite:
    """The test programs and their running times on the untouched tree."""

    def __init__(self, chosen):
        self.chosen = chosen
        self.seconds = {}

    def programs_for(self, file):
        return [name for name in PROGRAMS[file.split("/")[1]]
                if self.chosen is None or name in self.chosen]

    def fails(self, name):
        path = find_program(name)
        if name.endswith("_replay"):
            kind = name.removeprefix("fuzz_").removesuffix("_replay")
            arguments = [TREE / "fuzz" / folder / kind for folder in ("corpus", "regressions")]
        elif name == "handshake_explorer":
            arguments = ["--partners", "1", "--depth", "3"]
        else:
            arguments = ["--gtest_fail_fast"]
        started = time.monotonic()
        # Three times the time of the untouched tree is a hang.
        status, _ = run([path, *arguments], 30 + 3 * self.seconds.get(name, 200), check=False)
        self.seconds.setdefault(name, time.monotonic() - started)
        return status != 0

    def see_pass(self, files):
        for name in sorted({name for file in files for name in self.programs_for(file)}):
            print(f"mutate: the untouched tree: {name}", flush=True)
            built, output = build(name)
            if not built:
                raise RuntimeError("mutate: the untouched tree does not build:\n" + output[-3000:])
            must_pass(name, lambda name=name: self.fails(name))

    def judge(self, mutant):
        """The program that detects the mutant, "compiler" or None."""
        with broken(mutant):
            for name in self.programs_for(mutant.file):
                if not build(name)[0]:
                    return "compiler"
                if self.fails(name):
                    return name
        return None


def try_mutants(options):
    explained = dict(line.split(" ", 1) for line in EXPLAINED.read_text(encoding="utf-8").splitlines()
                     if not line.startswith("#"))
    mutants = [mutant for mutant in all_mutants() if (options.only or "") in mutant.file]
    if not mutants:
        raise RuntimeError(f"mutate: no mutant in a file like '{options.only}'")
    suite = Suite(options.programs)
    suite.see_pass({mutant.file for mutant in mutants})
    killed = survived = 0
    for mutant in mutants:
        if killed + survived == options.limit:
            break
        killer = suite.judge(mutant)
        if killer == "compiler":
            continue
        killed += killer is not None
        survived += killer is None
        text = (ROOT / mutant.file).read_text(encoding="utf-8")
        print(f"{killed + survived:4}/{options.limit} {mutant.name} {killer or 'SURVIVED':20} "
              f"{mutant.file}:{text.count(chr(10), 0, mutant.start) + 1} {mutant.new.strip()}",
              flush=True)
        if killer is None:
            print(f"     was: {text[mutant.start:mutant.end].strip()}\n"
                  f"     explained: {explained.get(mutant.name, 'NO')}")
    share = 100.0 * killed / max(1, killed + survived)
    print(f"mutate: {killed} of {killed + survived} mutants killed, {share:.1f} % "
          f"(at least {options.least:g})")
    return 0 if share >= options.least else 1


# --- Guards --------------------------------------------------------------------------------------

class Guard:
    """A line that safety depends on: its broken form, and the test that must notice."""

    def __init__(self, file, name, entry):
        self.name = name
        self.file = file
        self.protects = entry["protects"]
        self.noticed = entry.get("noticed", "compiler")
        self.unit = entry.get("unit", self.file)
        # "compiler", or a test program and its test.
        self.program, _, self.test = self.noticed.partition(" ")
        source = (ROOT / self.file).read_text(encoding="utf-8")
        count = source.count(entry["text"])
        if count != 1:
            raise RuntimeError(f"mutate: guard {self.name}: its text is {count} times in "
                               f"{self.file}, not once")
        start = source.index(entry["text"])
        self.change = Change(self.name, self.file, start, start + len(entry["text"]),
                             entry.get("broken", entry["text"].partition("\n")[2]))

    def by_compiler(self):
        return self.noticed == "compiler"

    def is_noticed(self):
        return self.is_refused() if self.by_compiler() else self.fails()

    def is_refused(self):
        """Whether clang's thread-safety analysis refuses the source file."""
        flags = run(["pkg-config", "--cflags", "gio-2.0"], 60)[1].split()
        status, output = run(["clang++", "-std=c++17", "-fsyntax-only", "-Wthread-safety",
                              "-Werror=thread-safety", "-I", TREE / "src", *flags,
                              TREE / self.unit], 300, check=False)
        if status != 0 and "-Wthread-safety" not in output:
            raise RuntimeError(f"mutate: guard {self.name}: no refusal of the analysis:\n"
                               + output[-2000:])
        return status != 0

    def fails(self):
        """Whether the test fails, or does not end in time."""
        built, output = build(self.program)
        if not built:
            raise RuntimeError(f"mutate: guard {self.name}: {self.program} does not build:\n"
                               + output[-3000:])
        status, output = run([find_program(self.program), f"--gtest_filter={self.test}"], 40,
                             check=False)
        if status == 0 and "Running 0 tests" in output:
            raise RuntimeError(f"mutate: guard {self.name}: {self.program} has no test {self.test}")
        return status != 0


def load_guards():
    with open(GUARDS, "rb") as stream:
        guards = [Guard(file, name, entry) for file, entries in tomllib.load(stream).items()
                  for name, entry in entries.items()]
    # A sample runs few of the tests, and a renamed test must not stay unnoticed until its turn.
    names = {f"{suite}.{test}" for source in (ROOT / "tests").rglob("*.cpp")
             for suite, test in re.findall(r"\b[A-Z_]*TEST(?:_[FP])?\((\w+),\s*(\w+)\)",
                                           source.read_text(encoding="utf-8"))}
    for guard in guards:
        # The first of several tests; rows of a table have a prefix and a name: Rows/Suite.Test/Name
        name = re.sub(r"^[\w*]+/(?=.*\.)|(?<=\w)/[^./]*$", "", guard.test.partition(":")[0])
        if not guard.by_compiler() and not fnmatch.filter(names, name):
            raise RuntimeError(f"mutate: guard {guard.name}: there is no test {guard.test}")
    return guards


def draw_sample(guards, count, seed):
    """Guards of the compiler and of one test program, so that a sample builds one program."""
    chance = random.Random(seed)
    program = chance.choice(sorted({g.program for g in guards if not g.by_compiler()}))
    candidates = [g for g in guards if g.by_compiler() or g.program == program]
    return chance.sample(candidates, min(count, len(candidates)))


def try_guards(options):
    guards = [guard for guard in load_guards() if (options.only or "") in guard.file]
    missing = programs_without_packages({g.program for g in guards if not g.by_compiler()})
    for program in sorted(missing):
        print(f"mutate: no guard of {program}, which needs packages that are not installed")
    guards = [guard for guard in guards if guard.program not in missing]
    if options.sample is not None and options.sample < len(guards):
        print(f"mutate: {options.sample} of {len(guards)} guards, seed {options.seed}")
        guards = draw_sample(guards, options.sample, options.seed)
    for guard in {guard.noticed: guard for guard in guards if not guard.by_compiler()}.values():
        must_pass(guard.noticed, guard.is_noticed)
    for guard in {guard.unit: guard for guard in guards if guard.by_compiler()}.values():
        must_pass(guard.unit, guard.is_noticed)
    unnoticed = 0
    for number, guard in enumerate(guards, 1):
        with broken(guard.change):
            noticed = guard.is_noticed()
        unnoticed += not noticed
        print(f"{number:4}/{len(guards)} {'noticed' if noticed else 'NOT NOTICED':11} "
              f"{guard.name:44} [{guard.noticed}]", flush=True)
    print(f"mutate: {len(guards) - unnoticed} of {len(guards)} guards noticed")
    return 1 if unnoticed else 0


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
        epilog="tests/checkers/mutants-explained lists the survivors that no test can kill.")
    parser.add_argument("--limit", type=int, default=120, help="number of mutants (default 120)")
    parser.add_argument("--only", metavar="FILE", help="only files with this text in their path")
    parser.add_argument("--programs", metavar="LIST", type=lambda text: text.split(","),
                        help="only these test programs, with commas between them")
    parser.add_argument("--least", type=float, default=95.0,
                        help="required percentage of killed mutants (default 95)")
    parser.add_argument("--guards", action="store_true",
                        help="break the lines of tests/checkers/guards.toml; all must be detected")
    parser.add_argument("--sample", type=int, metavar="N",
                        help="only N guards: the compiler's and those of one test program")
    parser.add_argument("--seed", type=int, default=int(time.time()),
                        help="seed of the sample (default: the time; printed)")
    options = parser.parse_args()
    if options.limit < 1 or (options.sample or 1) < 1:
        parser.error("--limit and --sample are at least 1")
    copy_tree()
    return try_guards(options) if options.guards else try_mutants(options)


if __name__ == "__main__":
    try:
        sys.exit(main())
    except RuntimeError as error:
        print(error, file=sys.stderr)
        sys.exit(2)
    except KeyboardInterrupt:
        sys.exit(130)
