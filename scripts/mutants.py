#!/usr/bin/env python3
"""Makes the fixed list of one-line mutants of the native library (jni/*.cpp and
jni/include), read by scripts/mutate.sh.

    scripts/mutants.py [--all] [--seed N] [--count N] > scripts/mutants.txt

Every candidate is generated deterministically from the sources, in file and
line order; a seeded sample of --count of them is printed, the same number of each kind (--all prints them
all). One line per mutant, tab separated:

    id  file  line  kind  original  replacement

where `original` is the line's full text as it was when the list was made (a
run skips a mutant as stale when the line no longer reads so) and
`replacement` the line's new text. For kind `order` the replacement is the
text of the next line: the two lines trade places.

Kinds:
    status      a status constant (kStatus...) replaced by another
    message     a message text changed (one character added)
    comparison  ==/!= swapped, or a boundary moved (> to >=, < to <=, and back)
    table       an accessor table entry's conversion or message form changed
    order       two adjacent accessor table entries swapped
    return      a `return` inside a block dropped (its expression kept)
    and_or      && turned into ||
The generated JNI header is left alone.
"""
import argparse
import os
import random
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
GENERATED = "com_norvik_dvh_iscsi_jni_ApiWrapper.h"

# Each status becomes the next one in this ring.
STATUSES = ["kStatusOk", "kStatusBadIndex", "kStatusLookupFailed", "kStatusClassNotFound",
            "kStatusNullObject", "kStatusJavaThrew"]
# A conversion becomes one of the same direction with another signature.
CONVS = {
    "SetInt": "SetShort", "SetShort": "SetInt", "SetByte": "SetInt", "SetLong": "SetInt",
    "SetBool": "SetInt", "SetText": "SetShorts", "SetShorts": "SetText",
    "SetBigInt": "SetBigIntReversed", "SetBigIntReversed": "SetBigInt",
    "SetBigIntByIndex": "SetBigIntByIndexReversed", "SetBigIntByIndexReversed": "SetBigIntByIndex",
    "SetIPAddr": "SetIPAddrShorts", "SetIPAddrShorts": "SetIPAddr",
    "GetInt": "GetShort", "GetShort": "GetInt", "GetByte": "GetInt", "GetLong": "GetInt",
    "GetBool": "GetInt", "GetText": "GetShorts", "GetShorts": "GetText",
}
FORMS = {"Plain": "Obj", "Obj": "Plain", "Dash": "Plain", "Wide": "Plain"}
COMPARISONS = {"==": "!=", "!=": "==", ">": ">=", ">=": ">", "<": "<=", "<=": "<"}

STRING = re.compile(r'"(?:[^"\\]|\\.)*"')


def code_part(line):
    """The line without its // comment (string literals taken into account)."""
    out, i, n = [], 0, len(line)
    while i < n:
        if line[i] == '"':
            m = STRING.match(line, i)
            if m:
                out.append(m.group(0))
                i = m.end()
                continue
        if line.startswith("//", i):
            break
        out.append(line[i])
        i += 1
    return "".join(out)


def outside_strings(code):
    """Spans of `code` outside string and character literals."""
    return STRING.sub(lambda m: " " * len(m.group(0)), code)


def skipped(stripped):
    return (not stripped or stripped.startswith(("#", "//", "*", "/*")) or "static_assert" in stripped)


def indent(text):
    return len(text) - len(text.lstrip())


def early_exit(lines, n):
    """True if the return on line n leaves a block the function goes on after."""
    before = [l for l in lines[:n] if l.strip()]
    prev = code_part(before[-1]).strip() if before else ""
    if re.match(r"(\}\s*)?(if|else if)\s*\(.*\)$", prev) or prev in ("else", "} else"):
        return True
    after = [l for l in lines[n + 1:] if l.strip()]
    if len(after) < 2 or not after[0].strip().startswith("}"):
        return False
    close = after[0].strip()
    if close.startswith("} else"):
        return True
    return (close == "}" and indent(after[1]) == indent(after[0]) and indent(after[0]) < indent(lines[n])
            and not after[1].strip().startswith("}") and indent(after[0]) > 0)


def candidates(path, rel):
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    out = []

    def add(n, kind, new):
        if new != lines[n]:
            out.append((rel, n + 1, kind, lines[n], new))

    in_assert = False  # a static_assert's condition is checked by the compiler, not by the tests
    for n, line in enumerate(lines):
        stripped = line.strip()
        if "static_assert" in stripped:
            in_assert = True
        if in_assert:
            in_assert = not code_part(line).rstrip().endswith(";")
            continue
        if skipped(stripped):
            continue
        code = code_part(line)
        bare = outside_strings(code)

        for m in re.finditer(r"\bkStatus[A-Za-z]+\b", bare):
            name = m.group(0)
            if name in STATUSES and not re.match(r"\s*constexpr", code):
                new = STATUSES[(STATUSES.index(name) + 1) % len(STATUSES)]
                add(n, "status", line[:m.start()] + new + line[m.end():])

        # A message: a literal with a blank or a line end in it, not an include.
        for m in STRING.finditer(code):
            text = m.group(0)
            if (" " in text or "\\n" in text) and len(text) > 4:
                add(n, "message", line[:m.start() + 1] + "#" + line[m.start() + 1:])
                break

        for m in re.finditer(r"(?<=\s)(==|!=|>=|<=|>|<)(?=\s)", bare):
            op = m.group(1)
            add(n, "comparison", line[:m.start()] + COMPARISONS[op] + line[m.end():])

        # An entry whose chain sets its own text (.message) prints that text
        # whatever its form: changing the form there changes nothing.
        chain = [code]
        for nxt_line in lines[n + 1:]:
            if not nxt_line.strip().startswith("."):
                break
            chain.append(code_part(nxt_line))
        own_text = any(".message(" in c for c in chain)
        if re.search(r"\bM\(\"", code) or "marshal::method(" in code:
            for m in re.finditer(r"Conv::([A-Za-z]+)", bare):
                if m.group(1) in CONVS:
                    add(n, "table", line[:m.start(1)] + CONVS[m.group(1)] + line[m.end(1):])
            for m in re.finditer(r"Msg::([A-Za-z]+)", bare):
                if m.group(1) in FORMS and not own_text:
                    add(n, "table", line[:m.start(1)] + FORMS[m.group(1)] + line[m.end(1):])
            # An entry with the default (Plain) form takes the Obj form.
            if (re.match(r"\s*M\(\"", code) and "Msg::" not in code and not own_text
                    and re.search(r"Conv::[A-Za-z]+\)", code)):
                m = re.search(r"Conv::[A-Za-z]+(?=\))", line)
                add(n, "table", line[:m.end()] + ", Msg::Obj" + line[m.end():])
            # Two complete adjacent entries trade places.
            nxt = lines[n + 1] if n + 1 < len(lines) else ""
            if (re.match(r"\s*M\(\".*\),$", code) and re.match(r"\s*M\(\".*\),$", code_part(nxt))
                    and nxt != line):
                out.append((rel, n + 1, "order", line, nxt))

        # A return that ends an early exit: the body of an if, or the last
        # statement of a block that more code of the same function follows.
        m = re.match(r"(\s*)return (.+);\s*$", code)
        if m and early_exit(lines, n):
            add(n, "return", m.group(1) + "static_cast<void>(" + m.group(2) + ");")

        for m in re.finditer(r"(?<= )&&(?=\s)", bare):  # not an rvalue reference
            add(n, "and_or", line[:m.start()] + "||" + line[m.end():])
    return out


def all_candidates():
    found = []
    for folder in ("jni", "jni/include"):
        for name in sorted(os.listdir(os.path.join(ROOT, folder))):
            if name == GENERATED or not name.endswith((".cpp", ".h")):
                continue
            rel = folder + "/" + name
            found += candidates(os.path.join(ROOT, rel), rel)
    return found


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--seed", type=int, default=21)
    ap.add_argument("--count", type=int, default=40)
    ap.add_argument("--all", action="store_true")
    ap.add_argument("--also", action="append", default=[], metavar="FILE:LINE:KIND:TEXT",
                    help="add the candidate of that line and kind whose replacement contains TEXT")
    args = ap.parse_args()
    found = all_candidates()
    if args.all:
        chosen = found
    else:
        # The same number of each kind, drawn with one seeded generator.
        rng = random.Random(args.seed)
        kinds = sorted({c[2] for c in found})
        picked = []
        for i, kind in enumerate(kinds):
            pool = [j for j, c in enumerate(found) if c[2] == kind]
            share = args.count // len(kinds) + (1 if i < args.count % len(kinds) else 0)
            picked += rng.sample(pool, min(share, len(pool)))
        picked.sort()
        for want in args.also:
            rel, line, kind, text = want.split(":", 3)
            extra = [i for i, c in enumerate(found)
                     if c[0] == rel and c[1] == int(line) and c[2] == kind and text in c[4]]
            if not extra:
                sys.exit("no candidate " + want)
            picked = sorted(set(picked) | {extra[0]})
        chosen = [found[i] for i in picked]
    print("# id\tfile\tline\tkind\toriginal\treplacement  (%s: %d of %d candidates)"
          % (" ".join(["scripts/mutants.py"] + sys.argv[1:]), len(chosen), len(found)))
    for i, (rel, line, kind, old, new) in enumerate(chosen, 1):
        print("%d\t%s\t%d\t%s\t%s\t%s" % (i, rel, line, kind, old, new))


if __name__ == "__main__":
    sys.exit(main())
