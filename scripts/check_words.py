#!/usr/bin/python3
"""Checks that every text of the program exists in every language, with the same placeholders, and that no language has one
that the program does not use. Arguments: the project's folder. The texts are the literals in calls of zel::words(),
worded(), counted() and marked()."""

import collections
import json
import pathlib
import re
import sys

PARTS = ("drivetest", "libDrive2", "quix5")
LANGUAGES = ("de", "fr", "es", "ja", "zh")
CALL = re.compile(r"\b(?:words|worded|counted|marked)\(")
LITERAL = re.compile(r'\s*"((?:[^"\\\n]|\\.)*)"')
COMMENT = re.compile(r'//[^\n]*|("(?:[^"\\\n]|\\.)*")')


def literals_at(source, position):
    """The literals that begin the arguments there, each of its pieces joined; a comma may follow each."""
    found, text = [], None
    while True:
        literal = LITERAL.match(source, position)
        if literal:
            text, position = (text or "") + json.loads(f'"{literal[1]}"'), literal.end()
            continue
        if text is None:
            return found
        found.append(text)
        comma = re.compile(r"\s*,").match(source, position)
        if not comma:
            return found
        text, position = None, comma.end()


def texts_of(source):
    source = COMMENT.sub(lambda found: found[1] or "", source)
    for call in CALL.finditer(source):
        position = call.end()
        if call[0].startswith("counted"):  # its first argument is the count
            depth = 0
            while depth or source[position] != ",":
                depth += {"(": 1, ")": -1}.get(source[position], 0)
                position += 1
            position += 1
        yield from literals_at(source, position)


def placeholders(text):
    return sorted(re.findall(r"\{(\w+)\}", text))


def language_faults(folder, used):
    kept = {}
    for path in sorted(folder.glob("*.json")):
        pairs = json.loads(path.read_text(encoding="utf-8"), object_pairs_hook=list)
        for text, _ in pairs:
            if text in kept:
                yield f'{path}: "{text}" is there twice'
        kept.update(pairs)
    for text in sorted(used - kept.keys()):
        yield f'{folder}: there is no text for "{text}"'
    for text in sorted(kept.keys() - used):
        yield f'{folder}: the program does not use "{text}"'
    for text in sorted(kept.keys() & used):
        if not kept[text].strip() or placeholders(kept[text]) != placeholders(text):
            yield f'{folder}: "{kept[text]}" has other placeholders than "{text}"'


def main():
    root = pathlib.Path(sys.argv[1])
    used = collections.Counter()
    for part in PARTS:
        for path in sorted((root / part).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                used.update(texts_of(path.read_text(encoding="utf-8")))
    faults = [fault for language in LANGUAGES
              for fault in language_faults(root / "drivetest/resources" / language, set(used))]
    print("\n".join(faults + [f"{len(used)} texts, {len(LANGUAGES)} languages beside English, {len(faults)} faults"]))
    return 1 if faults or not used else 0


if __name__ == "__main__":
    sys.exit(main())
